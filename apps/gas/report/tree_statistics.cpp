// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/report/tree_statistics.h>

#include <algorithm>

#include <gas/grid/gas_grid_sub_tree.h>

#include <apps/gas/report/compressed_statistics.h>

namespace gas_app {

namespace {

/// The highest bit that is set; `number` is not 0.
unsigned get_highest_bit(unsigned number) {
    unsigned bit = 0;
    while (number >>= 1)
        ++bit;
    return bit;
}

} // namespace

double get_surface_area(const Box& box) {
    const Vec3 size = box.max - box.min;
    return 2.0 * (size.x * size.y + size.y * size.z + size.z * size.x);
}

TreeStatistics TreeSurvey::finish(std::size_t node_size, std::size_t motion_bytes,
                                  std::size_t wide_bytes) {
    TreeStatistics& statistics = m_statistics;
    statistics.node_bytes = statistics.node_count * node_size;
    statistics.motion_bytes = motion_bytes;
    statistics.wide_bytes = wide_bytes;
    statistics.total_bytes = statistics.memory_bytes + motion_bytes + wide_bytes;
    if (statistics.leaf_count > 0) {
        statistics.bytes_per_item =
            static_cast<double>(statistics.memory_bytes) / statistics.leaf_count;
        statistics.wide_bytes_per_item = static_cast<double>(wide_bytes) / statistics.leaf_count;
        statistics.mean_leaf_depth = m_depth_sum / statistics.leaf_count;
    }
    return statistics;
}

TreeStatistics get_tree_statistics(const GasTree& tree) {
    TreeSurvey survey(tree, to_double(tree.get_bbox()));
    // Children stand after their parent, so one pass over the nodes meets every parent first.
    const GasTree::Node* nodes = tree.get_nodes();
    std::vector<unsigned> levels(tree.get_node_count(), 0);
    for (unsigned index = 0; index < tree.get_node_count(); ++index) {
        const GasTree::Node& node = nodes[index];
        const Box box = to_double({node.bbox_min, node.bbox_max});
        if (node.flags & GasTree::Node::leaf_flag) {
            survey.add_leaf(box, levels[index]);
        } else {
            survey.add_inner_node(box);
            levels[node.index] = levels[node.index + 1] = levels[index] + 1;
        }
    }
    return survey.finish(sizeof(GasTree::Node), get_motion_bytes(tree), tree.get_wide_nodes_size());
}

std::size_t get_motion_bytes(const GasTree& tree) {
    // A sample has a box for each node, a float behind the last, and a pointer.
    const std::size_t sample_bytes =
        std::size_t{tree.get_node_count()} * sizeof(GMathBbox3<float>) + sizeof(float);
    return tree.get_motion_blur_sample_count() * (sample_bytes + sizeof(void*));
}

unsigned count_built_cells(const GasGridTree& grid) {
    unsigned count = 0;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell)
        count += grid.find_sub_tree(cell) ? 1 : 0;
    return count;
}

GridStatistics get_grid_statistics(const GasGridTree& grid) {
    GridStatistics statistics;
    statistics.cell_count = grid.get_cell_count();
    statistics.motion_sample_count = grid.get_motion_blur_sample_count();
    statistics.memory_bytes = grid.get_memory_size();
    statistics.motion_bytes = get_motion_bytes(grid.get_top_tree());
    for (unsigned cell = 0; cell < statistics.cell_count; ++cell) {
        const unsigned size = grid.get_cell_item_count(cell);
        statistics.item_count += size;
        statistics.largest_cell = std::max(statistics.largest_cell, size);
        const unsigned entry = get_highest_bit(size);
        if (entry >= statistics.cells_per_size.size())
            statistics.cells_per_size.resize(entry + 1, 0);
        ++statistics.cells_per_size[entry];
        if (const GasGridSubTree* const sub_tree = grid.find_sub_tree(cell)) {
            ++statistics.built_cell_count;
            statistics.motion_bytes += get_motion_bytes(*sub_tree);
        }
    }
    // An item's number is in the list of its cell. A cell's record has the address of its tree and
    // its share of that list; its lock is already counted.
    constexpr std::size_t record_size = sizeof(void*) + 2 * sizeof(unsigned);
    statistics.list_bytes = std::size_t{statistics.item_count} * sizeof(unsigned) +
                            std::size_t{statistics.cell_count} * record_size;
    return statistics;
}

} // namespace gas_app
