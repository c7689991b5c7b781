#include <gtest/gtest.h>

#include <limits>

#include <tests/naive/naive_grid.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using naive::Buckets;
using naive::no_cell;
using naive::Piece;
using naive::sort_into_cells;
using Items = std::vector<unsigned>;
using ItemLists = std::vector<Items>;

constexpr float infinity = std::numeric_limits<float>::infinity();
constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float max_float = std::numeric_limits<float>::max();

Box point(float x, float y = 0, float z = 0) { return {{x, y, z}, {x, y, z}}; }

Box unit(float x, float y, float z) { return {{x, y, z}, {x + 1, y + 1, z + 1}}; }

/// The corners of a cube of side 2, corner i on the far side of axis a when bit a of i is set.
std::vector<Box> corners() {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < 8; ++i) {
        boxes.push_back(unit(static_cast<float>(i & 1), static_cast<float>(i >> 1 & 1),
                             static_cast<float>(i >> 2)));
    }
    return boxes;
}

void expect_box(const Box& box, const Box& expected) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(box.min[axis], expected.min[axis]) << axis;
        EXPECT_EQ(box.max[axis], expected.max[axis]) << axis;
    }
}

void expect_resolution(const Buckets& buckets, unsigned x, unsigned y, unsigned z) {
    EXPECT_EQ(buckets.resolution[0], x);
    EXPECT_EQ(buckets.resolution[1], y);
    EXPECT_EQ(buckets.resolution[2], z);
}

TEST(NaiveGridCells, OneCellHoldsAll) {
    for (const unsigned target : {0u, 1u}) {
        const Buckets buckets = sort_into_cells(corners(), target);
        expect_resolution(buckets, 1, 1, 1);
        EXPECT_EQ(buckets.items, (ItemLists{{0, 1, 2, 3, 4, 5, 6, 7}}));
        expect_box(buckets.boxes[0], {{0, 0, 0}, {2, 2, 2}});
    }
}

TEST(NaiveGridCells, EightCornersInEightCells) {
    const Buckets buckets = sort_into_cells(corners(), 8);
    expect_resolution(buckets, 2, 2, 2);
    EXPECT_EQ(buckets.cells, (Items{0, 1, 2, 3, 4, 5, 6, 7}));
    for (unsigned i = 0; i < 8; ++i)
        expect_box(buckets.boxes[i], corners()[i]);
}

TEST(NaiveGridCells, AFlatAxisHasOneCellAndCountsAsATenth) {
    // 100 / 0.1 is ten cells cubed.
    for (const float thickness : {0.0f, 1e-9f}) {
        const Buckets buckets = sort_into_cells({point(0, 0, 0), point(10, 10, thickness)}, 100);
        expect_resolution(buckets, 10, 10, 1);
        EXPECT_EQ(buckets.cells, (Items{0, 1}));
    }
    // From 1e-8 on it has a tenth of the cells: 0.1 x 10 rounded.
    expect_resolution(sort_into_cells({point(0), point(10, 10, 2e-8f)}, 100), 10, 10, 1);
    expect_resolution(sort_into_cells({point(0), point(10, 10, 2e-8f)}, 400), 16, 16, 2);
}

TEST(NaiveGridCells, AnAxisCountsAsATenthAtLeast) {
    // The cube root of 10000 is 21.54.
    const Buckets buckets = sort_into_cells({point(0), point(100, 1, 100)}, 1000);
    expect_resolution(buckets, 22, 2, 22);
}

TEST(NaiveGridCells, TheFarEndIsInTheLastCell) {
    // The cube root of 1 / 0.01 is 4.64.
    std::vector<Box> boxes;
    for (const float x : {0.0f, 1.0f, 2.0f, 3.0f, 4.0f, 3.21f, 3.19f})
        boxes.push_back(point(x));
    const Buckets buckets = sort_into_cells(boxes, 1);
    expect_resolution(buckets, 5, 1, 1);
    // The last cell starts slightly beyond 3.2.
    EXPECT_EQ(buckets.cells, (Items{0, 1, 2, 3, 4, 4, 3}));
}

TEST(NaiveGridCells, AreNumberedAsItemsReachThem) {
    const std::vector<Box> at = corners();
    const std::vector<Box> boxes = {at[7], at[0], at[7], at[3], at[0], at[7]};
    const Buckets buckets = sort_into_cells(boxes, 8);
    EXPECT_EQ(buckets.cells, (Items{0, 1, 0, 2, 1, 0}));
    EXPECT_EQ(buckets.items, (ItemLists{{0, 2, 5}, {1, 4}, {3}}));
}

TEST(NaiveGridCells, HoldTheGivenIndices) {
    const std::vector<Box> at = corners();
    const Buckets buckets = sort_into_cells({at[7], at[0], at[7]}, 8, {50, 7, 7});
    EXPECT_EQ(buckets.items, (ItemLists{{50, 7}, {7}}));
}

TEST(NaiveGridCells, BoxesAreUnionsOfWholeItems) {
    // The second item's centre is in the first cell, which ends at 4 / 3; its box reaches beyond.
    const Buckets buckets =
        sort_into_cells({unit(0, 0, 0), {{0.25f, 0, 0}, {1.5f, 1, 1}}, unit(3, 0, 0)}, 1);
    // The cube root of 1 / 0.0625 is 2.52.
    expect_resolution(buckets, 3, 1, 1);
    EXPECT_EQ(buckets.cells, (Items{0, 0, 1}));
    expect_box(buckets.boxes[0], {{0, 0, 0}, {1.5f, 1, 1}});
}

