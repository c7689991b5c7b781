// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>

namespace gas_bench {

inline double get_seconds(clockid_t clock) {
    timespec time = {};
    clock_gettime(clock, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Seconds of processor time of the calling thread so far: other programs do not count.
inline double get_thread_seconds() { return get_seconds(CLOCK_THREAD_CPUTIME_ID); }

/// The same of all threads of the process.
inline double get_process_seconds() { return get_seconds(CLOCK_PROCESS_CPUTIME_ID); }

/// Seconds of wall time, which other programs prolong.
inline double get_wall_seconds() { return get_seconds(CLOCK_MONOTONIC); }

} // namespace gas_bench
