// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>

#include <gas/host/host.h>

namespace gas_app {

/// Fills a share of a progress bar as any number of threads work. Until they are done, nothing else
/// changes the bar.
class SharedProgress {
  public:
    /// `total` (at least 1) units of work fill `share` of `whole`, from the value that it has now.
    SharedProgress(AppProgressBar& whole, float share, std::uint64_t total)
        : m_bar(whole, share), m_total(total), m_step(std::max<std::uint64_t>(total / 100, 1)) {}

    /// Tells of finished work, on any thread. What the bar throws is kept, and it is not told
    /// again.
    void add(std::uint64_t units) noexcept {
        const std::uint64_t before = m_done.fetch_add(units, std::memory_order_relaxed);
        if (before / m_step == (before + units) / m_step)
            return;
        const std::lock_guard lock(m_mutex);
        if (m_failure)
            return;
        const auto done = static_cast<double>(m_done.load(std::memory_order_relaxed));
        try {
            m_bar.set_value(static_cast<float>(done / static_cast<double>(m_total)));
        } catch (...) {
            m_failure = std::current_exception();
        }
    }

    /// When all threads are done: throws what the bar threw.
    void finish() const {
        if (m_failure)
            std::rethrow_exception(m_failure);
    }

  private:
    std::mutex m_mutex;
    AppProgressBar m_bar;
    std::uint64_t m_total;
    std::uint64_t m_step;
    std::atomic<std::uint64_t> m_done{0};
    std::exception_ptr m_failure;
};

} // namespace gas_app
