// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <new>

#include <tests/support/recorded_reports.h>
#include <tests/support/row_ray.h>
#include <tests/support/tree_kinds.h>

// What a query that cannot do what it is asked for reports.

namespace {

using support::RayQuery;
using support::RecordedReports;
using support::Reports;
using support::row_of_boxes;
using support::TestShader;

void hit_nothing(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}

/// A tree over a row of boxes, with two filled samples, and a batch along the row.
template <typename Tree> class TreesReports : public testing::Test {
  protected:
    explicit TreesReports(unsigned count = 20) {
        support::build(tree, row_of_boxes(count));
        support::fill_samples(tree, {row_of_boxes(count), row_of_boxes(count)});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    /// One ray by a query, several by a query, several by a stream.
    void trace_all_ways(CtxShader& through, RayQuery query, bool shortcut = false) {
        GeometryRayBatch one(1);
        aim(one);
        trace(tree, query, through, one.get_ctx(), shortcut);
        GeometryRayBatch many(20);
        aim(many);
        trace(tree, query, through, many.get_ctx(), shortcut);
        aim(many);
        trace_stream(tree, query, through, many.get_ctx(), shortcut);
    }

    static void aim(GeometryRayBatch& batch, float time = 0.0f) {
        for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, time);
    }

    Tree tree;
    TestShader shader;
    CtxShader bare;
};
TYPED_TEST_SUITE(TreesReports, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesReports, FramesThatAreMissing) {
    this->tree.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    support::for_each_walk(this->tree, [&] {
        for (const RayQuery query : support::all_ray_queries) {
            {
                RecordedReports reports;
                this->trace_all_ways(this->bare, query);
                EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_frames, &this->tree}}))
                    << support::name(query);
            }
            RecordedReports reports; // told anew
            this->trace_all_ways(this->shader, query);
            EXPECT_EQ(reports.take(), Reports{}) << support::name(query);
        }
    });
}

TYPED_TEST(TreesReports, ALeafCallbackThatWasNeverSet) {
    support::for_each_walk(this->tree, [&] {
        for (const RayQuery query : support::all_ray_queries) {
            RecordedReports reports;
            this->trace_all_ways(this->shader, query);
            EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_leaf_callback, &this->tree}}))
                << support::name(query);
        }
    });
}

TYPED_TEST(TreesReports, EveryLeafCallbackIsToldOfOnItsOwnAndByName) {
    RecordedReports reports;
    for (const RayQuery query : support::all_ray_queries) {
        this->trace_all_ways(this->shader, query);
        EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_leaf_callback, &this->tree}}))
            << support::name(query);
        constexpr const char* names[] = {"hit_static", "hit_motion", "nearest_static",
                                         "nearest_motion"};
        const std::string name = names[static_cast<unsigned>(query)];
        EXPECT_NE(reports.get_text().find("callback " + name + ","), std::string::npos)
            << reports.get_text();
    }
}

TYPED_TEST(TreesReports, OnlyTheQueryThatLacksItsCallback) {
    for (const RayQuery set : support::all_ray_queries) {
        TypeParam partly_set;
        support::build(partly_set, row_of_boxes(20));
        support::fill_samples(partly_set, {row_of_boxes(20), row_of_boxes(20)});
        GasLeafCallback callbacks[4] = {};
        callbacks[static_cast<unsigned>(set)] = hit_nothing;
        partly_set.set_leaf_raytrace_callbacks(callbacks[0], callbacks[1], callbacks[2],
                                               callbacks[3], nullptr);
        for (const RayQuery query : support::all_ray_queries) {
            RecordedReports reports;
            GeometryRayBatch batch(1);
            this->aim(batch);
            trace(partly_set, query, this->shader, batch.get_ctx());
            EXPECT_EQ(reports.take().size(), query == set ? 0u : 1u)
                << support::name(set) << ' ' << support::name(query);
        }
    }
}

TYPED_TEST(TreesReports, AMotionQueryWithoutSamplesNeedsTheStaticCallback) {
    this->tree.set_motion_blur_sample_count(1);
    RecordedReports reports;
    this->tree.set_leaf_raytrace_callbacks(hit_nothing, nullptr, hit_nothing, nullptr, nullptr);
    for (const RayQuery query : support::all_ray_queries)
        this->trace_all_ways(this->shader, query);
    EXPECT_EQ(reports.take(), Reports{});
}

