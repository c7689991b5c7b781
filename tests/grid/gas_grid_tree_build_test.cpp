// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <limits>

#include <gas/grid/gas_grid_resolution.h>

#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/split_scene.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

namespace {

using naive::Box;
using support::GridItems;
using support::to_boxes;
using Cells = std::vector<std::vector<unsigned>>;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float not_a_number = std::numeric_limits<float>::quiet_NaN();

void create(GasGridTree& grid, const std::vector<Box>& boxes, unsigned target,
            const std::vector<unsigned>& indices = {}) {
    grid.create(to_boxes(boxes), target, indices.empty() ? nullptr : indices.data(), nullptr);
}

Cells get_cells(const std::vector<Box>& boxes, unsigned target,
                const std::vector<unsigned>& indices = {}) {
    GasGridTree grid;
    create(grid, boxes, target, indices);
    return support::get_cells(grid);
}

/// What the cells and the top tree must be for any boxes: one cell for each placed item, no cell
/// empty, in the order of first items, items ascending; a top tree over the cells' unions.
void expect_sound(const GasGridTree& grid, const std::vector<Box>& boxes,
                  const std::vector<unsigned>& left_out = {}) {
    std::vector<unsigned> placed(boxes.size(), 0);
    std::vector<Box> unions;
    unsigned newest_first = 0;
    for (const std::vector<unsigned>& cell : support::get_cells(grid)) {
        ASSERT_FALSE(cell.empty());
        ASSERT_TRUE(unions.empty() || cell[0] > newest_first);
        newest_first = cell[0];
        Box box = boxes[cell[0]];
        for (std::size_t i = 0; i < cell.size(); ++i) {
            ASSERT_TRUE(i == 0 || cell[i] > cell[i - 1]);
            ++placed[cell[i]];
            box = i == 0 ? box : naive::unite(box, boxes[cell[i]]);
        }
        unions.push_back(box);
    }
    std::vector<unsigned> expected(boxes.size(), 1);
    for (const unsigned item : left_out)
        expected[item] = 0;
    EXPECT_EQ(placed, expected);
    EXPECT_EQ(support::find_flaw(grid.get_top_tree(), unions), "");
}

Box cube(float x, float y, float z) { return support::unit_box(x, y, z); }

} // namespace

TEST(GridBuild, ATargetOfOneIsOneCellForACube) {
    std::vector<Box> boxes = {cube(0, 0, 0), cube(9, 9, 9)};
    for (unsigned i = 0; i < 50; ++i)
        boxes.push_back(cube(static_cast<float>(i % 10), static_cast<float>(i / 10), 4.0f));
    EXPECT_EQ(get_cells(boxes, 1), Cells{support::list_items(52)});
}

TEST(GridBuild, EightCornersAreEightCellsInTheOrderOfTheInput) {
    std::vector<Box> boxes;
    for (const unsigned corner : {5u, 0u, 7u, 2u, 1u, 6u, 4u, 3u})
        boxes.push_back(cube(static_cast<float>(corner & 1), static_cast<float>(corner >> 1 & 1),
                             static_cast<float>(corner >> 2)));
    GasGridTree grid;
    create(grid, boxes, 8);
    EXPECT_EQ(support::get_cells(grid), (Cells{{0}, {1}, {2}, {3}, {4}, {5}, {6}, {7}}));
    expect_sound(grid, boxes);
    EXPECT_EQ(grid.get_bbox(), (GMathBbox3<float>{{-0.5f, -0.5f, -0.5f}, {1.5f, 1.5f, 1.5f}}));
}

TEST(GridBuild, CellsAreNumberedByTheirFirstItems) {
    // Four places along x; item 3 comes back to the first, items 5 and 6 to the second.
    const std::vector<Box> boxes = {cube(30, 0, 0), cube(0, 0, 0), cube(10, 0, 0), cube(30, 0, 0),
                                    cube(20, 0, 0), cube(0, 0, 0), cube(0, 0, 0)};
    EXPECT_EQ(get_cells(boxes, 1), (Cells{{0, 3}, {1, 5, 6}, {2}, {4}}));
    EXPECT_EQ(get_cells(boxes, 1, {70, 60, 50, 40, 30, 20, 10}),
              (Cells{{70, 40}, {60, 20, 10}, {50}, {30}}));
    EXPECT_EQ(get_cells(boxes, 1, {7, 7, 7, 7, 7, 7, 7}), (Cells{{7, 7}, {7, 7, 7}, {7}, {7}}))
        << "values stand for items, whatever they are";
}

