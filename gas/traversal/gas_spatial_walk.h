#pragma once

#include <cassert>
#include <cmath>
#include <cstddef>

#include <gas/traversal/gas_box_tests.h>
#include <gas/traversal/gas_numeric.h>
#include <gas/traversal/gas_traversal_access.h>

/// Queries without rays: leaves that overlap a box, leaves near a point. They run on a frame that
/// the caller hands over and report leaf positions.

/// Calls `visit(leaf, min, max)` for every leaf whose own and whose ancestors' boxes overlap the
/// search box. `search` says what overlaps (it may shrink while the walk goes on) and, of two
/// children that do, whether the second comes first; `probe` hears of every node. The tree has a
/// root, and the frame's stack room for as many entries as the tree has levels.
template <GasTraversable Tree, typename Search, typename Visit, typename Probe>
void gas_walk_boxes(const Tree& tree, GasTreeCtx& ctx, const Search& search, const Visit& visit,
                    Probe& probe) {
    GasTraversalAccess::init_traversal(tree, ctx);
    unsigned stack_size = 0;
    unsigned node = 0;
    bool walking = true;
    while (walking) {
        SimdF min;
        SimdF max;
        GasTraversalAccess::get_node_bbox(tree, ctx, node, min, max);
        bool descended = false;
        probe.visit_node();
        if (search.overlaps(min, max)) {
            if (GasTraversalAccess::is_node_a_leaf(tree, ctx, node)) {
                probe.call_leaf();
                visit(GasTraversalAccess::get_leaf_value(tree, ctx, node), min, max);
            } else {
                unsigned first;
                unsigned second;
                GasTraversalAccess::get_node_children(tree, ctx, node, first, second);
                SimdF first_min, first_max, second_min, second_max;
                GasTraversalAccess::get_node_bbox(tree, ctx, first, first_min, first_max);
                GasTraversalAccess::get_node_bbox(tree, ctx, second, second_min, second_max);
                const bool first_hit = search.overlaps(first_min, first_max);
                const bool second_hit = search.overlaps(second_min, second_max);
                descended = first_hit || second_hit;
                node = first_hit ? first : second;
                if (first_hit && second_hit) {
                    unsigned pending = second;
                    if (search.prefers_second(first_min, first_max, second_min, second_max)) {
                        node = second;
                        pending = first;
                    }
                    ctx.stack[stack_size++].node = pending;
                }
            }
        }
        if (!descended) {
            walking = stack_size > 0;
            if (walking)
                node = ctx.stack[--stack_size].node;
        }
    }
    GasTraversalAccess::deinit_traversal(tree, ctx);
}

/// All leaves that overlap a box; whatever lies below a first child comes before its sibling.
class GasBoxSearch {
  public:
    explicit GasBoxSearch(const GMathBbox3<float>& box)
        : m_min(box.min.x, box.min.y, box.min.z, 0.0f),
          m_max(box.max.x, box.max.y, box.max.z, 0.0f) {}

    bool overlaps(const SimdF& min, const SimdF& max) const {
        return gas_test_overlap(min, max, m_min, m_max);
    }
    static bool prefers_second(const SimdF&, const SimdF&, const SimdF&, const SimdF&) {
        return false;
    }

  private:
    SimdF m_min;
    SimdF m_max;
};

/// Leaves in a cube around a point, the nearer box first. The cube may shrink on the way.
class GasPointSearch {
  public:
    GasPointSearch(const GMathVec3<float>& point, float distance)
        : m_point(point.x, point.y, point.z, 0.0f) {
        set_distance(distance);
    }

    /// The cube becomes point - distance to point + distance.
    void set_distance(float distance) {
        m_min = m_point - SimdF(distance);
        m_max = m_point + SimdF(distance);
    }

    bool overlaps(const SimdF& min, const SimdF& max) const {
        return gas_test_overlap(min, max, m_min, m_max);
    }

    /// Whether the second box is as near to the point as the first, or nearer.
    bool prefers_second(const SimdF& first_min, const SimdF& first_max, const SimdF& second_min,
                        const SimdF& second_max) const {
        return !(get_squared_distance(second_min, second_max) >
                 get_squared_distance(first_min, first_max));
    }

