#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

namespace gas_bench {

/// The boxes that a random line through the root's box is expected to be in: two tests for every
/// inner node, one callback for every leaf.
double get_sah_cost(const GasTree& tree);
/// The same of the boxes that rays see, the decoded ones.
double get_sah_cost(const GasCompressedTree& tree);

} // namespace gas_bench