TEST(GridBuild, ABoxGoesByItsCentreAlone) {
    // Cells of 2: the large box ends with the scene, its centre lies in the first cell.
    const std::vector<Box> boxes = {{{0.0f, 0.0f, 0.0f}, {3.9f, 3.9f, 3.9f}},
                                    {{3.0f, 3.0f, 3.0f}, {4.0f, 4.0f, 4.0f}},
                                    {{0.0f, 0.0f, 0.0f}, {0.1f, 0.1f, 0.1f}}};
    GasGridTree grid;
    create(grid, boxes, 8);
    EXPECT_EQ(support::get_cells(grid), (Cells{{0, 2}, {1}}));
    expect_sound(grid, boxes);
}

TEST(GridBuild, ACentreOnTheFarFaceIsInTheLastCell) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        std::vector<Box> boxes = {{{0.0f, 0.0f, 0.0f}, {4.0f, 4.0f, 4.0f}},
                                  {{3.0f, 3.0f, 3.0f}, {3.2f, 3.2f, 3.2f}},
                                  {{3.0f, 3.0f, 3.0f}, {3.2f, 3.2f, 3.2f}}};
        boxes[2].min[axis] = boxes[2].max[axis] = 4.0f;
        EXPECT_EQ(get_cells(boxes, 8), (Cells{{0}, {1, 2}})) << axis;
    }
}

TEST(GridBuild, FlatScenesLinesAndPoints) {
    std::vector<Box> sheet;
    std::vector<Box> line;
    for (unsigned i = 0; i < 1600; ++i) {
        const float x = static_cast<float>(i % 40);
        const float y = static_cast<float>(i / 40);
        sheet.push_back({{x, y, 3.0f}, {x + 1.0f, y + 1.0f, 3.0f}});
        line.push_back(support::point_box(2.0f, static_cast<float>(i), 0.0f));
    }
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (Box& box : sheet) {
            std::rotate(box.min, box.min + 1, box.min + 3);
            std::rotate(box.max, box.max + 1, box.max + 3);
        }
        GasGridTree grid;
        create(grid, sheet, 6400); // 40 x 40, see the resolution's tests
        EXPECT_EQ(grid.get_cell_count(), 1600u);
        expect_sound(grid, sheet);
    }
    GasGridTree grid;
    create(grid, line, 10);
    EXPECT_EQ(grid.get_cell_count(), 10u);
    expect_sound(grid, line);

    const std::vector<Box> point(100, support::point_box(1.0f, -2.0f, 3.0f));
    create(grid, point, 1000000);
    EXPECT_EQ(support::get_cells(grid), Cells{support::list_items(100)});
    expect_sound(grid, point);
}

TEST(GridBuild, OneItem) {
    GasGridTree grid;
    create(grid, {cube(5, 6, 7)}, 64);
    EXPECT_EQ(support::get_cells(grid), Cells{{0}});
    EXPECT_EQ(grid.get_top_tree().get_leaf_count(), 1u);
    EXPECT_EQ(grid.get_bbox(), support::to_box(cube(5, 6, 7)));
}

TEST(GridBuild, EveryOverloadGivesTheSameGrid) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::clustered, 3000, 5);
    std::vector<unsigned> values(3000);
    for (unsigned i = 0; i < 3000; ++i)
        values[i] = i ^ 0x5A5A;
    const CoreArray<GMathBbox3<float>> array = to_boxes(boxes);
    CoreVector<GMathBbox3<float>> vector;
    for (const GMathBbox3<float>& box : array)
        vector.add(box);
    GridItems items(boxes);
    for (const unsigned* indices :
         {static_cast<const unsigned*>(nullptr), static_cast<const unsigned*>(values.data())}) {
        GasGridTree grids[4];
        grids[0].create(array.get_items(), 3000, 100, indices, nullptr);
        grids[1].create(array, 100, indices, nullptr);
        grids[2].create(vector, 100, indices, nullptr);
        items.attach(grids[3]);
        grids[3].create(3000, 100, indices, nullptr);
        EXPECT_GT(grids[0].get_cell_count(), 20u);
        for (const GasGridTree& grid : grids) {
            EXPECT_EQ(support::get_cells(grid), support::get_cells(grids[0]));
            EXPECT_EQ(std::memcmp(grid.get_top_tree().get_nodes(),
                                  grids[0].get_top_tree().get_nodes(),
                                  grid.get_top_tree().get_node_count() * sizeof(GasTree::Node)),
                      0);
        }
        const Cells by_position = get_cells(boxes, 100);
        Cells expected = by_position;
        for (std::vector<unsigned>& cell : expected) {
            for (unsigned& item : cell)
                item = indices ? indices[item] : item;
        }
        EXPECT_EQ(support::get_cells(grids[0]), expected);
    }
}

