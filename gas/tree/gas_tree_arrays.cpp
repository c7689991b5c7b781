// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/gas_tree_arrays.h>

#include <memory>
#include <utility>

#include <gas/tree/gas_sample_table.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

GasTreeArrays GasTreeArrays::of(const GasTree& tree) {
    GasTreeArrays arrays;
    arrays.nodes = tree.m_nodes;
    arrays.items = tree.m_items;
    arrays.leaf_count = tree.m_leaf_count;
    arrays.depth = tree.m_depth;
    arrays.are_boxes_ordered = tree.m_wide_tree->are_boxes_ordered();
    arrays.samples = tree.m_motion_blur_bboxes;
    arrays.sample_count = tree.m_motion_blur_sample_count;
    if (const GasWideNodes* const wide = tree.m_wide_tree->find_nodes()) {
        arrays.wide_nodes = wide->get_nodes();
        arrays.wide_count = wide->get_count();
        arrays.are_wide_boxes_ordered = wide->are_boxes_ordered();
    }
    if (const GasWideSamples* const samples = tree.m_wide_tree->find_samples())
        arrays.wide_samples = samples->get_records();
    return arrays;
}

bool GasTreeArrays::is_sample_walked(const GasTree& tree, unsigned sample) {
    return tree.m_motion_blur_bboxes[sample] &&
           tree.m_wide_tree->has_sample(sample, tree.m_motion_blur_bboxes[sample]);
}

void GasTreeArrays::give_to(GasTree& tree, const GasArrayBlock& block) const {
    GasTree made;
    try {
        made.m_share.keep(block);
    } catch (...) {
        block.release_all();
        throw;
    }
    made.m_wide_tree = new GasWideTree;
    made.m_wide_tree->set_boxes_ordered(are_boxes_ordered);
    gas_replace_sample_table(made.m_motion_blur_bboxes, made.m_motion_blur_sample_count,
                             gas_make_sample_table(samples, sample_count, sample_count),
                             sample_count);
    made.m_nodes = nodes;
    made.m_items = items;
    made.m_leaf_count = leaf_count;
    made.m_node_count = get_node_count();
    made.m_depth = depth;
    if (wide_nodes) {
        auto wide = std::make_unique<GasWideNodes>(wide_nodes, wide_count, are_wide_boxes_ordered);
        std::unique_ptr<GasWideSamples> records;
        if (wide_samples.get_sample_count() > 0)
            records = std::make_unique<GasWideSamples>(wide_count, wide_samples);
        for (unsigned sample = 0; records && sample < sample_count; ++sample) {
            if (samples[sample])
                records->set(sample, samples[sample], are_samples_ordered[sample]);
        }
        made.m_wide_tree->take(std::move(wide), std::move(records));
        made.m_wants_wide_nodes = true;
    }
    if (wants_wide_nodes || tree.m_wants_wide_nodes)
        made.set_wide_nodes(true);
    made.m_split_callback = tree.m_split_callback;
    made.m_leaf_callbacks = tree.m_leaf_callbacks;
    tree = std::move(made);
}

} // namespace gas_abi1
