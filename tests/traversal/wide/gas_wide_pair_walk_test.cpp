// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/counted_trace.h>
#include <tests/support/ray_coherence.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/test_shader.h>

// When a ray expands two nodes at a time, and that it then calls the same leaves: only where rays
// of its slot are not coherent.

namespace {

using support::RayQuery;
using Items = std::vector<unsigned>;

constexpr unsigned box_count = 500;

class WidePairs : public testing::TestWithParam<RayQuery> {
  protected:
    WidePairs() {
        tree.set_wide_nodes(true);
        std::vector<naive::Box> boxes(box_count);
        support::SeededRandom random(7);
        for (naive::Box& box : boxes)
            for (unsigned axis = 0; axis < 3; ++axis) {
                box.min[axis] = random.between(0.0f, 10.0f);
                box.max[axis] = box.min[axis] + random.between(0.1f, 2.0f);
            }
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        calls.attach(tree);
        calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
            if (item % 4 == 0)
                rays.set_hit(support::get_only_ray(rays));
            // A closest-hit ray comes to its end a bit at a time.
            GeometryIntersectionPath& path = rays.get_intersection_path(0);
            path.set_hit_distance(path.get_hit_distance() - 0.5);
        };
    }

    struct Outcome {
        Items items;
        std::uint64_t visited_nodes;
    };

    /// Makes the slot one without a cached leaf, whose rays were `coherent`.
    void reset_slot(bool coherent) {
        GasTreeCtx& frame = shader.get_tree_ctx();
        for (GasCachedLeaf* const slots : {frame.all_hits_cache, frame.nearest_cache})
            slots[slot] = {};
        support::set_coherence(frame, coherent);
    }
    bool is_slot_coherent() const {
        const GasTreeCtx& frame = shader.get_tree_ctx();
        const GasCachedLeaf* const slots =
            support::is_nearest(GetParam()) ? frame.nearest_cache : frame.all_hits_cache;
        return slots[slot].coherence.is_coherent();
    }

    /// Traces the ray of a number; those of neighbouring numbers have nothing in common.
    Outcome trace(unsigned ray) {
        support::SeededRandom random(ray);
        GMathVec3<double> origin = {};
        GMathVec3<double> direction = {};
        for (unsigned axis = 0; axis < 3; ++axis) {
            origin[axis] = static_cast<double>(random.between(0.0f, 10.0f));
            direction[axis] = static_cast<double>(random.between(-1.0f, 1.0f));
        }
        GeometryRayBatch batch(1);
        batch.set_ray(0, origin, direction, 0.0, 12.0, 0.25f, slot);
        GasWalkCounts counts;
        support::trace_counted(tree, GetParam(), shader, batch.get_ctx(), counts, false);
        return {calls.take_items(), counts.visited_nodes};
    }

    static constexpr int slot = 1;

    GasTree tree;
    support::RecordingCallbacks calls;
    support::TestShader shader;
};

TEST_P(WidePairs, AreExpandedForRaysThatAreNotCoherentAndCallTheSameLeaves) {
    std::uint64_t alone = 0;
    std::uint64_t in_pairs = 0;
    for (unsigned ray = 0; ray < 200; ++ray) {
        reset_slot(true);
        const Outcome one = trace(ray);
        reset_slot(false);
        const Outcome two = trace(ray);
        EXPECT_EQ(one.items, two.items) << ray;
        alone += one.visited_nodes;
        in_pairs += two.visited_nodes;
    }
    // The second node of a pair is not always needed.
    EXPECT_GT(in_pairs, alone);
}

TEST_P(WidePairs, AreExpandedAsTheRaysOfTheSlotSuggest) {
    reset_slot(false);
    calls.react = nullptr;
    for (unsigned ray = 0; ray < 20; ++ray)
        trace(3);
    EXPECT_TRUE(is_slot_coherent());
    // The cached leaf alone stops no ray.
    unsigned call_count = 0;
    calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
        if (++call_count == 3)
            rays.set_hit(support::get_only_ray(rays));
    };
    for (unsigned ray = 0; ray < 400; ++ray) {
        call_count = 0;
        trace(ray);
    }
    EXPECT_FALSE(is_slot_coherent());
}

INSTANTIATE_TEST_SUITE_P(Queries, WidePairs, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return std::string(name(query.param)); });

} // namespace
