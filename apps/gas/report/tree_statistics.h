// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// Statistics of a tree.
struct TreeStatistics {
    unsigned leaf_count = 0;
    unsigned node_count = 0;
    /// Levels of boxes; 1 for a lone root.
    unsigned depth = 0;
    /// Object, nodes and index array; and the nodes alone.
    std::size_t memory_bytes = 0;
    std::size_t node_bytes = 0;
    double bytes_per_item = 0.0;
    unsigned motion_sample_count = 0;
    /// Not part of `memory_bytes`: the motion samples, and the wide nodes with their samples. Then
    /// the total.
    std::size_t motion_bytes = 0;
    std::size_t wide_bytes = 0;
    double wide_bytes_per_item = 0.0;
    std::size_t total_bytes = 0;
    /// The expected cost of a ray that crosses the root's box (surface area heuristic): the sum
    /// over all boxes of the cost of a visit times its probability, which is the box's surface
    /// area divided by the root's. A visit of an inner node (one test of its two children) costs
    /// `inner_node_cost`, that of a leaf (one call of its callback) `leaf_cost`. A root without
    /// area counts every box in full.
    double sah_cost = 0.0;
    static constexpr double inner_node_cost = 1.0;
    static constexpr double leaf_cost = 1.0;
    double mean_leaf_depth = 0.0;
    /// Entry d: how many leaves lie on level d + 1.
    std::vector<unsigned> leaves_per_level;
};

TreeStatistics get_tree_statistics(const GasTree& tree);

/// Bytes of the tree's motion samples.
std::size_t get_motion_bytes(const GasTree& tree);

double get_surface_area(const Box& box);

/// Collects statistics in a walk over all boxes of a tree. Levels are counted from 0.
class TreeSurvey {
  public:
    /// Starts with the getters that trees of all kinds have.
    template <typename Tree> TreeSurvey(const Tree& tree, const Box& root_box) {
        m_statistics.leaf_count = tree.get_leaf_count();
        m_statistics.node_count = tree.get_node_count();
        m_statistics.depth = tree.get_depth();
        m_statistics.memory_bytes = tree.get_memory_size();
        m_statistics.motion_sample_count = tree.get_motion_blur_sample_count();
        m_statistics.leaves_per_level.assign(tree.get_depth(), 0);
        m_root_area = get_surface_area(root_box);
    }

    void add_inner_node(const Box& box) { add(box, TreeStatistics::inner_node_cost); }
    void add_leaf(const Box& box, unsigned level) {
        add(box, TreeStatistics::leaf_cost);
        ++m_statistics.leaves_per_level[level];
        m_depth_sum += level + 1.0;
    }

    /// `motion_bytes`: of the motion samples; `wide_bytes`: of the wide nodes.
    TreeStatistics finish(std::size_t node_size, std::size_t motion_bytes,
                          std::size_t wide_bytes = 0);

  private:
    void add(const Box& box, double cost) {
        const double chance = m_root_area > 0.0 ? get_surface_area(box) / m_root_area : 1.0;
        m_statistics.sah_cost += chance * cost;
    }

    TreeStatistics m_statistics;
    double m_root_area = 0.0;
    double m_depth_sum = 0.0;
};

/// Statistics of a grid and of the cells built so far.
struct GridStatistics {
    unsigned item_count = 0;
    unsigned cell_count = 0;
    unsigned built_cell_count = 0;
    unsigned largest_cell = 0;
    /// Entry b: cells of 2^b to 2^(b+1) - 1 items.
    std::vector<unsigned> cells_per_size;
    unsigned motion_sample_count = 0;
    /// `get_memory_size`: the object, the tree over the cells, their locks, the cells' trees.
    std::size_t memory_bytes = 0;
    /// Not counted there: the lists of items and cells; motion samples.
    std::size_t list_bytes = 0;
    std::size_t motion_bytes = 0;

    std::size_t get_total_bytes() const { return memory_bytes + list_bytes + motion_bytes; }
};

unsigned count_built_cells(const GasGridTree& grid);

GridStatistics get_grid_statistics(const GasGridTree& grid);

} // namespace gas_app
