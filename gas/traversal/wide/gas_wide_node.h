#pragma once

#include <cstddef>

inline namespace gas_abi1 {

/// Levels of a binary tree in one record: up to `lanes` boxes that a ray is tested against at once.
/// The first half of the lanes stands for the binary node's first child, the second half for its
/// second. With four lanes a half holds that child's two children, or in its first lane the child
/// itself.
template <unsigned lanes> struct alignas(64) GasWideNodeOf {
    static_assert(lanes >= 4 && (lanes & (lanes - 1)) == 0, "each lane has its place in a half");
    static constexpr unsigned width = lanes;
    /// Set in a reference to a leaf, whose other bits are its item; otherwise an index of a node.
    static constexpr unsigned leaf_flag = 1u << 31;
    /// The reference of an empty lane. Its box lies between planes that no ray passes in order.
    static constexpr unsigned no_reference = 0xFFFFFFFFu;

    /// Min and max along x, y and z, a lane each: plane 2 * axis is the min.
    float planes[6][width];
    unsigned references[width];
    /// The binary node that this one stands for.
    unsigned binary_node;
    /// That one's first child.
    unsigned first_child;
    /// The binary nodes in the even lanes; those in the odd ones, if any, are the ones after.
    unsigned lane_nodes[width / 2];
};

/// The wide node of the trees. A type of its own, so that it can be declared where only its name
/// is known.
struct GasWideNode : GasWideNodeOf<4> {};

static_assert(sizeof(GasWideNode) == 128, "two cache lines");
static_assert(offsetof(GasWideNode, references) == 96, "references close the boxes");

/// The boxes of a wide node in one motion-blur sample. Blended boxes do not unite to their
/// parent's, so the halves' own boxes are here, too.
template <unsigned lanes> struct alignas(32) GasWideSampleNodeOf {
    static constexpr unsigned width = lanes;

    /// Along each axis the min of both halves' boxes, then the max of both. A load of two may reach
    /// over two planes more, but must not reach references: as floats these are denormal, and
    /// arithmetic with denormals takes a hundred cycles.
    float half_planes[3][width];
    float planes[6][width];
    /// Those of the node.
    unsigned references[width];
};

struct GasWideSampleNode : GasWideSampleNodeOf<GasWideNode::width> {};

static_assert(sizeof(GasWideSampleNode) == 160, "two and a half cache lines");
static_assert(offsetof(GasWideSampleNode, half_planes) == 0 &&
                  offsetof(GasWideSampleNode, planes) == 48,
              "planes follow the planes of the halves");

} // namespace gas_abi1
