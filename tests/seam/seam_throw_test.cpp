// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>
#include <tests/seam/seam_scene.h>

// A host's progress bar may throw, which cancels a build: the tree is empty then, whichever it is,
// however far it was, and can be built again.

namespace {

using seam::Boxes;

constexpr unsigned item_count = 20000;
constexpr unsigned counts[] = {1, 2, 3, 17, 9000, 19999, 20000};

void expect_empty(const GasTree& tree) {
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_node_count(), 0u);
    EXPECT_EQ(tree.get_leaf_count(), 0u);
    EXPECT_EQ(tree.get_depth(), 0u);
    EXPECT_FALSE(tree.has_wide_nodes());
}
void expect_empty(const GasCompressedTree& tree) {
    EXPECT_TRUE(tree.is_empty());
    EXPECT_EQ(tree.get_nodes(), nullptr);
    EXPECT_EQ(tree.get_leaf_count(), 0u);
    EXPECT_EQ(tree.get_root_index(), GasCompressedTree::no_root);
}
void expect_empty(const GasGridTree& grid) {
    EXPECT_EQ(grid.get_cell_count(), 0u);
    EXPECT_TRUE(grid.get_top_tree().is_empty());
}

/// Runs `create(tree, bar)` with a bar that throws at each of the counts, and then with one that
/// does not.
template <typename Tree, typename Create> void expect_cancelled(const Create& create) {
    Tree tree;
    for (const unsigned count : counts) {
        AppBase app;
        app.bar.throws_at = count;
        EXPECT_THROW(create(tree, &app.bar), BarThrows) << count;
        expect_empty(tree);
    }
    AppBase app;
    EXPECT_NO_THROW(create(tree, &app.bar));
    EXPECT_EQ(app.bar.heard_counts.back(), item_count);
}

TEST(SeamThrow, ABarThatThrowsLeavesATreeEmpty) {
    const Boxes boxes = seam::make_boxes(item_count, 0.0f);
    expect_cancelled<GasTree>([&](GasTree& tree, AppProgressBar* bar) {
        tree.set_wide_nodes(true);
        tree.create(boxes, nullptr, bar, 1.0f);
    });
    expect_cancelled<GasTree>([&](GasTree& tree, AppProgressBar* bar) {
        SysThreadTaskManager manager(nullptr);
        tree.create(boxes, nullptr, bar, 1.0f, manager, 4);
    });
}

TEST(SeamThrow, ABarThatThrowsOverANaNLeavesATreeEmpty) {
    Boxes boxes = seam::make_boxes(item_count, 0.0f);
    boxes.items[77].min.y = std::numeric_limits<float>::quiet_NaN();
    expect_cancelled<GasTree>(
        [&](GasTree& tree, AppProgressBar* bar) { tree.create(boxes, nullptr, bar, 1.0f); });
    expect_cancelled<GasCompressedTree>(
        [&](GasCompressedTree& tree, AppProgressBar* bar) { tree.create(boxes, nullptr, bar); });
}

TEST(SeamThrow, ABarThatThrowsLeavesACompressedTreeEmpty) {
    const Boxes boxes = seam::make_boxes(item_count, 0.0f);
    expect_cancelled<GasCompressedTree>(
        [&](GasCompressedTree& tree, AppProgressBar* bar) { tree.create(boxes, nullptr, bar); });
    expect_cancelled<GasCompressedTree>([&](GasCompressedTree& tree, AppProgressBar* bar) {
        SysThreadTaskManager manager(nullptr);
        tree.create(boxes, nullptr, bar, manager, 4);
    });
}

TEST(SeamThrow, ABarThatThrowsAtTheStartOrTheEndLeavesACompressedTreeEmpty) {
    const Boxes boxes = seam::make_boxes(item_count, 0.0f);
    const Boxes lone_box = seam::make_boxes(1, 0.0f);
    GasCompressedTree tree;
    for (const float value : {0.0f, 1.0f}) {
        AppBase app;
        app.bar.throws_at_value = value;
        EXPECT_THROW(tree.create(boxes, nullptr, &app.bar), BarThrows) << value;
        expect_empty(tree);
        EXPECT_THROW(tree.create(lone_box, nullptr, &app.bar), BarThrows) << value;
        expect_empty(tree);
    }
}

TEST(SeamThrow, ABarThatThrowsLeavesAGridEmpty) {
    const Boxes boxes = seam::make_boxes(item_count, 0.0f);
    for (const unsigned thread_count : {1u, 4u}) {
        GasGridTree grid;
        AppBase app;
        app.bar.throws_at = 100;
        SysThreadTaskManager manager(nullptr);
        const auto create = [&] {
            grid.create(boxes.items.data(), item_count, 12000, nullptr, &app.bar, manager,
                        thread_count);
        };
        EXPECT_THROW(create(), BarThrows);
        expect_empty(grid);
        app.bar.throws_at = 0xFFFFFFFFu;
        create();
        EXPECT_GT(grid.get_cell_count(), 100u);
    }
}

// The bar is finished once and handed back all the same, and the next ray builds the cell.
TEST(SeamThrow, ABarOfACellThatThrowsLeavesTheCellForTheNextRay) {
    const Boxes boxes = seam::make_boxes(300, 0.0f);
    const auto give = [](void* user, const unsigned& count, const unsigned* items,
                         GMathBbox3<float>* bboxes) {
        for (unsigned i = 0; i < count; ++i)
            bboxes[i] = static_cast<const Boxes*>(user)->items[items[i]];
    };
    for (unsigned cause = 0; cause < 4; ++cause) {
        AppBase app;
        GasGridTree grid;
        grid.set_leaf_bbox_callbacks(give, nullptr, const_cast<Boxes*>(&boxes));
        grid.create(boxes, 1, nullptr, &app.bar);
        ASSERT_EQ(grid.get_cell_count(), 1u);
        const auto trace = [&grid] {
            CtxShader shader;
            SeamRays no_rays(0);
            GeometryRaytraceData data;
            data.rays = &no_rays;
            gas_host::set_range(data, 0, -1);
            grid.ray_hit_static(CtxEval(), shader, data.ctx);
        };
        app.bar.done = false;
        app.bar.throws_at = cause == 0 ? 100u : 0xFFFFFFFFu;
        app.bar.throws_at_value = cause == 1 ? 0.0f : 2.0f;
        app.bar.throws_at_finish = cause != 2; // while something else is thrown, too
        app.throws = cause == 2;
        EXPECT_THROW(trace(), BarThrows) << cause;
        EXPECT_FALSE(grid.find_sub_tree(0)) << cause;
        EXPECT_EQ(app.bar.done, cause != 2) << cause;
        EXPECT_EQ(app.bar.finish_count, cause != 2 ? 1u : 0u) << cause;

        app.bar.throws_at = 0xFFFFFFFFu;
        app.bar.throws_at_value = 2.0f;
        app.bar.throws_at_finish = false;
        app.throws = false;
        trace();
        ASSERT_TRUE(grid.find_sub_tree(0)) << cause;
        EXPECT_EQ(grid.find_sub_tree(0)->get_leaf_count(), 300u);
    }
}

} // namespace
