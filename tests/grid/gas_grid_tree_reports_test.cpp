// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <tests/support/grid_items.h>
#include <tests/support/recorded_reports.h>
#include <tests/support/scenes.h>
#include <tests/support/split_scene.h>
#include <tests/support/test_shader.h>

// What a grid that cannot do what it is asked for reports.

namespace {

using support::GridItems;
using support::RayQuery;
using support::RecordedReports;
using support::Reports;
using support::TestShader;

void hit_nothing(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}

/// Traces a few rays through each of two clusters, by queries and by streams.
void trace_clusters(const GasGridTree& grid, RayQuery query, CtxShader& shader) {
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, grid.get_motion_blur_sample_count()));
    GeometryRayBatch batch(8);
    for (unsigned ray = 0; ray < 8; ++ray)
        support::aim_at_cluster(batch, ray, ray % 2);
    trace(grid, query, shader, batch.get_ctx());
    for (unsigned ray = 0; ray < 8; ++ray)
        support::aim_at_cluster(batch, ray, ray % 2);
    support::trace_query<true>(grid, query, shader, batch.get_ctx(), CtxEval());
}

class GridReports : public testing::Test {
  protected:
    GridReports() : items(support::make_clusters(2, 30)), target(support::get_cluster_target(2)) {}

    GridItems items;
    const unsigned target;
    GasGridTree grid;
    TestShader shader;
};

} // namespace

TEST_F(GridReports, FramesThatAreMissing) {
    items.build(grid, target);
    grid.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    CtxShader bare;
    for (const RayQuery query : support::all_ray_queries) {
        RecordedReports reports;
        trace_clusters(grid, query, bare);
        EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_frames, &grid}}));
    }
}

TEST_F(GridReports, ALeafCallbackThatWasNeverSetOfTheGridAlone) {
    items.build(grid, target);
    for (const RayQuery query : support::all_ray_queries) {
        RecordedReports reports;
        trace_clusters(grid, query, shader);
        EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_leaf_callback, &grid}}));
        trace_clusters(grid, query, shader); // through cells that are built
        EXPECT_EQ(reports.take(), Reports{});
    }
}

TEST_F(GridReports, ACellThatWasBuiltBeforeItsLeafCallbackWasSet) {
    for (const RayQuery query : {RayQuery::hit_static, RayQuery::nearest_static}) {
        for (const bool is_built_before : {false, true}) {
            GasGridTree asked;
            items.build(asked, target);
            if (is_built_before)
                trace_clusters(asked, query, shader);
            asked.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
            RecordedReports reports;
            trace_clusters(asked, query, shader);
            trace_clusters(asked, query, shader);
            if (is_built_before) {
                EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_leaf_callback, &asked}}));
                EXPECT_NE(reports.get_text().find("built before"), std::string::npos);
            } else {
                EXPECT_EQ(reports.take(), Reports{});
            }
        }
    }
}

TEST_F(GridReports, TheCellsTreeWhereALoneCellLacksFrames) {
    GridItems lone(std::vector<naive::Box>(30, items.get_boxes().front())); // in one place
    lone.build(grid, 1);
    grid.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    ASSERT_EQ(grid.get_cell_count(), 1u);
    CtxShader bare;
    RecordedReports reports;
    trace_clusters(grid, RayQuery::nearest_static, bare);
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_frames, grid.find_sub_tree(0)}}));
}

TEST_F(GridReports, EveryBoxCallbackIsToldOfOnItsOwn) {
    RecordedReports reports;
    grid.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    grid.create(support::to_boxes(items.get_boxes()), target, nullptr, nullptr);
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_bbox_callback, &grid}}));
    EXPECT_NE(reports.get_text().find(" leaves_bbox_at,"), std::string::npos);
    EXPECT_NE(reports.get_text().find("with four callbacks"), std::string::npos);
    trace_clusters(grid, RayQuery::nearest_static, shader); // builds cells, fills samples
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_bbox_callback, &grid}}));
    EXPECT_NE(reports.get_text().find(" leaf_bboxes,"), std::string::npos);
}

TEST_F(GridReports, BoxesThatNobodyGives) {
    RecordedReports reports;
    grid.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    grid.create(support::to_boxes(items.get_boxes()), target, nullptr, nullptr);
    EXPECT_EQ(reports.take(), Reports{});
    trace_clusters(grid, RayQuery::nearest_static, shader);
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_bbox_callback, &grid}}));

    GasGridTree asking;
    asking.create(100u, target, nullptr, nullptr);
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_bbox_callback, &asking}}));
}

TEST_F(GridReports, BoxesInMotionThatNobodyGives) {
    grid.set_leaf_raytrace_callbacks(hit_nothing, hit_nothing, nullptr);
    items.build(grid, target);
    GasGridTree still;
    still.set_leaf_bbox_callbacks(
        [](void*, const unsigned&, const unsigned*, GMathBbox3<float>*) {}, nullptr, nullptr);
    still.create(support::to_boxes(items.get_boxes()), target, nullptr, nullptr);
    RecordedReports reports;
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    trace_clusters(grid, RayQuery::nearest_motion, shader);
    EXPECT_EQ(reports.take(), Reports{});
    still.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 0)); // asks for nothing
    EXPECT_EQ(reports.take(), Reports{});
    still.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_bbox_callback, &still}}));
}