    /// From the point to the centre of a box.
    float get_center_distance(const SimdF& min, const SimdF& max) const {
        return std::sqrt(get_squared_length((min + max) * SimdF(0.5f) - m_point));
    }

  private:
    float get_squared_distance(const SimdF& min, const SimdF& max) const {
        const SimdF outside = SimdF::max(SimdF::max(min - m_point, m_point - max), SimdF(0.0f));
        return get_squared_length(outside);
    }

    /// Summed x, y, z in that order.
    static float get_squared_length(const SimdF& vector) {
        const SimdF squares = vector * vector;
        return (squares.get(0) + squares.get(1)) + squares.get(2);
    }

    SimdF m_point;
    SimdF m_min;
    SimdF m_max;
};

/// The nearest leaves so far, in the caller's two arrays of `capacity` (at least 1) entries, sorted
/// by ascending distance.
class GasNearestLeaves {
  public:
    GasNearestLeaves(unsigned* leaves, float* distances, unsigned capacity)
        : m_leaves(leaves), m_distances(distances), m_capacity(capacity) {}

    unsigned get_count() const { return m_count; }
    bool is_full() const { return m_count == m_capacity; }
    float get_largest_distance() const { return m_distances[m_count - 1]; }

    /// Takes a leaf unless the arrays are full of nearer ones; where they are full, the last drops
    /// out. Of equal distances the earlier stays in front.
    bool insert(unsigned leaf, float distance) {
        if (is_full()) {
            if (distance >= get_largest_distance())
                return false;
        } else {
            ++m_count;
        }
        unsigned place = m_count - 1;
        for (; place > 0 && m_distances[place - 1] > distance; --place) {
            m_leaves[place] = m_leaves[place - 1];
            m_distances[place] = m_distances[place - 1];
        }
        m_leaves[place] = leaf;
        m_distances[place] = distance;
        return true;
    }

  private:
    unsigned* m_leaves;
    float* m_distances;
    unsigned m_capacity;
    unsigned m_count = 0;
};

/// The whole of GasTree::get_leaves_in_bbox.
template <GasTraversable Tree, typename Probe>
void gas_find_leaves_in_box(const Tree& tree, GasTreeCtx& ctx, const GMathBbox3<float>& box,
                            CoreVector<unsigned>& leaves, Probe& probe) {
    gas_host::clear(leaves);
    if (tree.get_node_count() == 0)
        return;
    // A box away from the tree needs no stack.
    const GasBoxSearch search(box);
    SimdF root_min;
    SimdF root_max;
    GasTraversalAccess::get_node_bbox(tree, ctx, 0u, root_min, root_max);
    if (!search.overlaps(root_min, root_max))
        return;
    ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
    const auto visit = [&](unsigned leaf, const SimdF&, const SimdF&) {
        gas_host::append(leaves, leaf);
    };
    gas_walk_boxes(tree, ctx, search, visit, probe);
}

/// The whole of GasTree::get_nearest_leaves.
template <GasTraversable Tree, typename Probe>
unsigned gas_find_nearest_leaves(const Tree& tree, GasTreeCtx& ctx, const GMathVec3<float>& point,
                                 float max_distance, unsigned max_count, unsigned* leaves,
                                 float* distances, Probe& probe) {
    assert(max_count > 0 && "room for at least one leaf");
    if (tree.get_node_count() == 0 || max_count == 0)
        return 0;
    // Sized by nodes, not by depth: callers that keep a frame for this query see it grow once.
    ctx.reserve_stack(tree.get_node_count());
    GasPointSearch search(point, max_distance);
    GasNearestLeaves nearest(leaves, distances, max_count);
    const auto visit = [&](unsigned leaf, const SimdF& min, const SimdF& max) {
        if (nearest.insert(leaf, search.get_center_distance(min, max)) && nearest.is_full())
            search.set_distance(nearest.get_largest_distance());
    };
    gas_walk_boxes(tree, ctx, search, visit, probe);
    return nearest.get_count();
}