TEST(NaiveGridCells, NoItemsHaveNoCells) {
    const Buckets buckets = sort_into_cells({}, 8);
    expect_resolution(buckets, 1, 1, 1);
    EXPECT_TRUE(buckets.cells.empty());
    EXPECT_TRUE(buckets.items.empty());
}

TEST(NaiveGridCells, CentresThatAreNotFiniteCountForNothing) {
    const Box beyond = {{max_float, 0, 0}, {max_float, 0, 0}};
    const Box everything = {{-infinity, 0, 0}, {infinity, 0, 0}};
    std::vector<Box> boxes = {point(nan), beyond, everything, point(0, infinity),
                              point(0, 0, -infinity)};
    EXPECT_EQ(sort_into_cells(boxes, 8).cells, Items(5, no_cell));
    for (const Box& box : corners())
        boxes.push_back(box);
    const Buckets buckets = sort_into_cells(boxes, 8);
    expect_resolution(buckets, 2, 2, 2);
    EXPECT_EQ(buckets.cells, (Items{no_cell, no_cell, no_cell, no_cell, no_cell, //
                                    0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(buckets.items[0], Items{5});
}

TEST(NaiveGridCells, AnInvertedBoxMayLieBeyondTheGrid) {
    // Scene and grid are 0 .. 1 on x, in one cell.
    const auto cell_of = [](float low, float high) {
        const Buckets buckets =
            sort_into_cells({point(0), point(1), {{low, 0, 0}, {high, 0, 0}}}, 0);
        EXPECT_EQ(buckets.resolution[0], 1u);
        return buckets.cells[2];
    };
    EXPECT_EQ(cell_of(3, 0), no_cell);
    EXPECT_EQ(cell_of(1, 0), 0u);
    // The coordinate 9999 x 2^32 is 0 in its low 32 bits, the one near 2^90 has no 64 bits.
    EXPECT_EQ(cell_of(0x1p33f * 10000, 0), 0u);
    EXPECT_EQ(cell_of(0x1p91f, 0), 0u);
}

TEST(NaiveGridCells, TheirNumberWraps) {
    // 5002 x 1321 x 650 cells are 4 more than 32 bits count.
    const Buckets four = sort_into_cells(
        {point(0), point(1000, 264, 130), point(1000), point(0.9f), point(0.5f)}, 0xffffffff);
    expect_resolution(four, 5002, 1321, 650);
    // Places 0, 2^32 + 3, 5001, 4 and 2.
    EXPECT_EQ(four.cells, (Items{0, 1, 2, 0, 3}));
    // 2048 x 2048 x 1024 cells count as none, and one is left.
    const Buckets one = sort_into_cells({point(0), point(2, 2, 1), point(1)}, 0xffffffff);
    expect_resolution(one, 2048, 2048, 1024);
    EXPECT_EQ(one.cells, (Items{0, 0, 0}));
}

TEST(NaiveGridCells, HoldEveryItemOfEveryScene) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned target : {1u, 10u, 300u}) {
            const std::vector<Box> boxes = scenes::make(kind, 200, target);
            const Buckets buckets = sort_into_cells(boxes, target);
            std::size_t held = 0;
            for (const Items& items : buckets.items) {
                EXPECT_FALSE(items.empty());
                held += items.size();
            }
            std::size_t left_out = 0;
            for (const unsigned cell : buckets.cells)
                left_out += cell == no_cell;
            EXPECT_EQ(held + left_out, boxes.size());
            EXPECT_EQ(left_out, 0u) << scenes::name(kind);
        }
    }
}

TEST(NaiveGridRequests, AreSplitFrom512Boxes) {
    using Pieces = std::vector<Piece>;
    EXPECT_EQ(naive::split_request(1), (Pieces{{0, 1}}));
    EXPECT_EQ(naive::split_request(511), (Pieces{{0, 511}}));
    EXPECT_EQ(naive::split_request(512), (Pieces{{0, 256}, {256, 256}}));
    EXPECT_EQ(naive::split_request(767), (Pieces{{0, 384}, {384, 383}}));
    EXPECT_EQ(naive::split_request(1000), (Pieces{{0, 334}, {334, 334}, {668, 332}}));
}

TEST(NaiveGridRequests, MayEndBeforeTheirLastPiece) {
    // 258 pieces of 257 would be 257 too many.
    EXPECT_EQ(naive::split_request(66049).size(), 257u);
    EXPECT_EQ(naive::split_request(66049).back(), (Piece{256 * 257, 257}));
    EXPECT_EQ(naive::split_request(66050).size(), 258u);
    EXPECT_EQ(naive::split_request(66050).back(), (Piece{66049, 1}));
}

TEST(NaiveGridRequests, CoverEveryCount) {
    for (unsigned count = 500; count < 200000; count += 97) {
        unsigned next = 0;
        const std::vector<Piece> pieces = naive::split_request(count);
        for (const Piece& piece : pieces) {
            EXPECT_EQ(piece.first, next);
            EXPECT_GT(piece.count, 0u);
            next += piece.count;
        }
        EXPECT_EQ(next, count);
    }
}

TEST(NaiveGridMotion, TimesAddUp) {
    const std::vector<double> times = naive::sample_times({3, 0.1, 0.1, 0, 1});
    EXPECT_EQ(times, (std::vector<double>{0.1, 0.2, 0.1 + 0.1 + 0.1}));
    EXPECT_NE(times[2], 0.3);
    EXPECT_TRUE(naive::sample_times({0, 1.0, 1.0, 0, 1}).empty());
}

} // namespace
