// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cfloat>
#include <cstdint>
#include <limits>

#include <gas/build/gas_tree_node.h>
#include <gas/core/gas_box_lanes.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

/// How the boxes of binary nodes become those of a wide node.

/// `object`, or where `bit` is 0 `other`, without a branch: there is no pattern in which lanes are
/// empty.
template <typename T> const T* gas_pick_object(unsigned bit, const T* object, const T* other) {
    const auto first = reinterpret_cast<std::uintptr_t>(object);
    const auto second = reinterpret_cast<std::uintptr_t>(other);
    const std::uintptr_t mask = std::uintptr_t{0} - bit;
    return reinterpret_cast<const T*>(second ^ ((first ^ second) & mask));
}

/// The boxes of a wide node's lanes. An empty lane's box has far planes that all rays pass before
/// the near ones; it is in no order.
struct GasWideLaneBoxes {
    GasBoxLanes boxes[4];

    /// Takes them as `source` has them for binary nodes: get(node), and get_if(is_there, node).
    template <typename Source>
    GAS_FORCE_INLINE void gather(const GasWideNode& wide, const Source& source) {
        for (unsigned half = 0; half < 2; ++half) {
            const bool has_second = wide.references[2 * half + 1] != GasWideNode::no_reference;
            gather_half(half, wide.lane_nodes[half], has_second, source);
        }
    }
    /// Of one half, whose first lane holds node `first`.
    template <typename Source>
    GAS_FORCE_INLINE void gather_half(unsigned half, unsigned first, unsigned has_second,
                                      const Source& source) {
        boxes[2 * half] = source.get(first);
        boxes[2 * half + 1] = source.get_if(has_second, first + 1);
    }
    /// Six planes, as in a wide node.
    GAS_FORCE_INLINE void store(float* planes) const { GasBoxLanes::store_rows(boxes, planes); }
};

/// The boxes in nodes. An empty lane reaches to infinity, so that none is entered later.
struct GasNodeBoxes {
    static constexpr float reach = std::numeric_limits<float>::infinity();
    static constexpr GasTreeNode empty = {{reach, reach, reach}, 0, {-reach, -reach, -reach}, 0};

    const GasTreeNode* nodes;

    GasBoxLanes get(unsigned node) const { return GasBoxLanes::load(&nodes[node]); }
    GasBoxLanes get_if(unsigned is_there, unsigned node) const {
        return GasBoxLanes::load(gas_pick_object(is_there, &nodes[node], &empty));
    }
};

/// A sample's boxes; the last one's max reads a float past it, which the array has to spare. They
/// are blended, so that an empty lane's is finite.
struct GasSampleBoxes {
    static constexpr GMathBbox3<float> empty[2] = {
        {{FLT_MAX, FLT_MAX, FLT_MAX}, {-FLT_MAX, -FLT_MAX, -FLT_MAX}}, {}};

    const GMathBbox3<float>* boxes;

    SimdF get_min(unsigned node) const { return SimdF::load_unaligned(&boxes[node].min.x); }
    SimdF get_max(unsigned node) const { return SimdF::load_unaligned(&boxes[node].max.x); }
    GasBoxLanes get(unsigned node) const { return load(boxes[node]); }
    GasBoxLanes get_if(unsigned is_there, unsigned node) const {
        return load(*gas_pick_object(is_there, &boxes[node], empty));
    }

  private:
    static GasBoxLanes load(const GMathBbox3<float>& box) {
        return GasBoxLanes::load(&box.min.x, &box.max.x);
    }
};

} // namespace gas_abi1
