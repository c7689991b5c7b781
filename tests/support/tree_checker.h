// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/naive/naive_tree.h>

namespace support {

/// Whether every coordinate has the same bits; zeros of different sign differ, NaNs of equal bits
/// do not.
bool has_same_bits(const naive::Box& first, const naive::Box& second);

/// What is wrong with a tree that was built over, or refitted to, `boxes`: counts, children behind
/// their parents, one parent for every node, every item in one leaf, leaf boxes, unions, order
/// codes, depth. Empty when nothing is.
std::string find_flaw(const GasTree& tree, const std::vector<naive::Box>& boxes);

/// What is wrong with the boxes of a sample that was filled from `boxes`.
std::string find_sample_flaw(const GasTree& tree, const std::vector<naive::Box>& boxes,
                             unsigned sample);

/// Where a tree and the expected one differ in any bit: counts, depth, boxes, topology, order
/// codes, filled samples. Empty when they are equal.
std::string find_difference(const GasTree& tree, const naive::Tree& expected);

/// Box of node `node` in sample `sample`, which must be filled.
naive::Box get_sample_box(const GasTree& tree, unsigned node, unsigned sample);

/// What the leaves report, by item. Replaces the leaf callbacks.
std::vector<unsigned> get_reported_items(GasTree& tree);

/// The bytes of all nodes.
std::vector<unsigned char> get_bytes(const GasTree& tree);
/// The bytes of all boxes of a filled sample.
std::vector<unsigned char> get_sample_bytes(const GasTree& tree, unsigned sample);

/// The order code in a node's flags.
inline unsigned get_order_code(const GasTree::Node& node) { return node.flags >> 1 & 7; }

} // namespace support
