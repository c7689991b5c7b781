// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_tree_arrays.h>

#include <utility>

#include <gas/tree/gas_sample_table.h>

inline namespace gas_abi1 {

GasCompressedTreeArrays GasCompressedTreeArrays::of(const GasCompressedTree& tree) {
    GasCompressedTreeArrays arrays;
    arrays.nodes = tree.m_nodes;
    arrays.items = tree.m_items;
    arrays.leaf_count = tree.m_leaf_count;
    arrays.depth = tree.m_depth;
    arrays.are_boxes_ordered = tree.m_are_boxes_ordered;
    arrays.bbox = tree.m_bbox;
    arrays.samples = tree.m_motion_blur_records;
    arrays.sample_count = tree.m_motion_blur_sample_count;
    arrays.sample_bboxes = tree.m_blurred_bboxes;
    return arrays;
}

void GasCompressedTreeArrays::give_to(GasCompressedTree& tree, const GasArrayBlock& block) const {
    GasCompressedTree made;
    try {
        made.m_share.keep(block);
    } catch (...) {
        block.release_all();
        throw;
    }
    gas_replace_sample_table(made.m_motion_blur_records, made.m_motion_blur_sample_count,
                             gas_make_sample_table(samples, sample_count, sample_count),
                             sample_count);
    gas_replace_sample_table(made.m_blurred_bboxes, made.m_blurred_bbox_count,
                             gas_make_sample_table(sample_bboxes, sample_count, sample_count),
                             sample_count);
    made.m_nodes = nodes;
    made.m_items = items;
    made.m_leaf_count = leaf_count;
    made.m_node_count = get_node_count();
    made.m_depth = depth;
    made.m_are_boxes_ordered = are_boxes_ordered;
    made.m_root_index = 0;
    made.m_bbox = bbox;
    made.m_split_callback = tree.m_split_callback;
    made.m_leaf_callbacks = tree.m_leaf_callbacks;
    tree = std::move(made);
}

} // namespace gas_abi1
