#include "renderer.h"

#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>

namespace gas_app {

namespace {

constexpr unsigned tile_size = 16;

/// The tiles of a picture, handed out to threads.
class TileQueue {
  public:
    TileQueue(const RenderSettings& settings, AppProgressBar& progress_bar)
        : m_columns((settings.width + tile_size - 1) / tile_size),
          m_count(m_columns * ((settings.height + tile_size - 1) / tile_size)),
          m_progress_bar(progress_bar) {
        const unsigned interval = std::max(1u, m_count / 100);
        progress_bar.set_step_interval(interval);
        progress_bar.set_step_increment(static_cast<float>(interval) / static_cast<float>(m_count));
    }

    unsigned get_count() const { return m_count; }

    /// Gives the upper left corner of a tile that nobody has; false when there is none left.
    bool take(unsigned& left, unsigned& top) {
        const unsigned tile = m_next.fetch_add(1);
        if (tile >= m_count || m_stopped)
            return false;
        left = tile % m_columns * tile_size;
        top = tile / m_columns * tile_size;
        return true;
    }

    void finish_tile() {
        const std::lock_guard lock(m_mutex);
        m_progress_bar.increment_if_step(++m_finished);
    }

    /// A thread came to its end.
    void add(const RayCounts& ray_counts) {
        const std::lock_guard lock(m_mutex);
        m_ray_counts.add(ray_counts);
    }

    /// A thread failed: no more tiles are given out.
    void stop(std::exception_ptr failure) {
        const std::lock_guard lock(m_mutex);
        m_stopped = true;
        m_failure = std::move(failure);
    }

    /// When all threads are done: throws what made one of them fail.
    const RayCounts& get_result() const {
        if (m_failure)
            std::rethrow_exception(m_failure);
        return m_ray_counts;
    }

  private:
    unsigned m_columns;
    unsigned m_count;
    AppProgressBar& m_progress_bar;
    std::atomic<unsigned> m_next{0};
    std::atomic<bool> m_stopped{false};
    std::mutex m_mutex;
    unsigned m_finished = 0;
    RayCounts m_ray_counts;
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

} // namespace

RenderResult render_pixels(const Stage& stage, const RenderSettings& settings,
                           AppProgressBar& progress_bar,
                           const std::function<void(PixelTracer&, unsigned, unsigned)>& shade) {
    const auto start = std::chrono::steady_clock::now();
    TileQueue queue(settings, progress_bar);
    const auto work = [&] {
        try {
            PixelTracer tracer(stage, settings);
            for (unsigned left = 0, top = 0; queue.take(left, top);) {
                tracer.forget_leaves();
                const unsigned right = std::min(settings.width, left + tile_size);
                const unsigned bottom = std::min(settings.height, top + tile_size);
                for (unsigned y = top; y < bottom; ++y)
                    for (unsigned x = left; x < right; ++x)
                        shade(tracer, x, y);
                queue.finish_tile();
            }
            queue.add(tracer.get_ray_counts());
        } catch (...) {
            queue.stop(std::current_exception());
        }
    };

    run_on_threads(std::min(settings.threads, queue.get_count()), work, queue);
    RenderResult result;
    result.ray_counts = queue.get_result();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    result.seconds = seconds.count();
    progress_bar.finish();
    return result;
}

RenderResult render_picture(const Stage& stage, const RenderSettings& settings,
                            AppProgressBar& progress_bar, Picture& picture) {
    return render_pixels(stage, settings, progress_bar,
                         [&](PixelTracer& tracer, unsigned x, unsigned y) {
                             const std::uint64_t pixel = std::uint64_t{y} * settings.width + x;
                             const double noise = hash_unit(~settings.seed, pixel);
                             picture.at(x, y) = encode_light(tracer.trace_light(x, y), noise);
                         });
}

RenderResult render_costs(const Stage& stage, const RenderSettings& settings,
                          AppProgressBar& progress_bar, std::vector<double>& costs) {
    costs.assign(std::size_t{settings.width} * settings.height, 0.0);
    return render_pixels(stage, settings, progress_bar,
                         [&](PixelTracer& tracer, unsigned x, unsigned y) {
                             costs[std::size_t{y} * settings.width + x] = tracer.trace_costs(x, y);
                         });
}

} // namespace gas_app
