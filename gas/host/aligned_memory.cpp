// SPDX-License-Identifier: Apache-2.0
#include <gas/host/aligned_memory.h>

#include <cstdint>
#include <cstdlib>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#elif defined(_WIN32)
#include <malloc.h>
#endif

inline namespace gas_abi1 {

namespace {

constexpr std::size_t alignment = 16;

#if defined(_WIN32)

// Aligned blocks have a release of their own here, and huge pages are for few users.
void* allocate_aligned(std::size_t size) {
    if (size > PTRDIFF_MAX)
        return nullptr; // not all libraries see that the size wraps
    return _aligned_malloc(size ? size : 1, alignment);
}
void* allocate(std::size_t size) { return allocate_aligned(size); }
void release(void* memory) { _aligned_free(memory); }

#else

/// Blocks of this many bytes start at a huge page and ask for huge pages, as many as they fill.
/// Arrays of that size are read all over, where a missing address translation costs more than the
/// data.
constexpr std::size_t huge_page = std::size_t{2} << 20;
constexpr std::size_t large_size = 2 * huge_page;

/// `size` bytes at a multiple of `boundary`; null when there is no memory.
void* allocate_at(std::size_t boundary, std::size_t size) {
    // aligned_alloc needs a multiple of the alignment; no allocation has a size that wraps.
    const std::size_t rounded = (size + boundary - 1) & ~(boundary - 1);
    if (rounded < size)
        return nullptr;
    return std::aligned_alloc(boundary, rounded ? rounded : boundary);
}

/// At least `large_size` bytes. The rest of the last huge page stays untouched address space.
void* allocate_large(std::size_t size) {
    void* memory = allocate_at(huge_page, size);
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    if (memory)
        static_cast<void>(madvise(memory, size & ~(huge_page - 1), MADV_HUGEPAGE));
#endif
    return memory;
}

void* allocate_aligned(std::size_t size) {
    return size < large_size ? allocate_at(alignment, size) : allocate_large(size);
}
void* allocate(std::size_t size) {
    return size < large_size ? std::malloc(size ? size : 1) : allocate_large(size);
}
void release(void* memory) { std::free(memory); }

#endif

void* check(void* memory) {
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

} // namespace

void* sys_aligned_malloc(std::size_t size) { return check(allocate_aligned(size)); }

void sys_aligned_free(void* memory) { release(memory); }

void* sys_malloc(std::size_t size) { return check(allocate(size)); }

void sys_free(void* memory) { release(memory); }

} // namespace gas_abi1
