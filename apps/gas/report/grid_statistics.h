#pragma once

#include <vector>

#include <gas/grid/gas_grid_tree.h>

namespace gas_app {

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
