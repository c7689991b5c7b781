// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/diagnostics/gas_walk_counts.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// As GasTree's spatial queries of these names; add to `counts` every node whose turn came, leaves
/// included, and every leaf that overlapped.
void gas_counted_get_leaves_in_bbox(const GasTree& tree, GasTreeCtx& ctx,
                                    const GMathBbox3<float>& box, CoreVector<unsigned>& leaves,
                                    GasWalkCounts& counts);
unsigned gas_counted_get_nearest_leaves(const GasTree& tree, GasTreeCtx& ctx,
                                        const GMathVec3<float>& point, const float& max_distance,
                                        const unsigned& max_count, unsigned* leaves,
                                        float* distances, GasWalkCounts& counts);

} // namespace gas_abi1
