// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

inline namespace gas_abi1 {

/// Memory in which arrays of a tree lie that are not allocated one by one, such as a mapped file.
/// It is released as a whole, after the last of them.
struct GasArrayBlock {
    void* memory = nullptr;
    std::size_t size = 0;
    /// Called once with the two above; null where there is no block.
    void (*release)(void* memory, std::size_t size) = nullptr;

    bool holds(const void* array) const {
        const auto start = reinterpret_cast<std::uintptr_t>(memory);
        return reinterpret_cast<std::uintptr_t>(array) - start < size;
    }
    /// Releases an array by `release_array` unless it lies in the block.
    void release_outside(void* array, void (*release_array)(void*)) const {
        if (!holds(array))
            release_array(array);
    }
    void release_all() const {
        if (release)
            release(memory, size);
    }
};

} // namespace gas_abi1
