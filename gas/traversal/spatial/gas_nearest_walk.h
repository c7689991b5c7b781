// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>
#include <limits>

#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/traversal/spatial/gas_nearest_leaves.h>
#include <gas/traversal/spatial/gas_spatial_walk.h>

inline namespace gas_abi1 {

/// The nearest leaves of a tree, by a best-first walk: the nearest pending node is visited next, so
/// that hardly a node is visited that is farther than the last leaf found. Leaves at the same
/// distance are ordered as a depth-first walk finds them that takes the nearer child first, and the
/// second of two at the same distance.
///
/// The walk's three tables share records on a frame's stack, one for each node of the tree.
struct GasNearRecord {
    /// A pending node, how near its box is to the point, and its link.
    unsigned node;
    float squared_distance;
    unsigned link;
    /// The link of a leaf that was found.
    unsigned leaf_link;
    /// The link of an opened node.
    unsigned opened_link;
};

static_assert(sizeof(GasNearRecord) == sizeof(GasStackEntry), "one for each entry of the stack");

/// The places of nodes and leaves in that depth-first walk. `link` of a child is twice the number
/// of its parent, in the order in which nodes are expanded, and one more for the child that is
/// last.
class GasDepthFirstOrder {
  public:
    explicit GasDepthFirstOrder(GasNearRecord* records) : m_records(records) {}

    /// Returns the link of the child that goes first.
    unsigned open(unsigned link) {
        m_records[m_opened_count].opened_link = link;
        return 2 * m_opened_count++;
    }

    /// For two different leaves. A parent has a lower number than its children, so the higher link
    /// climbs until both are children of the same node.
    bool is_before(unsigned link, unsigned other) const {
        while (link / 2 != other / 2) {
            unsigned& higher = link > other ? link : other;
            higher = m_records[higher / 2].opened_link;
        }
        return link < other;
    }

  private:
    GasNearRecord* m_records;
    unsigned m_opened_count = 0;
};

/// The order of a leaf among those that GasNearestLeaves holds.
class GasLinkOrder {
  public:
    GasLinkOrder(GasNearRecord* records, const GasDepthFirstOrder& order, unsigned link)
        : m_records(records), m_order(order), m_link(link) {}

    bool is_before(unsigned place) const { return m_order.is_before(m_link, get(place)); }
    void move_up(unsigned place) const {
        m_records[place + 1].leaf_link = m_records[place].leaf_link;
    }
    void put(unsigned place) const { m_records[place].leaf_link = m_link; }

  private:
    unsigned get(unsigned place) const { return m_records[place].leaf_link; }

    GasNearRecord* m_records;
    const GasDepthFirstOrder& m_order;
    unsigned m_link;
};

/// A node, the distance of its box from the point, and its link.
struct GasNearNode {
    unsigned node;
    float squared_distance;
    unsigned link;
};

/// The pending nodes; the last one is visited next.
class GasNearNodes {
  public:
    explicit GasNearNodes(GasNearRecord* records) : m_records(records) {}

    bool is_next_nearer(float squared_distance) const {
        return m_count > 0 && m_records[m_count - 1].squared_distance < squared_distance;
    }

    /// Puts a node below the nearer ones, but not far down: an exact order would take longer than
    /// the few visits that it saves.
    void add(const GasNearNode& node) {
        constexpr unsigned most_moved = 16;
        const unsigned lowest = m_count > most_moved ? m_count - most_moved : 0;
        unsigned place = m_count++;
        for (; place > lowest && m_records[place - 1].squared_distance < node.squared_distance;
             --place) {
            m_records[place].node = m_records[place - 1].node;
            m_records[place].squared_distance = m_records[place - 1].squared_distance;
            m_records[place].link = m_records[place - 1].link;
        }
        m_records[place].node = node.node;
        m_records[place].squared_distance = node.squared_distance;
        m_records[place].link = node.link;
    }

    /// The next pending node up to `limit`; false: there is none.
    bool take_next(float limit, GasNearNode& node) {
        while (m_count > 0) {
            const GasNearRecord& next = m_records[--m_count];
            if (next.squared_distance > limit)
                continue;
            node = {next.node, next.squared_distance, next.link};
            return true;
        }
        return false;
    }

  private:
    GasNearRecord* m_records;
    unsigned m_count = 0;
};

/// Finds the leaves nearest to the search's point; with `is_limited` only leaves in its cube. The
/// tree has at least two leaves and ordered boxes, the frame's stack an entry for each node.
///
/// A leaf's centre lies in its box and in all boxes around it, and rounding is monotone. So the
/// computed distance to the centre is never less than that to any of these boxes.
template <GasTraversable Tree, typename Probe> class GasNearestWalk {
  public:
    GasNearestWalk(const Tree& tree, GasTreeCtx& ctx, const GasPointSearch& search, bool is_limited,
                   GasNearestLeaves& nearest, Probe& probe)
        : m_tree(tree), m_ctx(ctx), m_search(search), m_is_limited(is_limited), m_nearest(nearest),
          m_probe(probe), m_records(gas_view_stack<GasNearRecord>(ctx)), m_order(m_records),
          m_pending(m_records) {}

    void run() {
        do {
            m_goes_on = false;
            expand();
            if (m_goes_on && (m_pending.is_next_nearer(m_node.squared_distance) ||
                              m_node.squared_distance > m_limit)) {
                m_pending.add(m_node);
                m_goes_on = false;
            }
        } while (m_goes_on || m_pending.take_next(m_limit, m_node));
    }

  private:
    /// Offers the children of the node that it is at, the nearer one first.
    void expand() {
        m_probe.visit_node();
        unsigned first, second;
        GasTraversalAccess::get_node_children(m_tree, m_ctx, m_node.node, first, second);
        GasBoxPair boxes;
        GasTraversalAccess::get_node_bbox(m_tree, m_ctx, first, boxes.first.min, boxes.first.max);
        GasTraversalAccess::get_node_bbox(m_tree, m_ctx, second, boxes.second.min,
                                          boxes.second.max);
        const SimdF distances = m_search.get_squared_distances(boxes);
        const float first_distance = distances.get(0);
        const float second_distance = distances.get(1);
        const unsigned link = m_order.open(m_node.link);
        if (second_distance > first_distance) {
            offer({first, first_distance, link}, boxes.first);
            offer({second, second_distance, link + 1}, boxes.second);
        } else {
            offer({second, second_distance, link}, boxes.second);
            offer({first, first_distance, link + 1}, boxes.first);
        }
    }

    /// Takes a leaf; moves to an inner node, or keeps it if the walk has moved already.
    void offer(const GasNearNode& child, const GasLaneBox& box) {
        if (child.squared_distance > m_limit ||
            (m_is_limited && !m_search.overlaps(box.min, box.max)))
            return;
        if (GasTraversalAccess::is_node_a_leaf(m_tree, m_ctx, child.node)) {
            take_leaf(child, box);
        } else if (m_goes_on) {
            m_pending.add(child);
        } else {
            m_goes_on = true;
            m_node = child;
        }
    }

    void take_leaf(const GasNearNode& leaf, const GasLaneBox& box) {
        m_probe.visit_node();
        m_probe.call_leaf();
        if (m_nearest.insert(GasTraversalAccess::get_leaf_value(m_tree, m_ctx, leaf.node),
                             m_search.get_center_distance(box.min, box.max),
                             GasLinkOrder(m_records, m_order, leaf.link)) &&
            m_nearest.is_full()) {
            // A leaf at the distance of the last one may replace it by its place in the order; the
            // factor exceeds the difference of squares with the same rounded root.
            const float largest = m_nearest.get_largest_distance();
            m_limit = largest * largest * (1.0f + 0x1p-22f);
        }
    }

    const Tree& m_tree;
    GasTreeCtx& m_ctx;
    const GasPointSearch& m_search;
    const bool m_is_limited;
    GasNearestLeaves& m_nearest;
    Probe& m_probe;

    GasNearRecord* const m_records;
    GasDepthFirstOrder m_order;
    GasNearNodes m_pending;
    /// Leaves beyond this squared distance are dropped.
    float m_limit = std::numeric_limits<float>::infinity();
    GasNearNode m_node = {0, 0.0f, 0};
    /// The walk goes on at `m_node`, with no pending node in between.
    bool m_goes_on = false;
};

/// The whole of GasTree::get_nearest_leaves.
template <GasTraversable Tree, typename Probe>
unsigned gas_find_nearest_leaves(const Tree& tree, GasTreeCtx& ctx, const GMathVec3<float>& point,
                                 float max_distance, unsigned max_count, unsigned* leaves,
                                 float* distances, Probe& probe) {
    assert(max_count > 0 && "room for at least one leaf");
    if (tree.get_node_count() == 0 || max_count == 0)
        return 0;
    // Sized by nodes, not by depth: a frame that is kept for this query grows once.
    ctx.reserve_stack(tree.get_node_count());
    GasPointSearch search(point, max_distance);
    constexpr float infinity = std::numeric_limits<float>::infinity();
    if (tree.get_node_count() > 1 && GasTraversalAccess::are_boxes_ordered(tree) &&
        search.is_point_finite()) {
        const bool is_limited = max_distance != infinity;
        GasNearestLeaves nearest(leaves, distances, max_count);
        GasNearestWalk(tree, ctx, search, is_limited, nearest, probe).run();
        // A cube may hold leaves whose centres lie outside it. If they fill the arrays, they widen
        // the cube during the walk, and the result depends on the order of visits.
        if (!is_limited || !nearest.is_full() || nearest.get_largest_distance() < max_distance)
            return nearest.get_count();
    }
    GasNearestLeaves nearest(leaves, distances, max_count);
    const auto visit = [&](unsigned leaf, const SimdF& min, const SimdF& max) {
        const float distance = search.get_center_distance(min, max);
        if (nearest.insert(leaf, distance, GasFoundOrder()) && nearest.is_full())
            search.set_distance(nearest.get_largest_distance());
    };
    gas_walk_boxes(tree, ctx, search, visit, probe);
    return nearest.get_count();
}

} // namespace gas_abi1
