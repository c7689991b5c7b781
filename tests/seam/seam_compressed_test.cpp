// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <tests/seam/seam_scene.h>

// The compressed tree over a host with other layouts.

using namespace seam;

namespace {

using Counts = std::vector<unsigned>;

Boxes make_points(const std::vector<float>& places) {
    Boxes boxes;
    for (const float x : places)
        boxes.items.push_back({{x, 0.0f, 0.0f}, {x, 0.0f, 0.0f}});
    return boxes;
}

/// Builds by the median and returns what the bar heard.
AppProgressBar build_with_bar(const Boxes& boxes) {
    AppBase app;
    app.build_method = 0;
    GasCompressedTree tree;
    tree.create(boxes, nullptr, &app.bar);
    return app.bar;
}

} // namespace

TEST(SeamCompressed, TheTraversalInterfaceWorksOverAnyHost) {
    const Scene scene;
    {
        GasCompressedTree tree;
        std::vector<unsigned> indices(item_count);
        std::iota(indices.begin(), indices.end(), 1000u);
        tree.create(scene.tree_boxes, indices.data(), nullptr);
        GasTreeCtx ctx;
        ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
        tree.init_traversal(ctx);
        GMathBasicRay ray;
        ray.direction = {1.0f, -1.0f, 1.0f};
        unsigned leaf_count = 0;
        std::vector<unsigned> pending = {0};
        while (!pending.empty()) {
            const unsigned slot = pending.back();
            pending.pop_back();
            if (tree.is_node_a_leaf(ctx, slot)) {
                EXPECT_TRUE(tree.is_leaf_valid(ctx, tree.get_leaf_value(ctx, slot)));
                ++leaf_count;
            } else {
                unsigned children[2];
                const unsigned order = tree.get_node_traversal_order(ctx, slot, ray);
                tree.get_node_children(ctx, slot, children[0], children[1]);
                pending.push_back(children[1 - order]);
                pending.push_back(children[order]);
            }
            tree.free_node(ctx, slot);
        }
        tree.deinit_traversal(ctx);
        EXPECT_EQ(leaf_count, item_count);
    }
    EXPECT_EQ(seam_live_blocks, 0);
}

TEST(SeamCompressed, ABarHearsOfLeavesAsTheyAreMadeBetweenNothingAndAll) {
    // Two pairs under the root: each counts two leaves at once.
    const AppProgressBar pairs = build_with_bar(make_points({0, 1, 9, 10}));
    EXPECT_EQ(pairs.heard_counts, (Counts{2, 4}));
    EXPECT_EQ(pairs.heard_values, (std::vector<float>{0.0f, 1.0f}));
    EXPECT_EQ(pairs.interval, 1u);
    EXPECT_EQ(pairs.increment, 0.25f);

    // A leaf beside a node counts before what is below that node, on either side; and first
    // subtrees are done before second ones are begun.
    EXPECT_EQ(build_with_bar(make_points({0, 9, 10})).heard_counts, (Counts{1, 3}));
    EXPECT_EQ(build_with_bar(make_points({0, 1, 10})).heard_counts, (Counts{1, 3}));
    EXPECT_EQ(build_with_bar(make_points({0, 10, 1, 4, 8})).heard_counts, (Counts{1, 3, 5}));
    EXPECT_EQ(build_with_bar(make_points({0, 6, 8, 9, 10})).heard_counts, (Counts{1, 3, 5}));
    EXPECT_EQ(build_with_bar(make_points({0, 9})).heard_counts, (Counts{2}));

    const AppProgressBar one = build_with_bar(make_points({7}));
    EXPECT_EQ(one.heard_counts, Counts{});
    EXPECT_EQ(one.heard_values, std::vector<float>{1.0f});

    const AppProgressBar none = build_with_bar(Boxes());
    EXPECT_EQ(none.heard_counts, Counts{});
    EXPECT_EQ(none.heard_values, std::vector<float>{});
}

TEST(SeamCompressed, ABarHearsOfEveryLeaf) {
    const AppProgressBar bar = build_with_bar(make_boxes(777, 0.0f));
    EXPECT_EQ(bar.interval, 7u);
    EXPECT_EQ(bar.increment, 7.0f / 777.0f);
    EXPECT_EQ(bar.heard_values, (std::vector<float>{0.0f, 1.0f}));
    unsigned before = 0;
    for (const unsigned count : bar.heard_counts) {
        EXPECT_GT(count, before);
        EXPECT_LE(count, before + 2);
        before = count;
    }
    EXPECT_EQ(before, 777u);
}
