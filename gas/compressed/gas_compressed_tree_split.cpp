// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_tree.h>

#include <gas/split/gas_split_sah.h>

inline namespace gas_abi1 {

static_assert(GasSplitContext<GasCompressedTreeSplitContext>);

void GasCompressedTree::split_median(const GasCompressedTreeSplitContext& context, unsigned* items,
                                     unsigned count, unsigned& left_count) {
    gas_split<GasBuildMethod::median>(context, items, count, left_count);
}

void GasCompressedTree::split_sah_bins(const GasCompressedTreeSplitContext& context,
                                       unsigned* items, unsigned count, unsigned& left_count) {
    gas_split<GasBuildMethod::sah>(context, items, count, left_count);
}

void GasCompressedTree::split_sah_bins_fast(const GasCompressedTreeSplitContext& context,
                                            unsigned* items, unsigned count, unsigned& left_count) {
    gas_split<GasBuildMethod::sah_fast>(context, items, count, left_count);
}

void GasCompressedTree::split_hybrid(const GasCompressedTreeSplitContext& context, unsigned* items,
                                     unsigned count, unsigned& left_count) {
    gas_split<GasBuildMethod::hybrid>(context, items, count, left_count);
}

GMathBbox3<float> GasCompressedTree::compute_items_bbox(const unsigned* items,
                                                        const unsigned& count,
                                                        const GMathBbox3<float>* bboxes) {
    GMathBbox3<float> bounds = bboxes[items[0]];
    for (unsigned i = 1; i < count; ++i)
        gas_unite(bounds, bboxes[items[i]]);
    return bounds;
}

GMathBbox3<float> GasCompressedTree::compute_items_bbox(const unsigned* items,
                                                        const unsigned& count,
                                                        const GMathVec3<float>* centers) {
    return gas_center_bounds(items, count, centers);
}

} // namespace gas_abi1
