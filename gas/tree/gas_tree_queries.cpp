// SPDX-License-Identifier: Apache-2.0
#include <gas/traversal/spatial/gas_closest_walk.h>
#include <gas/traversal/spatial/gas_nearest_walk.h>
#include <gas/traversal/spatial/gas_spatial_walk.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/gas_tree_traversal.h>

inline namespace gas_abi1 {

void GasTree::get_leaves_in_bbox(GasTreeCtx& ctx, const GMathBbox3<float>& box,
                                 CoreVector<unsigned>& leaves) const {
    GasNoProbe probe;
    gas_find_leaves_in_box(*this, ctx, box, leaves, probe);
}

unsigned GasTree::get_nearest_leaves(GasTreeCtx& ctx, const GMathVec3<float>& point,
                                     const float& max_distance, const unsigned& max_count,
                                     unsigned* leaves, float* distances) const {
    GasNoProbe probe;
    return gas_find_nearest_leaves(*this, ctx, point, max_distance, max_count, leaves, distances,
                                   probe);
}

bool GasTree::get_closest_item(GasTreeCtx& ctx, const GMathVec3<double>& point,
                               const double& max_distance, GasClosestItemCallback callback,
                               void* user, unsigned& item, double& distance) const {
    GasNoProbe probe;
    return gas_find_closest_item(*this, ctx, point, max_distance, callback, user, item, distance,
                                 probe);
}

} // namespace gas_abi1
