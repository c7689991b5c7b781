// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <exception>
#include <mutex>
#include <thread>
#include <vector>

namespace gas_app {

/// Calls `call(i)` for each i below `count` on up to `thread_count` threads. What a call throws is
/// thrown when all threads have ended; no further call begins then.
template <typename Call>
void call_in_parallel(unsigned count, unsigned thread_count, const Call& call) {
    std::atomic<unsigned> next{0};
    std::mutex mutex;
    std::exception_ptr thrown;
    const auto work = [&] {
        try {
            for (unsigned i = next++; i < count; i = next++)
                call(i);
        } catch (...) {
            next = count;
            const std::lock_guard<std::mutex> guard(mutex);
            thrown = std::current_exception();
        }
    };
    std::vector<std::thread> threads;
    for (unsigned i = 1; i < thread_count && i < count; ++i)
        threads.emplace_back(work);
    work();
    for (std::thread& thread : threads)
        thread.join();
    if (thrown)
        std::rethrow_exception(thrown);
}

} // namespace gas_app
