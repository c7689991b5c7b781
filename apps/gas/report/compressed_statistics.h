// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree.h>

#include <apps/gas/report/tree_statistics.h>

namespace gas_app {

/// How much larger the decoded boxes of a compressed tree are than the exact ones: the ratio of
/// surface areas, on average over the boxes of nodes and leaves. 1: not at all. Boxes without area
/// do not count.
struct Tightness {
    double mean_ratio = 1.0;
    /// Entry d: over the boxes on level d + 1.
    std::vector<double> mean_ratio_per_level;
    /// The cost of the statistics, with exact boxes in place of decoded ones.
    double exact_sah_cost = 0.0;
};

/// Of the decoded boxes.
TreeStatistics get_tree_statistics(const GasCompressedTree& tree);

/// Bytes of the tree's motion samples.
std::size_t get_motion_bytes(const GasCompressedTree& tree);

/// `item_boxes`: those that the tree was built over.
Tightness get_tightness(const GasCompressedTree& tree,
                        const CoreArray<GMathBbox3<float>>& item_boxes);

} // namespace gas_app
