// SPDX-License-Identifier: Apache-2.0
#include <tests/support/allocation_counter.h>

#include <atomic>
#include <cstdlib>
#include <new>

#include <malloc.h>

#include <gas/host/aligned_memory.h>

namespace {

constexpr std::uint64_t never = UINT64_MAX;

thread_local constinit std::uint64_t allocations = 0;
thread_local constinit std::uint64_t releases = 0;
thread_local constinit std::uint64_t failing_allocation = never;
thread_local constinit bool failed = false;

constinit std::atomic<std::int64_t> live_bytes = 0;
constinit std::atomic<std::int64_t> peak_bytes = 0;

void count_block(void* memory) {
    const auto size = static_cast<std::int64_t>(malloc_usable_size(memory));
    const std::int64_t live = live_bytes.fetch_add(size) + size;
    std::int64_t peak = peak_bytes.load();
    while (live > peak && !peak_bytes.compare_exchange_weak(peak, live)) {
    }
}

void* allocate(std::size_t size, std::size_t alignment) {
    if (allocations == failing_allocation) {
        failing_allocation = never;
        failed = true;
        throw std::bad_alloc();
    }
    ++allocations;
    void* memory = nullptr;
    if (alignment <= alignof(std::max_align_t))
        memory = std::malloc(size ? size : 1);
    else if (size <= SIZE_MAX - alignment)
        memory = std::aligned_alloc(alignment, (size / alignment + 1) * alignment);
    if (!memory)
        throw std::bad_alloc();
    count_block(memory);
    return memory;
}

void release(void* memory) {
    if (memory) {
        ++releases;
        live_bytes.fetch_sub(static_cast<std::int64_t>(malloc_usable_size(memory)));
    }
    std::free(memory);
}

} // namespace

namespace support {

AllocationCounts get_allocation_counts() { return {allocations, releases}; }

std::int64_t get_live_bytes() { return live_bytes.load(); }
std::int64_t get_peak_bytes() { return peak_bytes.load(); }
void restart_peak() { peak_bytes.store(live_bytes.load()); }

FailingAllocation::FailingAllocation(std::uint64_t nth) {
    failed = false;
    failing_allocation = allocations + nth;
}

FailingAllocation::~FailingAllocation() { failing_allocation = never; }

bool FailingAllocation::has_failed() const { return failed; }

} // namespace support

void* operator new(std::size_t size) { return allocate(size, 1); }
void* operator new[](std::size_t size) { return allocate(size, 1); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t size, std::align_val_t alignment) {
    return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete[](void* memory, std::align_val_t) noexcept { release(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept { release(memory); }

// In place of the reference host's, so in its namespace.
inline namespace gas_abi1 {

void* sys_malloc(std::size_t size) { return allocate(size, 1); }
void sys_free(void* memory) { release(memory); }
void* sys_aligned_malloc(std::size_t size) { return allocate(size, 16); }
void sys_aligned_free(void* memory) { release(memory); }

} // namespace gas_abi1
