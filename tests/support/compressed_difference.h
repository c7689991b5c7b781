// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/naive/naive_compressed.h>

namespace support {

/// Where a tree and the expected one differ in any bit: counts, depth, the root's box, the records,
/// the filled samples' records and root boxes. Empty when they are equal.
std::string find_difference(const GasCompressedTree& tree, const naive::CompressedTree& expected);

/// Where the walk over slots of a tree of two items or more meets another box, lanes w included,
/// another child or another traversal order than the expected tree's records say, or a slot of
/// another number than its turn.
std::string find_slot_difference(const GasCompressedTree& tree,
                                 const naive::CompressedTree& expected);

} // namespace support
