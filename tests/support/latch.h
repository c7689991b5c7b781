// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>

namespace support {

/// What std::latch is, without its waits on atomic numbers, from which libraries of compilers for
/// systems without futexes may not wake.
class Latch {
  public:
    explicit Latch(unsigned count) : m_count(count) {}
    Latch(const Latch&) = delete;
    Latch& operator=(const Latch&) = delete;

    void count_down() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        if (--m_count == 0)
            m_reached.notify_all();
    }
    void wait() {
        std::unique_lock<std::mutex> guard(m_mutex);
        m_reached.wait(guard, [this] { return m_count == 0; });
    }
    void arrive_and_wait() {
        count_down();
        wait();
    }

  private:
    std::mutex m_mutex;
    std::condition_variable m_reached;
    unsigned m_count;
};

} // namespace support
