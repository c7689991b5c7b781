// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstring>
#include <memory>
#include <new>

#include <gas/core/gas_lane_box.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// What the builds of all trees do with what the caller hands them.

/// Memory of `sys_malloc` that nothing owns yet.
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

/// Boxes as floats: the caller's own, or doubles rounded to the nearest float in `narrow`.
inline const GMathBbox3<float>* gas_get_float_boxes(const GMathBbox3<float>* bboxes, std::size_t,
                                                    GasScratchArray<GMathBbox3<float>>&) {
    return bboxes;
}
inline const GMathBbox3<float>* gas_get_float_boxes(const GMathBbox3<double>* bboxes,
                                                    std::size_t count,
                                                    GasScratchArray<GMathBbox3<float>>& narrow) {
    narrow = gas_allocate_scratch<GMathBbox3<float>>(count);
    for (std::size_t i = 0; i < count; ++i)
        new (&narrow[i]) GMathBbox3<float>(GasLaneBox::load(bboxes[i]).to_box());
    return narrow.get();
}

/// Clears a tree whose build is not finished: whatever is thrown on the way leaves it empty.
template <typename Tree> class GasBuildGuard {
  public:
    explicit GasBuildGuard(Tree& tree) : m_tree(&tree) {}
    GasBuildGuard(const GasBuildGuard&) = delete;
    GasBuildGuard& operator=(const GasBuildGuard&) = delete;
    ~GasBuildGuard() {
        if (m_tree)
            m_tree->clear();
    }

    void finish() { m_tree = nullptr; }

  private:
    Tree* m_tree;
};

/// Builds `tree` over an array or a vector of boxes; an empty one only clears it.
template <typename Tree, typename Boxes, typename... Arguments>
void gas_create_over(Tree& tree, const Boxes& bboxes, Arguments&&... arguments) {
    if (const unsigned count = gas_host::get_count(bboxes))
        tree.create(gas_host::get_items(bboxes), count, arguments...);
    else
        tree.clear();
}

} // namespace gas_abi1
