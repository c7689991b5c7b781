// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_walk_counts.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// As the trees' spatial queries of these names; add to `counts` every node whose turn came, leaves
/// included, and every leaf that overlapped or whose item was asked for.
void gas_counted_get_leaves_in_bbox(const GasTree& tree, GasTreeCtx& ctx,
                                    const GMathBbox3<float>& box, CoreVector<unsigned>& leaves,
                                    GasWalkCounts& counts);
unsigned gas_counted_get_nearest_leaves(const GasTree& tree, GasTreeCtx& ctx,
                                        const GMathVec3<float>& point, const float& max_distance,
                                        const unsigned& max_count, unsigned* leaves,
                                        float* distances, GasWalkCounts& counts);
bool gas_counted_get_closest_item(const GasTree& tree, GasTreeCtx& ctx,
                                  const GMathVec3<double>& point, const double& max_distance,
                                  GasClosestItemCallback callback, void* user, unsigned& item,
                                  double& distance, GasWalkCounts& counts);
bool gas_counted_get_closest_item(const GasCompressedTree& tree, GasTreeCtx& ctx,
                                  const GMathVec3<double>& point, const double& max_distance,
                                  GasClosestItemCallback callback, void* user, unsigned& item,
                                  double& distance, GasWalkCounts& counts);

} // namespace gas_abi1
