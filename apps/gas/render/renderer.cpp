// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/renderer.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>

namespace gas_app {

namespace {

unsigned get_column_count(const RenderSettings& settings) {
    return (settings.width + tile_size - 1) / tile_size;
}

} // namespace

unsigned get_block_count(const RenderSettings& settings) {
    return get_column_count(settings) * ((settings.height + tile_size - 1) / tile_size);
}

Tile get_block(const RenderSettings& settings, unsigned block) {
    const unsigned left = block % get_column_count(settings) * tile_size;
    const unsigned top = block / get_column_count(settings) * tile_size;
    return {left, top, std::min(settings.width, left + tile_size),
            std::min(settings.height, top + tile_size)};
}

namespace {

/// Some tiles of a picture, handed out to threads.
class TileQueue {
  public:
    TileQueue(const RenderSettings& settings, const BlockRange& blocks,
              AppProgressBar& progress_bar)
        : m_first(blocks.first), m_count(blocks.last - blocks.first),
          m_middle(get_middle(settings, blocks)), m_progress_bar(progress_bar) {
        const unsigned interval = std::max(1u, m_count / 100);
        progress_bar.set_step_interval(interval);
        progress_bar.set_step_increment(static_cast<float>(interval) / static_cast<float>(m_count));
    }

    unsigned get_count() const { return m_count; }

    /// Hands out the next tile, first the one in the middle; false when there is none left.
    bool take(unsigned& block) {
        const unsigned index = m_next.fetch_add(1);
        if (index >= m_count || m_stopped)
            return false;
        block = m_first + (m_middle + index) % m_count;
        return true;
    }

    void finish_tile() {
        const std::lock_guard lock(m_mutex);
        if (m_finished == 0)
            m_result.first_tile_seconds = get_seconds();
        m_progress_bar.increment_if_step(++m_finished);
    }

    /// Adds the counts of a thread that has finished.
    void add(const PixelTracer& tracer) {
        const std::lock_guard lock(m_mutex);
        m_result.ray_counts.add(tracer.get_ray_counts());
        m_result.walk_counts.visited_nodes += tracer.get_walk_counts().visited_nodes;
        m_result.walk_counts.leaf_calls += tracer.get_walk_counts().leaf_calls;
    }

    /// Records a thread's failure; no more tiles are handed out.
    void stop(std::exception_ptr failure) {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
        m_failure = std::move(failure);
    }

    /// To be called when all threads are done; rethrows a thread's failure.
    RenderResult get_result() const {
        if (m_failure)
            std::rethrow_exception(m_failure);
        RenderResult result = m_result;
        result.seconds = get_seconds();
        return result;
    }

  private:
    /// The block in the middle of the picture, or of those that there are.
    static unsigned get_middle(const RenderSettings& settings, const BlockRange& blocks) {
        const unsigned columns = get_column_count(settings);
        const unsigned middle = get_block_count(settings) / columns / 2 * columns + columns / 2;
        const bool is_inside = middle >= blocks.first && middle < blocks.last;
        return is_inside ? middle - blocks.first : (blocks.last - blocks.first) / 2;
    }

    double get_seconds() const {
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - m_start;
        return seconds.count();
    }

    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    unsigned m_first;
    unsigned m_count;
    unsigned m_middle;
    AppProgressBar& m_progress_bar;
    std::atomic<unsigned> m_next{0};
    std::atomic<bool> m_stopped{false};
    std::mutex m_mutex;
    unsigned m_finished = 0;
    RenderResult m_result;
    std::exception_ptr m_failure;
};

/// Runs `work` on `count` threads, this one among them, until all are done. A thread that cannot be
/// started stops the others.
void run_on_threads(unsigned count, const std::function<void()>& work, TileQueue& queue) {
    std::vector<std::jthread> threads;
    try {
        for (unsigned thread = 1; thread < count; ++thread)
            threads.emplace_back(work);
    } catch (...) {
        queue.stop(std::current_exception());
    }
    work();
}

/// Computes some tiles of the picture on the threads of the settings: calls `compute` once per
/// tile, with a tracer of the thread.
template <typename Compute>
RenderResult compute_tiles(const Stage& stage, const RenderSettings& settings,
                           const BlockRange& blocks, AppProgressBar& progress_bar,
                           const Compute& compute) {
    TileQueue queue(settings, blocks, progress_bar);
    const auto work = [&] {
        try {
            PixelTracer tracer(stage, settings);
            for (unsigned block = 0; queue.take(block);) {
                tracer.forget_leaves();
                compute(tracer, block);
                queue.finish_tile();
            }
            queue.add(tracer);
        } catch (...) {
            queue.stop(std::current_exception());
        }
    };

    run_on_threads(std::min(settings.threads, queue.get_count()), work, queue);
    const RenderResult result = queue.get_result();
    progress_bar.finish();
    return result;
}

} // namespace

RenderResult render_light(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeLight& take) {
    return compute_tiles(stage, settings, blocks, progress_bar,
                         [&](PixelTracer& tracer, unsigned block) {
                             std::vector<Vec3> light;
                             tracer.trace_light(get_block(settings, block), light);
                             take(block, light);
                         });
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          const BlockRange& blocks, AppProgressBar& progress_bar,
                          const TakeCosts& take) {
    return compute_tiles(stage, settings, blocks, progress_bar,
                         [&](PixelTracer& tracer, unsigned block) {
                             std::vector<PixelCost> costs;
                             tracer.trace_costs(get_block(settings, block), costs);
                             take(block, costs);
                         });
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
    return render_light(stage, settings, {0, get_block_count(settings)}, progress_bar,
                        [&](unsigned block, const std::vector<Vec3>& light) {
                            paint_light(get_block(settings, block), light.data(), settings.seed,
                                        picture, light_picture);
                        });
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<PixelCost>& costs) {
    costs.assign(std::size_t{settings.width} * settings.height, PixelCost());
    return render_costs(stage, settings, {0, get_block_count(settings)}, progress_bar,
                        [&](unsigned block, const std::vector<PixelCost>& block_costs) {
                            const Tile tile = get_block(settings, block);
                            for (unsigned pixel = 0; pixel < block_costs.size(); ++pixel)
                                costs[tile.get_picture_pixel(pixel, settings.width)] =
                                    block_costs[pixel];
                        });
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
