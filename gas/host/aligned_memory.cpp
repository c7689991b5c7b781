#include <gas/host/aligned_memory.h>

#include <cstdlib>
#include <new>

namespace {

constexpr std::size_t alignment = 16;

} // namespace

void* sys_aligned_malloc(std::size_t size) {
    // aligned_alloc wants a multiple of the alignment; a size that wraps cannot be had anyway.
    const std::size_t rounded = (size + alignment - 1) & ~(alignment - 1);
    if (rounded < size)
        throw std::bad_alloc();
    void* memory = std::aligned_alloc(alignment, rounded ? rounded : alignment);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void sys_aligned_free(void* memory) { std::free(memory); }

void* sys_malloc(std::size_t size) {
    void* memory = std::malloc(size ? size : 1);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

void sys_free(void* memory) { std::free(memory); }
