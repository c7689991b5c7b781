// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <new>

#include <tests/support/allocation_counter.h>

namespace support {

/// Blocks of the calling thread that were allocated and not yet released.
inline std::int64_t count_live_blocks() {
    const AllocationCounts counts = get_allocation_counts();
    return static_cast<std::int64_t>(counts.allocations - counts.releases);
}

/// How many allocations `action` makes.
template <typename Action> std::uint64_t count_allocations(const Action& action) {
    const std::uint64_t before = get_allocation_counts().allocations;
    action();
    return get_allocation_counts().allocations - before;
}

struct Attempt {
    bool reached; // whether the action made as many allocations
    bool thrown;
};

/// Runs `action` with its allocation number `nth` failing.
template <typename Action> Attempt attempt(std::uint64_t nth, const Action& action) {
    const FailingAllocation failing(nth);
    bool thrown = false;
    try {
        action();
    } catch (const std::bad_alloc&) {
        thrown = true;
    }
    return {failing.has_failed(), thrown};
}

} // namespace support
