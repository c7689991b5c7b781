// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/naive/naive_tree.h>

namespace support {

/// The boxes of a compressed tree by node and by leaf position: the exact ones, and those that a
/// ray sees.
struct CompressedBoxes {
    std::vector<naive::Box> exact_nodes;
    std::vector<naive::Box> decoded_nodes;
    std::vector<naive::Box> decoded_leaves;
};

/// The boxes of a tree of two items or more that was built over `boxes`.
CompressedBoxes get_boxes(const GasCompressedTree& tree, const std::vector<naive::Box>& boxes);
/// The same in a sample that was filled from `boxes`.
CompressedBoxes get_sample_boxes(const GasCompressedTree& tree,
                                 const std::vector<naive::Box>& boxes, unsigned sample);

/// What is wrong with a tree that was built over `boxes`: counts, numbers of nodes, every item in
/// one leaf, unused bits, order codes, depth, the root's box, decoded boxes that leave their parent
/// or do not contain what is below. Empty when nothing is.
std::string find_flaw(const GasCompressedTree& tree, const std::vector<naive::Box>& boxes);
/// What is wrong with the boxes of a sample that was filled from `boxes`.
std::string find_sample_flaw(const GasCompressedTree& tree, const std::vector<naive::Box>& boxes,
                             unsigned sample);

/// What the leaves report, by position. Replaces the leaf callbacks.
std::vector<unsigned> get_reported_items(GasCompressedTree& tree);

/// The bytes of all nodes.
std::vector<unsigned char> get_bytes(const GasCompressedTree& tree);
/// The bytes of all records of a filled sample.
std::vector<unsigned char> get_sample_bytes(const GasCompressedTree& tree, unsigned sample);

inline bool is_leaf(const GasCompressedNode& node, unsigned child) {
    return (node.flags & GasCompressedNode::first_leaf << child) != 0;
}
/// The order code in a node's flags.
inline unsigned get_order_code(const GasCompressedNode& node) { return node.flags >> 2 & 7u; }

} // namespace support
