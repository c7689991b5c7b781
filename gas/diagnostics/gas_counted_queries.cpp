// SPDX-License-Identifier: Apache-2.0
#include <gas/diagnostics/gas_counted_queries.h>

#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/diagnostics/gas_counting_probe.h>
#include <gas/traversal/spatial/gas_closest_walk.h>
#include <gas/traversal/spatial/gas_nearest_walk.h>
#include <gas/traversal/spatial/gas_spatial_walk.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

void gas_counted_get_leaves_in_bbox(const GasTree& tree, GasTreeCtx& ctx,
                                    const GMathBbox3<float>& box, CoreVector<unsigned>& leaves,
                                    GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    gas_find_leaves_in_box(tree, ctx, box, leaves, probe);
}

unsigned gas_counted_get_nearest_leaves(const GasTree& tree, GasTreeCtx& ctx,
                                        const GMathVec3<float>& point, const float& max_distance,
                                        const unsigned& max_count, unsigned* leaves,
                                        float* distances, GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    return gas_find_nearest_leaves(tree, ctx, point, max_distance, max_count, leaves, distances,
                                   probe);
}

bool gas_counted_get_closest_item(const GasTree& tree, GasTreeCtx& ctx,
                                  const GMathVec3<double>& point, const double& max_distance,
                                  GasClosestItemCallback callback, void* user, unsigned& item,
                                  double& distance, GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    return gas_find_closest_item(tree, ctx, point, max_distance, callback, user, item, distance,
                                 probe);
}

bool gas_counted_get_closest_item(const GasCompressedTree& tree, GasTreeCtx& ctx,
                                  const GMathVec3<double>& point, const double& max_distance,
                                  GasClosestItemCallback callback, void* user, unsigned& item,
                                  double& distance, GasWalkCounts& counts) {
    GasCountingProbe probe = {counts};
    return gas_find_closest_item(tree, ctx, point, max_distance, callback, user, item, distance,
                                 probe);
}

} // namespace gas_abi1
