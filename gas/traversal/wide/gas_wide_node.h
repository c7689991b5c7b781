#pragma once

#include <cstddef>

inline namespace gas_abi1 {

/// Two levels of a binary tree in one record: up to four boxes that a ray is tested against at
/// once. Lanes 0 and 1 stand for the binary node's first child, lanes 2 and 3 for its second: a
/// half holds that child's two children, or in its first lane the child itself.
struct alignas(64) GasWideNode {
    /// Set in a reference to a leaf, whose other bits are its item; otherwise an index of a node.
    static constexpr unsigned leaf_flag = 1u << 31;
    /// The reference of an empty lane. Its box lies between planes that no ray passes in order.
    static constexpr unsigned no_reference = 0xFFFFFFFFu;

    /// Min and max along x, y and z, a lane each: plane 2 * axis is the min.
    float planes[6][4];
    unsigned references[4];
    /// The binary node that this one stands for.
    unsigned binary_node;
    /// That one's first child.
    unsigned first_child;
    /// The binary nodes in lanes 0 and 2; those in lanes 1 and 3, if any, are the ones after.
    unsigned lane_nodes[2];
};

static_assert(sizeof(GasWideNode) == 128, "two cache lines");
static_assert(offsetof(GasWideNode, references) == 96, "references close the boxes");

/// The boxes of a wide node in one motion-blur sample. Blended boxes do not unite to their
/// parent's, so the halves' own boxes are here, too.
struct alignas(32) GasWideSampleNode {
    float planes[6][4];
    /// Along each axis the min of both halves' boxes, then the max of both.
    float half_planes[3][4];
    /// Those of the node.
    unsigned references[4];
};

static_assert(sizeof(GasWideSampleNode) == 160, "two and a half cache lines");

} // namespace gas_abi1
