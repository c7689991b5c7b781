// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// Counts and fails allocations of the calling thread. A program that links allocation_counter.cpp
/// gets its operator new and its host allocation functions (`sys_malloc` and the others) from
/// there, so every allocation of the library passes through it.
namespace support {

struct AllocationCounts {
    std::uint64_t allocations;
    std::uint64_t releases;
};

/// Since the thread started; null releases do not count.
AllocationCounts get_allocation_counts();

/// Bytes that all threads hold now, as the heap rounds them.
std::int64_t get_live_bytes();
/// The most they have held since the last call of `restart_peak`.
std::int64_t get_peak_bytes();
void restart_peak();

/// While it lives, one allocation throws std::bad_alloc: the next one for `nth` 0, the one after
/// that for 1, and so on. Use one at a time.
class FailingAllocation {
  public:
    explicit FailingAllocation(std::uint64_t nth);
    ~FailingAllocation();
    FailingAllocation(const FailingAllocation&) = delete;
    FailingAllocation& operator=(const FailingAllocation&) = delete;

    /// Whether the allocation was reached.
    bool has_failed() const;
};

} // namespace support
