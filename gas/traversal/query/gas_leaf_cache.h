// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>

#include <gas/traversal/query/gas_traversal_access.h>

inline namespace gas_abi1 {

/// The leaf that last stopped or hit a ray of the same cache slot.
class GasLeafCache {
  public:
    static constexpr bool is_used = true;

    GasLeafCache(GasCachedLeaf* slots, const GeometryRaytraceData& data, unsigned ray)
        : m_slot(slots + get_slot(data, ray)) {}

    /// Whether it is of this tree and, with `checks_leaf`, names a leaf that the tree has.
    template <bool checks_leaf, typename Tree>
    bool has_leaf_of(const Tree& tree, GasTreeCtx& ctx) const {
        if (m_slot->tree != &tree)
            return false;
        if constexpr (checks_leaf)
            return GasTraversalAccess::is_leaf_valid(tree, ctx, m_slot->leaf);
        else
            return true;
    }
    unsigned get_leaf() const { return m_slot->leaf; }
    void keep(const void* tree, unsigned leaf) const {
        m_slot->tree = tree;
        m_slot->leaf = leaf;
    }
    void clear() const { m_slot->tree = nullptr; }

    /// Of a slot that holds no leaf: how many of its rays came to their end one after the other
    /// without being stopped, up to a number. The leaf of such a slot means nothing else.
    unsigned get_unstopped_count() const { return m_slot->tree ? 0 : m_slot->leaf; }
    void count_unstopped(unsigned most) const {
        const unsigned count = get_unstopped_count();
        m_slot->tree = nullptr;
        m_slot->leaf = count < most ? count + 1 : most;
    }

    /// Whether rays of the slot go where the one before went, so that branches are guessed.
    bool is_coherent() const { return m_slot->coherence.is_coherent(); }
    void end_ray(const void* tree, unsigned last_reference) const {
        m_slot->coherence.end_ray(tree, last_reference);
    }

  private:
    /// A slot out of range breaks the host's contract and counts as slot 0.
    static unsigned get_slot(const GeometryRaytraceData& data, unsigned ray) {
        const int slot = gas_host::get_cache_slot(data, ray);
        const bool valid = slot >= 0 && static_cast<unsigned>(slot) < GasTreeCtx::cache_slot_count;
        assert(valid && "cache slots are 0 to 5");
        return valid ? static_cast<unsigned>(slot) : 0;
    }

    GasCachedLeaf* m_slot;
};

/// Nothing is cached: the rays of a stream are independent of each other. Those that it traces
/// alone are coherent.
struct GasNoLeafCache {
    static constexpr bool is_used = false;

    GasNoLeafCache() = default;
    GasNoLeafCache(GasCachedLeaf*, const GeometryRaytraceData&, unsigned) {}

    static bool is_coherent() { return true; }
    static void end_ray(const void*, unsigned) {}
};

} // namespace gas_abi1
