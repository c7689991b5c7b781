#include <apps/gas/report/grid_statistics.h>

#include <algorithm>

#include <gas/grid/gas_grid_sub_tree.h>

#include <apps/gas/report/compressed_statistics.h>
#include <apps/gas/report/tree_statistics.h>

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