TEST(GridBuild, TheBoxCallbackIsAskedForPositions) {
    GridItems items(support::make_clusters(2, 20));
    const std::vector<unsigned> values(40, 0xFFFFFFFFu);
    GasGridTree grid;
    items.attach(grid);
    grid.create(40, 1, values.data(), nullptr);
    EXPECT_EQ(items.take_requests(),
              (std::vector<support::BoxRequest>{
                  {support::BoxCallback::leaf_bboxes, 0.0, support::list_items(40)}}));
    EXPECT_EQ(support::get_cells(grid), Cells(2, std::vector<unsigned>(20, 0xFFFFFFFFu)));
}

TEST(GridBuild, NoItemsClear) {
    GridItems items(support::make_clusters(2, 20));
    GasGridTree grid;
    const auto rebuild = [&] {
        items.build(grid, 1);
        ASSERT_EQ(grid.get_cell_count(), 2u);
    };
    const auto expect_empty = [&] {
        EXPECT_EQ(grid.get_cell_count(), 0u);
        EXPECT_EQ(grid.get_bbox(), GMathBbox3<float>());
        EXPECT_TRUE(items.take_requests().empty());
    };
    rebuild();
    grid.create(static_cast<const GMathBbox3<float>*>(nullptr), 0, 1, nullptr, nullptr);
    expect_empty();
    rebuild();
    grid.create(CoreArray<GMathBbox3<float>>(), 1, nullptr, nullptr);
    expect_empty();
    rebuild();
    grid.create(CoreVector<GMathBbox3<float>>(), 1, nullptr, nullptr);
    expect_empty();
    rebuild();
    grid.create(0, 1, nullptr, nullptr);
    expect_empty();
}

TEST(GridBuild, RebuildingReplacesEverything) {
    GasGridTree grid;
    for (const unsigned count : {100u, 3u, 1u, 5000u, 40u}) {
        const std::vector<Box> boxes = scenes::make(scenes::Kind::random, count, count);
        create(grid, boxes, 1 + count / 4);
        expect_sound(grid, boxes);
    }
}

TEST(GridBuild, BoxesWithoutAFiniteCentreAreLeftOutAndDoNotCountInTheScene) {
    std::vector<Box> boxes = {cube(0, 0, 0), cube(9, 9, 9), cube(0, 9, 0)};
    const Cells expected = get_cells(boxes, 8);
    EXPECT_EQ(expected.size(), 3u);
    const Box spoiled[] = {
        {{not_a_number, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}},
        {{0.0f, 0.0f, 0.0f}, {1.0f, not_a_number, 1.0f}},
        {{0.0f, 0.0f, -infinity}, {1.0f, 1.0f, 1.0f}},
        {{0.0f, 0.0f, 0.0f}, {infinity, 1.0f, 1.0f}},
        {{-infinity, -infinity, -infinity}, {infinity, infinity, infinity}},
        {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}},
        // The sum overflows, though neither corner is infinite.
        {{0.0f, FLT_MAX, 0.0f}, {1.0f, FLT_MAX, 1.0f}},
        {{-3e38f, 0.0f, 0.0f}, {-1e38f, 1.0f, 1.0f}},
    };
    // In front of the others, among them and behind them, one kind and all kinds.
    for (const Box& bad : spoiled) {
        std::vector<Box> mixed = {bad, boxes[0], bad, boxes[1], boxes[2], bad};
        EXPECT_EQ(get_cells(mixed, 8), (Cells{{1}, {3}, {4}}));
        GasGridTree grid;
        create(grid, mixed, 8);
        expect_sound(grid, mixed, {0, 2, 5});
        EXPECT_EQ(grid.get_top_tree().get_leaf_count(), 3u);
    }
    std::vector<Box> mixed(std::begin(spoiled), std::end(spoiled));
    mixed.insert(mixed.end(), boxes.begin(), boxes.end());
    EXPECT_EQ(get_cells(mixed, 8), (Cells{{8}, {9}, {10}}));
    EXPECT_EQ(get_cells(mixed, 8, {0, 1, 2, 3, 4, 5, 6, 7, 80, 90, 100}),
              (Cells{{80}, {90}, {100}}));

    GasGridTree grid;
    create(grid, {std::begin(spoiled), std::end(spoiled)}, 8);
    EXPECT_EQ(grid.get_cell_count(), 0u);
    EXPECT_EQ(grid.get_bbox(), GMathBbox3<float>());
    EXPECT_TRUE(grid.get_top_tree().is_empty());
}

