#pragma once

#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>

namespace gas_app {

/// What a tree is like.
struct TreeStatistics {
    unsigned leaf_count = 0;
    unsigned node_count = 0;
    /// Levels of nodes; 1 for a lone root.
    unsigned depth = 0;
    /// Object, nodes and index array; and that share of it which is the nodes.
    std::size_t memory_bytes = 0;
    std::size_t node_bytes = 0;
    double bytes_per_item = 0.0;
    /// What a ray is expected to cost that crosses the root's box: the sum over all nodes of the
    /// cost of a visit, times the chance of one, which is the node's surface area divided by the
    /// root's. A visit of an inner node (one test of its two children) costs
    /// `inner_node_cost`, that of a leaf (one call of its callback) `leaf_cost`. A root without
    /// area counts every node in full.
    double sah_cost = 0.0;
    static constexpr double inner_node_cost = 1.0;
    static constexpr double leaf_cost = 1.0;
    double mean_leaf_depth = 0.0;
    /// Entry d: how many leaves lie on level d + 1.
    std::vector<unsigned> leaves_per_level;
};

TreeStatistics get_tree_statistics(const GasTree& tree);

} // namespace gas_app
