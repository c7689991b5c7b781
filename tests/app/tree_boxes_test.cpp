// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/tree_boxes.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

/// Over unit cubes in a row, the first two of which overlap by half.
void build_row(TracedTree& tree, TreeKind kind) {
    static constexpr double places[] = {0.0, 0.5, 8.0, 9.0};
    TracedTree::Items items;
    items.item_count = 4;
    items.get_box = [](unsigned item, unsigned) -> Box {
        return {{places[item], 0.0, 0.0}, {places[item] + 1.0, 1.0, 1.0}};
    };
    items.bounds = {{0.0, 0.0, 0.0}, {10.0, 1.0, 1.0}};
    TreeSettings settings;
    settings.kind = kind;
    settings.cell_count = 2;
    AppBase application(nullptr);
    AppProgressBar bar(application, "Building", false, nullptr);
    tree.build(items, settings, bar, 1.0f);
}

} // namespace

TEST(TreeBoxes, AddsUpASmallTreeByHand) {
    TracedTree tree;
    build_row(tree, TreeKind::plain);
    const std::vector<TreeBox> boxes = list_tree_boxes(tree);
    ASSERT_EQ(boxes.size(), 7u);
    EXPECT_EQ(boxes[0].item_count, 4u);
    EXPECT_EQ(boxes[0].parent, TreeBox::no_parent);
    // Areas: the root 42, pairs of 1.5 and 2 cubes 8 and 10, four cubes of 6.
    EXPECT_DOUBLE_EQ(boxes[0].cost, (42.0 + 8.0 + 10.0 + 4 * 6.0) / 42.0);
    const std::vector<TreeLevel> levels = sum_levels(boxes);
    ASSERT_EQ(levels.size(), 3u);
    EXPECT_EQ(levels[1].node_count, 2u);
    EXPECT_EQ(levels[2].leaf_count, 4u);
    EXPECT_DOUBLE_EQ(levels[1].cost, 18.0 / 42.0);
    // The pairs are apart. Of the first one's cubes 0.5 x 1 x 1 is shared, of the others a side.
    EXPECT_EQ(levels[0].overlap, 0.0);
    EXPECT_DOUBLE_EQ(levels[1].overlap, (4.0 + 2.0) / 18.0);
    EXPECT_EQ(get_mean_leaf_depth(levels), 3.0);
    const std::vector<ShownLevel> shown = choose_boxes(boxes, 1);
    EXPECT_EQ(shown[1].box_count, 2u);
    ASSERT_EQ(shown[1].boxes.size(), 1u);
    EXPECT_EQ(shown[1].boxes[0].box.max.x, 10.0f);
}

TEST(TreeBoxes, ListsEveryItemOfTreesOfAllKinds) {
    for (const TreeKind kind : {TreeKind::plain, TreeKind::compressed, TreeKind::grid}) {
        TracedTree tree;
        build_row(tree, kind);
        const std::vector<TreeBox> boxes = list_tree_boxes(tree);
        unsigned items = 0;
        for (const TreeBox& box : boxes) {
            items += box.is_leaf ? box.item_count : 0;
            EXPECT_EQ(&boxes[box.number], &box);
            const bool is_root = box.parent == TreeBox::no_parent;
            EXPECT_EQ(box.level, is_root ? 0 : boxes[box.parent].level + 1);
        }
        EXPECT_EQ(items, 4u);
        EXPECT_EQ(boxes[0].item_count, 4u);
        EXPECT_NEAR(boxes[0].box.max.x, 10.0f, 0.01f);
    }
}
