// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/renderer.h>

#include <algorithm>

namespace gas_app {

namespace {

/// Fills a progress bar with tiles.
class BarWatch : public TileWatch {
  public:
    BarWatch(const BlockRange& blocks, AppProgressBar& bar) : m_bar(bar) {
        const unsigned count = blocks.last - blocks.first;
        const unsigned interval = std::max(1u, count / 100);
        bar.set_step_interval(interval);
        bar.set_step_increment(static_cast<float>(interval) / static_cast<float>(count));
    }

    bool is_stopped() const override { return false; }
    void finish_tile(const Tile&) override { m_bar.increment_if_step(++m_finished); }

  private:
    AppProgressBar& m_bar;
    unsigned m_finished = 0;
};

BlockRange all_blocks(const RenderSettings& settings) { return {0, get_block_count(settings)}; }

} // namespace

RenderResult render_light(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeLight& take) {
    BarWatch watch(blocks, progress_bar);
    const RenderResult result =
        compute_tiles(stage, settings, blocks, watch, [&](PixelTracer& tracer, unsigned block) {
            std::vector<Vec3> light;
            tracer.trace_light(get_block(settings, block), light);
            take(block, light);
        });
    progress_bar.finish();
    return result;
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, TileWatch& watch, const TakeCosts& take) {
    return compute_tiles(stage, settings, blocks, watch, [&](PixelTracer& tracer, unsigned block) {
        std::vector<PixelCost> costs;
        tracer.trace_costs(get_block(settings, block), costs);
        take(block, costs);
    });
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeCosts& take) {
    BarWatch watch(blocks, progress_bar);
    const RenderResult result = render_costs(stage, settings, blocks, watch, take);
    progress_bar.finish();
    return result;
}

void paint_light(const Tile& block, const Vec3* pixels, std::uint64_t seed, Picture& picture,
                 LightPicture* light) {
    for (unsigned pixel = 0; pixel < block.get_pixel_count(); ++pixel) {
        const unsigned x = block.get_x(pixel);
        const unsigned y = block.get_y(pixel);
        const double noise = hash_unit(~seed, block.get_picture_pixel(pixel, picture.get_width()));
        picture.at(x, y) = encode_light(pixels[pixel], noise);
        if (light)
            light->at(x, y) = to_float(pixels[pixel]);
    }
}

RenderResult render_picture(const Stage& stage, const RenderSettings& settings,
                            AppProgressBar& progress_bar, Picture& picture,
                            LightPicture* light_picture) {
    return render_light(stage, settings, all_blocks(settings), progress_bar,
                        [&](unsigned block, const std::vector<Vec3>& light) {
                            paint_light(get_block(settings, block), light.data(), settings.seed,
                                        picture, light_picture);
                        });
}

std::vector<RenderPass> plan_passes(const RenderSettings& settings) {
    std::vector<RenderPass> passes;
    for (const unsigned divisor : {8u, 4u, 2u, 1u})
        if (settings.width >= divisor * tile_size && (divisor > 1 || settings.samples > 1))
            passes.push_back({divisor, 0, 1, true});
    constexpr unsigned limit = CameraRays::sample_limit;
    for (unsigned first = 0; first < settings.samples; first += limit)
        passes.push_back({1, first, std::min(limit, settings.samples - first), false});
    return passes;
}

RenderResult ProgressivePicture::draw(const RenderPass& pass, TileWatch& watch) {
    if (pass.is_preview)
        return draw_preview(pass, watch);
    if (pass.first_sample == 0) {
        m_sums.assign(std::size_t{m_settings.width} * m_settings.height, {0.0, 0.0, 0.0});
        m_picture = Picture(m_settings.width, m_settings.height);
    }
    const double share = 1.0 / (pass.first_sample + pass.sample_count);
    const auto add_samples = [&](PixelTracer& tracer, unsigned block) {
        const Tile tile = get_block(m_settings, block);
        std::vector<Vec3> light(tile.get_pixel_count());
        const auto get_sum = [&](unsigned pixel) -> Vec3& {
            return m_sums[tile.get_picture_pixel(pixel, m_settings.width)];
        };
        for (unsigned pixel = 0; pixel < light.size(); ++pixel)
            light[pixel] = get_sum(pixel);
        tracer.add_samples(tile, pass.first_sample, pass.sample_count, light);
        for (unsigned pixel = 0; pixel < light.size(); ++pixel) {
            get_sum(pixel) = light[pixel];
            light[pixel] = light[pixel] * share;
        }
        paint_light(tile, light.data(), m_settings.seed, m_picture, nullptr);
    };
    return compute_tiles(m_stage, m_settings, all_blocks(m_settings), watch, add_samples);
}

RenderResult ProgressivePicture::draw_preview(const RenderPass& pass, TileWatch& watch) {
    RenderSettings settings = m_settings;
    settings.width = (m_settings.width + pass.divisor - 1) / pass.divisor;
    settings.height = (m_settings.height + pass.divisor - 1) / pass.divisor;
    settings.samples = pass.sample_count;
    settings.ambient_rays = std::min(1u, m_settings.ambient_rays);
    Stage stage = m_stage;
    stage.camera = m_stage.camera.coarsen(pass.divisor);
    m_picture = Picture(settings.width, settings.height);
    const auto paint = [&](PixelTracer& tracer, unsigned block) {
        const Tile tile = get_block(settings, block);
        std::vector<Vec3> light;
        tracer.trace_light(tile, light);
        paint_light(tile, light.data(), settings.seed, m_picture, nullptr);
    };
    return compute_tiles(stage, settings, all_blocks(settings), watch, paint);
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings, TileWatch& watch,
                          std::vector<PixelCost>& costs) {
    costs.assign(std::size_t{settings.width} * settings.height, PixelCost());
    return render_costs(stage, settings, all_blocks(settings), watch,
                        [&](unsigned block, const std::vector<PixelCost>& block_costs) {
                            const Tile tile = get_block(settings, block);
                            for (unsigned pixel = 0; pixel < block_costs.size(); ++pixel)
                                costs[tile.get_picture_pixel(pixel, settings.width)] =
                                    block_costs[pixel];
                        });
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<PixelCost>& costs) {
    BarWatch watch(all_blocks(settings), progress_bar);
    const RenderResult result = render_costs(stage, settings, watch, costs);
    progress_bar.finish();
    return result;
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<double>& visits) {
    std::vector<PixelCost> costs;
    const RenderResult result = render_costs(stage, settings, progress_bar, costs);
    visits.clear();
    for (const PixelCost& cost : costs)
        visits.push_back(cost.visits);
    return result;
}

} // namespace gas_app
