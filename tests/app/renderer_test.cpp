// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/renderer.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

/// The costs of all pixels, times the samples, are the counts of the whole picture.
TEST(Renderer, SplitsTheCountsAmongPixels) {
    for (const TreeKind kind : {TreeKind::plain, TreeKind::compressed, TreeKind::grid})
        for (const bool in_motion : {false, true}) {
            StageSettings stage_settings;
            stage_settings.width = 24;
            stage_settings.height = 15;
            stage_settings.motion = in_motion;
            const Stage stage = make_forest_stage(stage_settings, 3000);
            AppBase application(nullptr);
            TreeSettings trees;
            trees.kind = kind;
            trees.cell_count = 40;
            stage.scene->build(stage.camera.get_position(),
                               *application.create_progress_bar("", false), trees);

            RenderSettings settings;
            settings.width = stage_settings.width;
            settings.height = stage_settings.height;
            settings.samples = 2;
            settings.threads = 2;
            settings.counts_walks = true;
            const auto expect_sum = [&] {
                std::vector<double> costs;
                const RenderResult result = render_costs(
                    stage, settings, *application.create_progress_bar("", false), costs);
                double sum = 0.0;
                for (const double cost : costs)
                    sum += cost * settings.samples;
                const GasWalkCounts& counts = result.walk_counts;
                const auto all = static_cast<double>(counts.visited_nodes + counts.leaf_calls);
                EXPECT_GT(counts.visited_nodes, result.ray_counts.camera);
                EXPECT_GT(counts.leaf_calls, 0u);
                EXPECT_NEAR(sum, all, 1e-9 * all);
            };
            SCOPED_TRACE(get_name(kind));
            expect_sum();
            settings.packet_size = 16;
            expect_sum();
            settings.camera_walk = Walk::stream;
            expect_sum();
        }
}

} // namespace
