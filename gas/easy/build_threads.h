// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <exception>
#include <thread>

#include <gas/easy/options.h>
#include <gas/host/host.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

/// Calls `build(manager, thread_count)` with the threads of `options`.
template <typename Build> void with_threads(const Options& options, const Build& build) {
    const unsigned thread_count =
        options.threads != 0 ? options.threads : std::thread::hardware_concurrency();
    if (!options.parallel_for || thread_count <= 1) {
        SysThreadTaskManager manager(nullptr);
        build(manager, thread_count == 0 ? 1 : thread_count);
        return;
    }
    // The first call builds, and the others serve it until it is done, those that come later not at
    // all: so it makes no difference how many run at once.
    SysThreadManager threads;
    std::atomic<bool> is_taken = false;
    std::exception_ptr failure;
    const auto take_part = [&](std::size_t) {
        if (is_taken.exchange(true))
            return threads.serve();
        try {
            SysThreadTaskManager manager(&threads);
            build(manager, thread_count);
        } catch (...) {
            failure = std::current_exception();
        }
        threads.close();
    };
    options.parallel_for(thread_count, take_part);
    if (!is_taken)
        take_part(0);
    if (failure)
        std::rethrow_exception(failure);
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
