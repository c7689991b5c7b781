// SPDX-License-Identifier: Apache-2.0
#pragma once

inline namespace gas_abi1 {

/// The boxes of two siblings in seven bytes. Of the two lower bounds on an axis the parent's box
/// repeats one; the other is stored, as a distance up from the parent's lower bound in steps of
/// 1/255 of its extent. Upper bounds likewise, down from the parent's. gas_box_codec.h encodes and
/// decodes.
struct GasQuantizedPair {
    /// Bit `axis`: the stored lower bound is the first child's; clear: the second's.
    static constexpr unsigned min_owner = 1;
    /// The same for upper bounds.
    static constexpr unsigned max_owner = 8;

    unsigned char min[3];
    unsigned char owners;
    unsigned char max[3];
};

static_assert(sizeof(GasQuantizedPair) == 7, "seven bytes, at any address");

/// An inner node of a GasCompressedTree.
struct alignas(16) GasCompressedNode {
    static constexpr unsigned first_leaf = 1;
    static constexpr unsigned second_leaf = 2;
    static constexpr unsigned order_shift = 2;
    static constexpr unsigned order_mask = 7u << order_shift;

    GasQuantizedPair boxes;
    /// Bit 0: the first child is a leaf; bit 1: the second is. Bits 2 to 4: traversal order code,
    /// that is the axis along which the children are best separated (bits 2 and 3) and whether the
    /// second lies on the low side (bit 4).
    unsigned char flags;
    /// A node, or a leaf's position in the boxes that the tree was built over.
    unsigned children[2];

    /// The eight bytes before the children, for loads wider than the pair of boxes.
    const unsigned char* get_bytes() const { return reinterpret_cast<const unsigned char*>(this); }
};

static_assert(sizeof(GasCompressedNode) == 16, "one four-lane vector");

} // namespace gas_abi1
