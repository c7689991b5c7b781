#pragma once

#include <ctime>

namespace gas_bench {

/// Seconds of processor time of the calling thread so far: others on the machine do not count.
inline double get_thread_seconds() {
    timespec time = {};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

} // namespace gas_bench
