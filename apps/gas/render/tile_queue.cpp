// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/render/tile_queue.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

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
    TileQueue(const RenderSettings& settings, const BlockRange& blocks, TileWatch& watch)
        : m_first(blocks.first), m_count(blocks.last - blocks.first),
          m_middle(get_middle(settings, blocks)), m_watch(watch) {}

    unsigned get_count() const { return m_count; }

    /// Hands out the next tile, first the one in the middle; false when there is none left.
    bool take(unsigned& block) {
        const unsigned index = m_next.fetch_add(1);
        if (index >= m_count || m_stopped || m_watch.is_stopped())
            return false;
        block = m_first + (m_middle + index) % m_count;
        return true;
    }

    void finish_tile(const Tile& tile) {
        const std::lock_guard lock(m_mutex);
        if (!m_has_tile)
            m_result.first_tile_seconds = get_seconds();
        m_has_tile = true;
        m_watch.finish_tile(tile);
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
    TileWatch& m_watch;
    std::atomic<unsigned> m_next{0};
    std::atomic<bool> m_stopped{false};
    std::mutex m_mutex;
    bool m_has_tile = false;
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

} // namespace

RenderResult compute_tiles(const Stage& stage, const RenderSettings& settings,
                           const BlockRange& blocks, TileWatch& watch, const ComputeTile& compute) {
    TileQueue queue(settings, blocks, watch);
    const auto work = [&] {
        try {
            PixelTracer tracer(stage, settings);
            for (unsigned block = 0; queue.take(block);) {
                tracer.forget_leaves();
                compute(tracer, block);
                queue.finish_tile(get_block(settings, block));
            }
            queue.add(tracer);
        } catch (...) {
            queue.stop(std::current_exception());
        }
    };

    run_on_threads(std::min(settings.threads, queue.get_count()), work, queue);
    return queue.get_result();
}

} // namespace gas_app
