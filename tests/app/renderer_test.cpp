// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/renderer.h>

#include <algorithm>
#include <atomic>

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

struct SmallForest {
    Stage stage;
    RenderSettings settings;

    explicit SmallForest(unsigned samples) : stage(make()) {
        settings.width = 75;
        settings.height = 35;
        settings.samples = samples;
        settings.threads = 2;
        settings.packet_size = 16;
        settings.walk = Walk::stream;
    }

    static Stage make() {
        StageSettings stage_settings;
        stage_settings.width = 75;
        stage_settings.height = 35;
        Stage stage = make_forest_stage(stage_settings, 500);
        AppBase application(nullptr);
        stage.scene->build(stage.camera.get_position(),
                           *application.create_progress_bar("", false));
        return stage;
    }
};

/// Stops when so many tiles are done.
class CountingWatch : public TileWatch {
  public:
    explicit CountingWatch(unsigned limit = 1000) : m_limit(limit) {}
    bool is_stopped() const override { return m_count >= m_limit; }
    void finish_tile(const Tile&) override { ++m_count; }
    unsigned get_count() const { return m_count; }

  private:
    unsigned m_limit;
    std::atomic<unsigned> m_count{0};
};

bool are_equal(const Picture& a, const Picture& b) {
    const std::size_t count = std::size_t{a.get_width()} * a.get_height();
    return a.get_width() == b.get_width() && a.get_height() == b.get_height() &&
           std::equal(a.get_pixels(), a.get_pixels() + count, b.get_pixels());
}

TEST(ProgressivePicture, EndsWithThePictureOfTheSettings) {
    for (const unsigned samples : {1u, 3u, 16u, 35u}) {
        const SmallForest forest(samples);
        AppBase application(nullptr);
        Picture whole(forest.settings.width, forest.settings.height);
        const RenderResult result = render_picture(
            forest.stage, forest.settings, *application.create_progress_bar("", false), whole);
        ProgressivePicture picture(forest.stage, forest.settings);
        RayCounts rays;
        for (const RenderPass& pass : plan_passes(forest.settings)) {
            CountingWatch watch;
            const RenderResult part = picture.draw(pass, watch);
            EXPECT_EQ(watch.get_count(), pass.divisor == 1 ? 15u : pass.divisor == 2 ? 6u : 2u);
            if (!pass.is_preview)
                rays.add(part.ray_counts);
        }
        EXPECT_TRUE(are_equal(picture.get_picture(), whole)) << samples;
        EXPECT_EQ(rays.get_total(), result.ray_counts.get_total());
    }
}

TEST(ProgressivePicture, PlansCoarsePassesFirst) {
    RenderSettings settings;
    settings.width = 75;
    settings.samples = 35;
    const std::vector<RenderPass> passes = {{4, 0, 1, true},    {2, 0, 1, true},
                                            {1, 0, 1, true},    {1, 0, 16, false},
                                            {1, 16, 16, false}, {1, 32, 3, false}};
    EXPECT_EQ(plan_passes(settings), passes);
    settings.width = 8;
    settings.samples = 1;
    EXPECT_EQ(plan_passes(settings), (std::vector<RenderPass>{{1, 0, 1, false}}));
}

TEST(ProgressivePicture, StopsBetweenTiles) {
    const SmallForest forest(1);
    ProgressivePicture picture(forest.stage, forest.settings);
    CountingWatch watch(3);
    const RenderResult result = picture.draw({1, 0, 1, false}, watch);
    // The other thread may be in a tile of its own.
    EXPECT_LE(watch.get_count(), 4u);
    EXPECT_LE(result.ray_counts.camera, 4u * tile_size * tile_size);
    CountingWatch stopped(0);
    EXPECT_EQ(picture.draw({1, 0, 1, false}, stopped).ray_counts.get_total(), 0u);
}

} // namespace
