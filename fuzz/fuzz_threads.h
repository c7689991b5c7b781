// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <thread>
#include <vector>

#include <gas/host/host.h>

namespace fuzz {

/// Two threads that serve tasks as long as the program runs, however few the machine has.
class Threads {
  public:
    static SysThreadManager& get() {
        static Threads threads;
        return threads.m_manager;
    }

  private:
    Threads() {
        for (unsigned i = 0; i < 2; ++i)
            m_threads.emplace_back([this] { m_manager.serve(); });
    }
    ~Threads() {
        m_manager.close();
        for (std::thread& thread : m_threads)
            thread.join();
    }

    SysThreadManager m_manager;
    std::vector<std::thread> m_threads;
};

} // namespace fuzz
