// SPDX-License-Identifier: Apache-2.0
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/spatial/gas_closest_walk.h>

inline namespace gas_abi1 {

bool GasCompressedTree::get_closest_item(GasTreeCtx& ctx, const GMathVec3<double>& point,
                                         const double& max_distance,
                                         GasClosestItemCallback callback, void* user,
                                         unsigned& item, double& distance) const {
    GasNoProbe probe;
    return gas_find_closest_item(*this, ctx, point, max_distance, callback, user, item, distance,
                                 probe);
}

} // namespace gas_abi1
