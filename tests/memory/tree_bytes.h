// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree_arrays.h>

/// All that trees hold, as bytes, to be compared.
namespace support {

/// A row of values.
class Bytes {
  public:
    template <typename Value> void add(const Value& value) { add(&value, 1); }
    template <typename Value> void add(const Value* values, std::size_t count) {
        add(values != nullptr);
        if (values)
            m_bytes.append(reinterpret_cast<const char*>(values), count * sizeof *values);
    }
    void add(bool value) { m_bytes += value ? '1' : '0'; }
    const std::string& get() const { return m_bytes; }

  private:
    std::string m_bytes;
};

inline void add_tree(const GasTree& tree, Bytes& bytes) {
    bytes.add(tree.get_motion_blur_sample_count());
    bytes.add(tree.get_leaf_count());
    bytes.add(tree.get_node_count());
    bytes.add(tree.get_depth());
    bytes.add(tree.has_wide_nodes());
    if (tree.is_empty())
        return;
    const GasTreeArrays arrays = GasTreeArrays::of(tree);
    bytes.add(arrays.nodes, arrays.get_node_count());
    bytes.add(arrays.items, arrays.leaf_count);
    bytes.add(arrays.are_boxes_ordered);
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        bytes.add(arrays.samples[sample], arrays.get_node_count());
        bytes.add(GasTreeArrays::is_sample_walked(tree, sample));
    }
    bytes.add(arrays.wide_nodes, arrays.wide_count);
}

inline void add_tree(const GasCompressedTree& tree, Bytes& bytes) {
    bytes.add(tree.get_motion_blur_sample_count());
    bytes.add(tree.get_leaf_count());
    bytes.add(tree.get_node_count());
    bytes.add(tree.get_depth());
    bytes.add(tree.get_root_index());
    if (tree.is_empty())
        return;
    const GasCompressedTreeArrays arrays = GasCompressedTreeArrays::of(tree);
    bytes.add(arrays.nodes, arrays.get_node_count());
    bytes.add(arrays.items, arrays.leaf_count);
    bytes.add(arrays.are_boxes_ordered);
    bytes.add(arrays.bbox);
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        const std::size_t size = arrays.get_node_count() * sizeof(GasQuantizedPair);
        bytes.add(arrays.samples[sample], size);
        if (arrays.samples[sample])
            bytes.add(arrays.sample_bboxes[sample]);
    }
}

/// `with_cells`: the cells' trees, too, which rays build.
inline void add_tree(const GasGridTree& grid, Bytes& bytes, bool with_cells) {
    add_tree(grid.get_top_tree(), bytes);
    bytes.add(grid.get_cell_count());
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        bytes.add(grid.get_cell_items(cell), grid.get_cell_item_count(cell));
        const GasGridSubTree* const tree = grid.find_sub_tree(cell);
        if (!with_cells || !tree)
            continue;
        bytes.add(cell);
        bytes.add(tree->is_motion_update_pending());
        add_tree(*tree, bytes);
    }
}

} // namespace support