TYPED_TEST(TreesReports, ALoneLeafWithTheShortcutNeedsNoFrames) {
    support::build(this->tree, row_of_boxes(1));
    RecordedReports reports;
    this->trace_all_ways(this->bare, RayQuery::hit_static, true);
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_leaf_callback, &this->tree}}));
    this->tree.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    this->trace_all_ways(this->bare, RayQuery::hit_static, true);
    EXPECT_EQ(reports.take(), Reports{});
}

TYPED_TEST(TreesReports, NothingOfAnEmptyTreeOrAnEmptyRange) {
    RecordedReports reports;
    GeometryRayBatch batch(1);
    this->aim(batch);
    batch.get_data().set_range(0, -1);
    trace(this->tree, RayQuery::hit_static, this->shader, batch.get_ctx());
    this->tree.clear();
    this->trace_all_ways(this->bare, RayQuery::nearest_static);
    EXPECT_EQ(reports.take(), Reports{});
}

TYPED_TEST(TreesReports, ATreeAtTheAddressOfAnotherIsToldOfAgain) {
    RecordedReports reports;
    alignas(TypeParam) unsigned char place[sizeof(TypeParam)];
    for (unsigned i = 0; i < 3; ++i) {
        auto* const placed = new (place) TypeParam;
        support::build(*placed, row_of_boxes(20));
        GeometryRayBatch batch(1);
        this->aim(batch);
        trace(*placed, RayQuery::hit_static, this->shader, batch.get_ctx());
        EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_leaf_callback, placed}}));
        placed->~TypeParam();
    }
}

// In debug builds an assertion follows.
#ifdef NDEBUG
TYPED_TEST(TreesReports, ABatchWithoutAnIntersectionMap) {
    this->tree.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    for (const RayQuery query : support::all_ray_queries) {
        for (const bool is_stream : {false, true}) {
            RecordedReports reports;
            GeometryRayBatch batch(3);
            this->aim(batch);
            batch.get_data().use_intersection_map(false);
            if (is_stream)
                trace_stream(this->tree, query, this->shader, batch.get_ctx());
            else
                trace(this->tree, query, this->shader, batch.get_ctx());
            const bool needs_map =
                query == RayQuery::nearest_static || query == RayQuery::nearest_motion;
            EXPECT_EQ(reports.take(),
                      needs_map ? (Reports{{GasReportCause::no_intersection_map, &this->tree}})
                                : Reports{})
                << support::name(query);
        }
    }
}

TYPED_TEST(TreesReports, ARangeBeyondTheRays) {
    this->tree.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    for (const RayQuery query : support::all_ray_queries) {
        for (const bool is_below : {false, true}) {
            RecordedReports reports;
            GeometryRayBatch batch(3);
            this->aim(batch);
            batch.get_data().set_range(is_below ? -1 : 0, is_below ? 2 : 3);
            trace(this->tree, query, this->shader, batch.get_ctx());
            EXPECT_EQ(reports.take(), (Reports{{GasReportCause::range_outside, &this->tree}}))
                << support::name(query);
        }
    }
}

TYPED_TEST(TreesReports, ASampleThatWasNeverFilled) {
    this->tree.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    this->tree.set_motion_blur_sample_count(4);
    this->shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    support::for_each_walk(this->tree, [&] {
        for (const RayQuery query : {RayQuery::hit_motion, RayQuery::nearest_motion}) {
            for (const unsigned count : {1u, 20u}) {
                for (const bool is_stream : {false, true}) {
                    RecordedReports reports;
                    GeometryRayBatch batch(count);
                    const auto run = [&](float time) {
                        this->aim(batch, time);
                        if (is_stream)
                            trace_stream(this->tree, query, this->shader, batch.get_ctx());
                        else
                            trace(this->tree, query, this->shader, batch.get_ctx());
                    };
                    run(0.1f); // between the filled ones
                    EXPECT_EQ(reports.take(), Reports{});
                    run(0.5f);
                    EXPECT_EQ(reports.take(),
                              (Reports{{GasReportCause::unfilled_sample, &this->tree}}));
                }
            }
        }
    });
}
#endif
