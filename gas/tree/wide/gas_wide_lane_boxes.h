#pragma once

#include <gas/build/gas_tree_node.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

/// How the boxes of binary nodes become those of a wide node.

/// Four boxes, corner by corner, become six planes.
struct GasWideLaneBoxes {
    SimdF min[4];
    SimdF max[4];
    /// Lanes x, y, z are set while every box so far had min <= max there.
    SimdF ordered = SimdF(0.0f) <= SimdF(0.0f);

    /// Takes the boxes of a wide node's lanes as `boxes` has them for binary nodes: get_min(node),
    /// get_max(node). An empty lane's box has far planes that all rays pass before the near ones;
    /// it is in no order. `reach` is infinity, so that none is entered later, or finite where boxes
    /// are blended.
    template <typename Boxes>
    void gather(const GasWideNode& wide, const Boxes& boxes, float reach) {
        for (unsigned half = 0; half < 2; ++half) {
            const bool has_second = wide.references[2 * half + 1] != GasWideNode::no_reference;
            gather_half(half, wide.lane_nodes[half], has_second, boxes, reach);
        }
    }
    /// Of one half, whose first lane holds node `first`. Without a branch: there is no pattern in
    /// who has two.
    template <typename Boxes>
    void gather_half(unsigned half, unsigned first, unsigned has_second, const Boxes& boxes,
                     float reach) {
        const unsigned second = first + has_second;
        set(2 * half, boxes.get_min(first), boxes.get_max(first));
        set(2 * half + 1, boxes.get_min(second), boxes.get_max(second));
        const auto count = static_cast<int>(has_second);
        const SimdF is_empty = SimdI(count, count, count, count) == SimdI(0, 0, 0, 0);
        min[2 * half + 1] = SimdF::select(is_empty, SimdF(reach), min[2 * half + 1]);
        max[2 * half + 1] = SimdF::select(is_empty, SimdF(-reach), max[2 * half + 1]);
    }
    void store(float (&planes)[6][4]) const {
        store_side(min, planes, 0);
        store_side(max, planes, 1);
    }
    bool are_ordered() const { return (ordered.get_mask() & 7) == 7; }

  private:
    void set(unsigned lane, const SimdF& box_min, const SimdF& box_max) {
        min[lane] = box_min;
        max[lane] = box_max;
        ordered = ordered & (box_min <= box_max);
    }
    static void store_side(const SimdF* corners, float (&planes)[6][4], unsigned side) {
        const SimdF even_xy = SimdF::interleave_low(corners[0], corners[2]);
        const SimdF odd_xy = SimdF::interleave_low(corners[1], corners[3]);
        const SimdF even_zw = SimdF::interleave_high(corners[0], corners[2]);
        const SimdF odd_zw = SimdF::interleave_high(corners[1], corners[3]);
        SimdF::interleave_low(even_xy, odd_xy).store(planes[side]);
        SimdF::interleave_high(even_xy, odd_xy).store(planes[2 + side]);
        SimdF::interleave_low(even_zw, odd_zw).store(planes[4 + side]);
    }
};

/// The boxes in nodes.
struct GasNodeBoxes {
    const GasTreeNode* nodes;

    SimdF get_min(unsigned node) const { return SimdF::load(&nodes[node].bbox_min.x); }
    SimdF get_max(unsigned node) const { return SimdF::load(&nodes[node].bbox_max.x); }
};

/// A sample's boxes; the last one's max reads a float past it, which the array has to spare.
struct GasSampleBoxes {
    const GMathBbox3<float>* boxes;

    SimdF get_min(unsigned node) const { return SimdF::load_unaligned(&boxes[node].min.x); }
    SimdF get_max(unsigned node) const { return SimdF::load_unaligned(&boxes[node].max.x); }
};

} // namespace gas_abi1