TEST(GridBuild, HugeScenesKeepEveryFiniteCentre) {
    std::vector<Box> boxes;
    for (unsigned corner = 0; corner < 8; ++corner) {
        const auto pick = [&](unsigned axis) {
            return corner >> axis & 1 ? FLT_MAX / 2 : -FLT_MAX / 2;
        };
        boxes.push_back(support::point_box(pick(0), pick(1), pick(2)));
    }
    boxes.push_back({{-FLT_MAX, -FLT_MAX, -FLT_MAX}, {FLT_MAX, FLT_MAX, FLT_MAX}});
    GasGridTree grid;
    create(grid, boxes, 64);
    EXPECT_EQ(grid.get_cell_count(), 9u);
    expect_sound(grid, boxes);
}

TEST(GridBuild, InvertedBoxesAreLeftOutWhereTheirCentresLieOutside) {
    // The scene is what the corners say: x from 4 to 6. The centre of item 1 is 0.
    const Box inverted = {{8.0f, 4.0f, 4.0f}, {-8.0f, 6.0f, 6.0f}};
    const std::vector<Box> boxes = {{{4.0f, 4.0f, 4.0f}, {4.5f, 4.5f, 4.5f}},
                                    inverted,
                                    {{5.5f, 5.5f, 5.5f}, {6.0f, 6.0f, 6.0f}}};
    GasGridTree grid;
    create(grid, boxes, 8);
    EXPECT_EQ(support::get_cells(grid), (Cells{{0}, {2}}));
    expect_sound(grid, boxes, {1});

    // A scene of inverted boxes alone is not divided.
    create(grid, {inverted, inverted}, 8);
    EXPECT_EQ(support::get_cells(grid).size(), 1u);
}

// Rounding the numbers of cells up lifts their product above 2^32: 7486 x 766 x 749 leaves 5428.
TEST(GridBuild, MoreCellsThan32BitsFoldTogether) {
    const float extents[] = {1.0f, 0.10238f, 0.1f};
    support::SeededRandom random(8);
    std::vector<Box> boxes = {{{0.0f, 0.0f, 0.0f}, {extents[0], extents[1], extents[2]}}};
    for (unsigned i = 0; i < 3000; ++i) {
        Box box;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = random.between(0.0f, 0.99f * extents[axis]);
            box.max[axis] = box.min[axis] + 0.01f * extents[axis];
        }
        boxes.push_back(box);
    }
    const unsigned target = 4294967295u;
    ASSERT_EQ(GasGridResolution({{0.0f, 0.0f, 0.0f}, {extents[0], extents[1], extents[2]}}, target)
                  .get_cell_count(),
              5428u);
    GasGridTree grid;
    create(grid, boxes, target);
    EXPECT_GT(grid.get_cell_count(), 2000u);
    EXPECT_LT(grid.get_cell_count(), 2600u) << "some share a cell with others far away";
    expect_sound(grid, boxes);
}

TEST(GridBuild, AProgressBarIsFilledAndItsApplicationChoosesTheSplit) {
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 4000, 3);
    for (const naive::Split split : support::all_splits) {
        support::QuietProgress progress(split);
        GasGridTree grid;
        grid.create(to_boxes(boxes), 1000, nullptr, &progress.bar);
        EXPECT_NEAR(progress.bar.get_value(), 1.0f, 0.02f);
        EXPECT_FALSE(progress.bar.is_finished());
        EXPECT_FALSE(progress.bar.is_released());
        std::vector<Box> unions;
        for (const std::vector<unsigned>& cell : support::get_cells(grid)) {
            Box box = boxes[cell[0]];
            for (const unsigned item : cell)
                box = naive::unite(box, boxes[item]);
            unions.push_back(box);
        }
        EXPECT_EQ(support::find_difference(grid.get_top_tree(), naive::build(unions, split)), "")
            << support::name(split);
    }
}

