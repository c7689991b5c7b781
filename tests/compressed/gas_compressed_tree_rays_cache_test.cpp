// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <numeric>
#include <optional>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// A frame remembers leaves by the tree's address, and what stands there may be another tree by now.

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;
using Items = std::vector<unsigned>;

class StaleCache : public testing::TestWithParam<RayQuery> {
  protected:
    StaleCache() : batch(1) { shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2)); }

    /// A row at the address of the former one; items are 100, 101, .. with indices.
    void build_row(unsigned count, bool with_indices) {
        if (!tree)
            tree.emplace();
        Items indices;
        if (with_indices) {
            indices.resize(count);
            std::iota(indices.begin(), indices.end(), 100u);
        }
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(*tree, boxes, naive::Split::sah_fast, indices);
        support::fill_samples(*tree, {boxes, boxes});
        calls.attach(*tree);
    }

    Items run() {
        batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
        trace(*tree, GetParam(), shader, batch.get_ctx());
        return calls.take_items();
    }

    /// Makes the frame remember this leaf.
    void remember(unsigned leaf) {
        calls.react = [leaf](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
            if (item % 100 == leaf)
                rays.record_nearest_hit(0, 10.0 * leaf + 1.0, item);
        };
        run();
        ASSERT_EQ(get_cached().tree, &*tree);
        ASSERT_EQ(get_cached().leaf, leaf);
        calls.react = nullptr;
    }

    const GasCachedLeaf& get_cached() const {
        const GasTreeCtx& frame = shader.get_tree_ctx();
        return support::is_nearest(GetParam()) ? frame.nearest_cache[0] : frame.all_hits_cache[0];
    }

    std::optional<GasCompressedTree> tree;
    RecordingCallbacks calls;
    TestShader shader;
    GeometryRayBatch batch;
};

} // namespace

TEST_P(StaleCache, APositionBeyondTheIndicesIsNotCalledAndDoesNotEndTheRay) {
    for (const bool same_object : {true, false}) {
        for (const bool had_indices : {true, false}) {
            build_row(16, had_indices);
            remember(12);
            const void* const address = &*tree;
            if (!same_object)
                tree.emplace();
            build_row(3, true);
            ASSERT_EQ(&*tree, address);
            EXPECT_EQ(run(), (Items{100, 101, 102}));
            EXPECT_FALSE(batch.is_hit(0));
            EXPECT_EQ(batch.get_hit_distance(0), 1000.0);
            EXPECT_EQ(get_cached().tree, nullptr);
        }
    }
}

TEST_P(StaleCache, HitsAreFoundInSpiteOfIt) {
    build_row(16, true);
    remember(12);
    build_row(3, true);
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 101)
            rays.record_nearest_hit(0, 11.5, item);
    };
    EXPECT_EQ(run(), (Items{100, 101}));
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_EQ(batch.get_hit_distance(0), 11.5);
    EXPECT_EQ(get_cached().tree, &*tree);
    EXPECT_EQ(get_cached().leaf, 1u);
}

TEST_P(StaleCache, WithoutIndicesTheCallbackGetsThePositionAsItIs) {
    build_row(16, false);
    remember(12);
    build_row(3, false);
    EXPECT_EQ(run(), (Items{12, 0, 1, 2}));
    EXPECT_FALSE(batch.is_hit(0));
    EXPECT_EQ(get_cached().tree, nullptr);
}

TEST_P(StaleCache, APositionThatStillExistsIsTried) {
    build_row(16, false);
    remember(2);
    build_row(4, true);
    EXPECT_EQ(run(), support::is_nearest(GetParam()) ? (Items{102, 100, 101, 103})
                                                     : (Items{102, 100, 101, 102, 103}));
}

TEST_P(StaleCache, ALoneItemOrNoneDoesNotAskIt) {
    build_row(16, true);
    remember(12);
    build_row(1, true);
    EXPECT_EQ(run(), Items{100});
    tree->clear();
    EXPECT_EQ(run(), Items{});
    EXPECT_EQ(get_cached().leaf, 12u);
    build_row(2, true);
    EXPECT_EQ(run(), (Items{100, 101}));
}

TEST_P(StaleCache, BatchesFindTheirWayToo) {
    build_row(16, true);
    remember(12);
    build_row(5, true);
    GeometryRayBatch three(3);
    for (unsigned ray = 0; ray < 3; ++ray)
        three.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
    trace(*tree, GetParam(), shader, three.get_ctx());
    EXPECT_EQ(calls.take_ray_count(), 15u);
}

INSTANTIATE_TEST_SUITE_P(Queries, StaleCache, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });
