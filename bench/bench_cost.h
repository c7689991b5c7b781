// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

namespace gas_bench {

/// The expected cost of a random line through the root's box (surface area heuristic): two box
/// tests for every inner node, one callback for every leaf.
double get_sah_cost(const GasTree& tree);
/// The same over the decoded boxes.
double get_sah_cost(const GasCompressedTree& tree);

} // namespace gas_bench
