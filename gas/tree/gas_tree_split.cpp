// SPDX-License-Identifier: Apache-2.0
#include <gas/split/gas_split_sah.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

static_assert(GasSplitContext<GasTreeSplitContext>);

void GasTree::split_median(const GasTreeSplitContext& context, unsigned* items, unsigned count,
                           unsigned& left_count) {
    gas_split<GasBuildMethod::median>(context, items, count, left_count);
}

void GasTree::split_sah_bins(const GasTreeSplitContext& context, unsigned* items, unsigned count,
                             unsigned& left_count) {
    gas_split<GasBuildMethod::sah>(context, items, count, left_count);
}

void GasTree::split_sah_bins_fast(const GasTreeSplitContext& context, unsigned* items,
                                  unsigned count, unsigned& left_count) {
    gas_split<GasBuildMethod::sah_fast>(context, items, count, left_count);
}

void GasTree::split_hybrid(const GasTreeSplitContext& context, unsigned* items, unsigned count,
                           unsigned& left_count) {
    gas_split<GasBuildMethod::hybrid>(context, items, count, left_count);
}

unsigned GasTree::sort_items(unsigned* items, const unsigned& count,
                             const GMathVec3<float>* centers, const unsigned& axis,
                             const float& position) {
    return gas_partition_items(items, count, centers, axis, position);
}

unsigned GasTree::get_best_axis(const GMathBbox3<float>& box) { return gas_widest_axis(box); }

} // namespace gas_abi1