TEST(GridBuild, AMethodInPlaceOfABarChoosesTheSplitOfTheTopTree) {
    const CoreArray<GMathBbox3<float>> boxes =
        to_boxes(scenes::make(scenes::Kind::random, 4000, 3));
    CoreVector<GMathBbox3<float>> vector;
    for (unsigned i = 0; i < boxes.get_count(); ++i)
        vector.add(boxes[i]);
    GridItems items(scenes::make(scenes::Kind::random, 4000, 3));
    SysThreadTaskManager manager(nullptr);
    const unsigned count = boxes.get_count();
    for (const GasBuildMethod method : support::all_build_methods) {
        support::QuietProgress progress(static_cast<unsigned>(method));
        GasGridTree expected;
        expected.create(boxes, 1000, nullptr, &progress.bar);
        GasGridTree grids[6];
        grids[0].create(boxes.get_items(), count, 1000, nullptr, method);
        grids[1].create(boxes.get_items(), count, 1000, nullptr, method, manager, 2);
        grids[2].create(boxes, 1000, nullptr, method);
        grids[3].create(vector, 1000, nullptr, method);
        items.attach(grids[4]);
        grids[4].create(count, 1000, nullptr, method);
        items.attach(grids[5]);
        grids[5].create(count, 1000, nullptr, method, manager, 2);
        for (const GasGridTree& grid : grids) {
            const GasTree& top = grid.get_top_tree();
            EXPECT_EQ(support::get_cells(grid), support::get_cells(expected));
            EXPECT_EQ(top.get_split_callback(), expected.get_top_tree().get_split_callback());
            EXPECT_EQ(std::memcmp(top.get_nodes(), expected.get_top_tree().get_nodes(),
                                  top.get_node_count() * sizeof(GasTree::Node)),
                      0);
        }
    }
}

TEST(GridBuild, ABarThatDrawsNothingIsStillLeftToItsOwner) {
    support::QuietProgress progress(naive::Split::median);
    GasGridTree grid;
    grid.create(CoreArray<GMathBbox3<float>>(), 8, nullptr, &progress.bar);
    EXPECT_EQ(progress.bar.get_value(), 0.0f);
    EXPECT_EQ(grid.get_cell_count(), 0u);
}

TEST(GridBuild, ABoxCallbackThatThrowsLeavesAnEmptyGrid) {
    GasGridTree grid;
    create(grid, scenes::make(scenes::Kind::random, 100, 1), 20);
    EXPECT_GT(grid.get_cell_count(), 0u);
    const auto throw_at_once = [](void*, const unsigned&, const unsigned*, GMathBbox3<float>*) {
        throw std::runtime_error("no boxes");
    };
    grid.set_leaf_bbox_callbacks(throw_at_once, nullptr, nullptr);
    EXPECT_THROW(grid.create(100u, 20u, nullptr, nullptr), std::runtime_error);
    EXPECT_EQ(grid.get_cell_count(), 0u);
    EXPECT_TRUE(grid.get_top_tree().is_empty());
}

TEST(GridBuild, SeveralThreadsGiveTheSameTopTree) {
    const CoreArray<GMathBbox3<float>> boxes =
        to_boxes(scenes::make(scenes::Kind::random, 60000, 9));
    const unsigned count = boxes.get_count();
    GasGridTree expected;
    expected.create(boxes.get_items(), count, 40000, nullptr, nullptr);
    SysThreadTaskManager manager(nullptr);
    GasGridTree grid;
    const auto expect_same = [&] {
        const GasTree& top = grid.get_top_tree();
        ASSERT_GT(grid.get_cell_count(), 10000u);
        ASSERT_EQ(top.get_node_count(), expected.get_top_tree().get_node_count());
        EXPECT_EQ(std::memcmp(top.get_nodes(), expected.get_top_tree().get_nodes(),
                              top.get_node_count() * sizeof(GasTree::Node)),
                  0);
    };
    grid.create(boxes.get_items(), count, 40000, nullptr, nullptr, manager, 3);
    expect_same();

    const auto give_boxes = [](void* user, const unsigned& piece, const unsigned* items,
                               GMathBbox3<float>* given) {
        const auto& all = *static_cast<const CoreArray<GMathBbox3<float>>*>(user);
        for (unsigned i = 0; i < piece; ++i)
            given[i] = all[items[i]];
    };
    grid.clear();
    grid.set_leaf_bbox_callbacks(give_boxes, nullptr,
                                 const_cast<CoreArray<GMathBbox3<float>>*>(&boxes)); // only read
    grid.create(count, 40000, nullptr, nullptr, manager, 3);
    expect_same();
}
