// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/renderer.h>

#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>

namespace gas_app {

namespace {

/// The tiles of a picture, handed out to threads.
class TileQueue {
  public:
    TileQueue(const RenderSettings& settings, AppProgressBar& progress_bar)
        : m_width(settings.width), m_height(settings.height),
          m_columns((settings.width + tile_size - 1) / tile_size),
          m_rows((settings.height + tile_size - 1) / tile_size), m_count(m_columns * m_rows),
          m_progress_bar(progress_bar) {
        const unsigned interval = std::max(1u, m_count / 100);
        progress_bar.set_step_interval(interval);
        progress_bar.set_step_increment(static_cast<float>(interval) / static_cast<float>(m_count));
    }

    unsigned get_count() const { return m_count; }

    /// Hands out the next tile, first the one in the middle; false when there is none left.
    bool take(Tile& tile) {
        const unsigned index = m_next.fetch_add(1);
        if (index >= m_count || m_stopped)
            return false;
        const unsigned middle = m_rows / 2 * m_columns + m_columns / 2;
        const unsigned place = (middle + index) % m_count;
        tile.left = place % m_columns * tile_size;
        tile.top = place / m_columns * tile_size;
        tile.right = std::min(m_width, tile.left + tile_size);
        tile.bottom = std::min(m_height, tile.top + tile_size);
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
    double get_seconds() const {
        const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - m_start;
        return seconds.count();
    }

    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
    unsigned m_width;
    unsigned m_height;
    unsigned m_columns;
    unsigned m_rows;
    unsigned m_count;
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

/// Computes every tile of the picture on the threads of the settings: calls `compute` once per
/// tile, with a tracer of the thread.
template <typename Compute>
RenderResult compute_tiles(const Stage& stage, const RenderSettings& settings,
                           AppProgressBar& progress_bar, const Compute& compute) {
    TileQueue queue(settings, progress_bar);
    const auto work = [&] {
        try {
            PixelTracer tracer(stage, settings);
            for (Tile tile; queue.take(tile);) {
                tracer.forget_leaves();
                compute(tracer, tile);
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

RenderResult render_picture(const Stage& stage, const RenderSettings& settings,
                            AppProgressBar& progress_bar, Picture& picture,
                            LightPicture* light_picture) {
    return compute_tiles(stage, settings, progress_bar, [&](PixelTracer& tracer, const Tile& tile) {
        std::vector<Vec3> light;
        tracer.trace_light(tile, light);
        for (unsigned pixel = 0; pixel < light.size(); ++pixel) {
            const double noise =
                hash_unit(~settings.seed, tile.get_picture_pixel(pixel, settings.width));
            picture.at(tile.get_x(pixel), tile.get_y(pixel)) = encode_light(light[pixel], noise);
            if (light_picture)
                light_picture->at(tile.get_x(pixel), tile.get_y(pixel)) = to_float(light[pixel]);
        }
    });
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<double>& costs) {
    costs.assign(std::size_t{settings.width} * settings.height, 0.0);
    return compute_tiles(stage, settings, progress_bar, [&](PixelTracer& tracer, const Tile& tile) {
        std::vector<double> tile_costs;
        tracer.trace_costs(tile, tile_costs);
        for (unsigned pixel = 0; pixel < tile_costs.size(); ++pixel)
            costs[tile.get_picture_pixel(pixel, settings.width)] = tile_costs[pixel];
    });
}

} // namespace gas_app
