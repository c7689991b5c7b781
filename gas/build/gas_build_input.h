#pragma once

#include <cstddef>
#include <cstring>
#include <memory>

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// What the builds of both hierarchies do with what the caller hands them.

/// Memory of `sys_malloc` that nobody owns yet.
template <typename T> using GasHeapArray = std::unique_ptr<T[], void (*)(void*)>;

/// Scratch of a build, of types that need no construction; large arrays stand in huge pages where
/// the host has some.
template <typename T> using GasScratchArray = std::unique_ptr<T[], void (*)(void*)>;

template <typename T> GasScratchArray<T> gas_allocate_scratch(std::size_t count) {
    return {static_cast<T*>(sys_aligned_malloc(count * sizeof(T))), sys_aligned_free};
}

/// A copy of the caller's index array, to be released by `sys_free`; null for none.
inline GasHeapArray<unsigned> gas_copy_indices(const unsigned* indices, std::size_t count) {
    GasHeapArray<unsigned> copy(nullptr, sys_free);
    if (indices) {
        copy.reset(static_cast<unsigned*>(sys_malloc(count * sizeof(unsigned))));
        std::memcpy(copy.get(), indices, count * sizeof(unsigned));
    }
    return copy;
}

/// Builds `tree` over an array or a vector of boxes; an empty one only clears it.
template <typename Tree, typename Boxes, typename... Arguments>
void gas_create_over(Tree& tree, const Boxes& bboxes, const Arguments&... arguments) {
    if (const unsigned count = gas_host::get_count(bboxes))
        tree.create(gas_host::get_items(bboxes), count, arguments...);
    else
        tree.clear();
}

/// The same over boxes in doubles, each coordinate rounded to the nearest float.
template <typename Tree, typename... Arguments>
void gas_create_over_doubles(Tree& tree, const CoreArray<GMathBbox3<double>>& bboxes,
                             const Arguments&... arguments) {
    tree.clear(); // first of all: when memory runs out below, the tree is empty
    const unsigned count = gas_host::get_count(bboxes);
    if (count == 0)
        return;
    const GMathBbox3<double>* wide = gas_host::get_items(bboxes);
    const std::unique_ptr<GMathBbox3<float>[]> narrow(new GMathBbox3<float>[count]);
    for (unsigned i = 0; i < count; ++i) {
        const auto round = [](const GMathVec3<double>& corner) -> GMathVec3<float> {
            return {static_cast<float>(corner.x), static_cast<float>(corner.y),
                    static_cast<float>(corner.z)};
        };
        narrow[i] = {round(wide[i].min), round(wide[i].max)};
    }
    tree.create(narrow.get(), count, arguments...);
}

} // namespace gas_abi1
