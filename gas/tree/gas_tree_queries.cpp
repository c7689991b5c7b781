#include <cassert>
#include <cstddef>

#include <gas/traversal/gas_spatial_walk.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/gas_tree_traversal.h>

void GasTree::get_leaves_in_bbox(GasTreeCtx& ctx, const GMathBbox3<float>& box,
                                 CoreVector<unsigned>& leaves) const {
    gas_host::clear(leaves);
    if (m_node_count == 0)
        return;
    // A box away from the tree needs no stack.
    const GasBoxSearch search(box);
    SimdF root_min;
    SimdF root_max;
    get_node_bbox(ctx, 0u, root_min, root_max);
    if (!search.overlaps(root_min, root_max))
        return;
    ctx.reserve_stack(2 * std::size_t{m_depth});
    gas_walk_boxes(*this, ctx, search, [&](unsigned leaf, const SimdF&, const SimdF&) {
        gas_host::append(leaves, leaf);
    });
}

unsigned GasTree::get_nearest_leaves(GasTreeCtx& ctx, const GMathVec3<float>& point,
                                     const float& max_distance, const unsigned& max_count,
                                     unsigned* leaves, float* distances) const {
    assert(max_count > 0 && "room for at least one leaf");
    if (m_node_count == 0 || max_count == 0)
        return 0;
    // Sized by nodes, not by depth: callers that keep a frame for this query see it grow once.
    ctx.reserve_stack(m_node_count);
    GasPointSearch search(point, max_distance);
    GasNearestLeaves nearest(leaves, distances, max_count);
    gas_walk_boxes(*this, ctx, search, [&](unsigned leaf, const SimdF& min, const SimdF& max) {
        if (nearest.insert(leaf, search.get_center_distance(min, max)) && nearest.is_full())
            search.set_distance(nearest.get_largest_distance());
    });
    return nearest.get_count();
}
