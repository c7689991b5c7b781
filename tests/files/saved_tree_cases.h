// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <string>
#include <vector>

#include <gas/files/gas_tree_files.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <tests/support/box_conversion.h>
#include <tests/support/raw_rays.h>
#include <tests/support/ray_histories.h>
#include <tests/support/ray_maker.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

/// Trees to be saved, and everything that can be asked of a tree.
namespace support {

struct SavedTreeCase {
    unsigned item_count = 300;
    bool has_items = false;
    unsigned sample_count = 0;
    bool has_wide_nodes = false;
    scenes::Kind scene = scenes::Kind::random;
};

inline std::vector<naive::Box> get_case_boxes(const SavedTreeCase& of) {
    return scenes::make(of.scene, of.item_count, 5);
}
inline std::vector<naive::Box> get_case_sample(const SavedTreeCase& of, unsigned sample) {
    return scenes::make(of.scene, of.item_count, 50 + sample);
}

template <typename Tree> void make_case(Tree& tree, const SavedTreeCase& of) {
    std::vector<unsigned> items;
    for (unsigned i = 0; of.has_items && i < of.item_count; ++i)
        items.push_back(3 * i + 1);
    if constexpr (!is_compressed<Tree>)
        tree.set_wide_nodes(of.has_wide_nodes);
    build(tree, get_case_boxes(of), naive::Split::sah_fast, items);
    tree.set_motion_blur_sample_count(of.sample_count);
    for (unsigned sample = 0; sample < of.sample_count; ++sample)
        tree.refit_motion_blur_sample(to_boxes(get_case_sample(of, sample)), sample);
}

/// All ray queries and streams, and the spatial ones where there are some: every call that was made
/// and everything that was found. Replaces the tree's callbacks.
template <typename Tree> std::vector<RayHistory> ask_everything(Tree& tree, unsigned ray_count) {
    std::vector<naive::Box> scene = {{{-1.0f, -1.0f, -1.0f}, {1.0f, 1.0f, 1.0f}}};
    const GMathBbox3<float> bounds = tree.get_bbox();
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (bounds.min[axis] > -1e9f && bounds.max[axis] < 1e9f)
            scene.push_back({{bounds.min.x, bounds.min.y, bounds.min.z},
                             {bounds.max.x, bounds.max.y, bounds.max.z}});
    }
    SeededRandom random(1);
    RayMaker maker(random, scene);
    std::vector<RaySpec> rays;
    for (unsigned i = 0; i < ray_count; ++i)
        rays.push_back(maker.make(0.0f, 1.0f));

    std::vector<RayHistory> all;
    RayHistories histories(tree);
    for (const RayQuery query : all_ray_queries) {
        for (const Handing handing : {Handing::alone, Handing::together, Handing::stream}) {
            TestShader shader;
            shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
            const std::vector<RayHistory> found =
                histories.trace(rays, 0, static_cast<int>(ray_count) - 1, query, handing, shader);
            all.insert(all.end(), found.begin(), found.end());
        }
    }
    if constexpr (!is_compressed<Tree>) {
        GasTreeCtx ctx;
        RayHistory history;
        CoreVector<unsigned> leaves;
        tree.get_leaves_in_bbox(ctx, {{-2.0f, -2.0f, -2.0f}, {2.0f, 2.0f, 2.0f}}, leaves);
        for (unsigned i = 0; i < leaves.get_count(); ++i)
            history.add(std::uint64_t{leaves[i]});
        unsigned nearest[8];
        float distances[8];
        const unsigned count =
            tree.get_nearest_leaves(ctx, {0.5f, 0.25f, 0.0f}, 10.0f, 8, nearest, distances);
        for (unsigned i = 0; i < count; ++i)
            history.add(std::uint64_t{nearest[i]});
        all.push_back(history);
    }
    return all;
}

/// Equal node by node and in every answer.
template <typename Tree> void expect_same_trees(Tree& found, Tree& expected) {
    ASSERT_EQ(found.get_leaf_count(), expected.get_leaf_count());
    ASSERT_EQ(found.get_node_count(), expected.get_node_count());
    EXPECT_EQ(found.get_depth(), expected.get_depth());
    EXPECT_EQ(found.get_motion_blur_sample_count(), expected.get_motion_blur_sample_count());
    EXPECT_EQ(found.get_memory_size(), expected.get_memory_size());
    EXPECT_EQ(std::memcmp(found.get_nodes(), expected.get_nodes(),
                          found.get_node_count() * sizeof *found.get_nodes()),
              0);
    const GMathBbox3<float> box = found.get_bbox();
    const GMathBbox3<float> expected_box = expected.get_bbox();
    EXPECT_EQ(std::memcmp(&box, &expected_box, sizeof box), 0);
    for (unsigned sample = 0; sample < found.get_motion_blur_sample_count(); ++sample) {
        const GMathBbox3<float> moved = found.get_blurred_bbox(sample);
        const GMathBbox3<float> expected_moved = expected.get_blurred_bbox(sample);
        EXPECT_EQ(std::memcmp(&moved, &expected_moved, sizeof moved), 0);
    }
    if constexpr (!is_compressed<Tree>) {
        EXPECT_EQ(found.has_wide_nodes(), expected.has_wide_nodes());
    }
    EXPECT_EQ(ask_everything(found, 40), ask_everything(expected, 40));
}

} // namespace support
