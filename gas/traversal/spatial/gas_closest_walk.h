// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>
#include <cmath>
#include <cstddef>
#include <limits>
#include <utility>

#include <gas/core/gas_bbox.h>
#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/traversal/spatial/gas_closest_item.h>

inline namespace gas_abi1 {

/// The item closest to a point by the distance that a callback computes. The walk is best-first and
/// drops boxes that are farther than the closest item so far; of items at the same distance the
/// lowest leaf position counts, so that the result does not depend on the order of visits.

/// The closest item so far.
class GasClosestItem {
  public:
    /// `max_distance` is not a NaN.
    GasClosestItem(const GMathVec3<double>& point, double max_distance,
                   GasClosestItemCallback callback, void* user)
        : m_point(point), m_callback(callback), m_user(user), m_bound(max_distance) {}

    /// Whether the item of `leaf` became the closest.
    bool ask(unsigned leaf, unsigned item) {
        const double distance = m_callback(m_user, item, m_point, double{m_bound});
        if (!(distance <= m_bound && distance < std::numeric_limits<double>::infinity()))
            return false;
        if (m_is_found && distance == m_bound && leaf > m_leaf)
            return false;
        m_is_found = true;
        m_bound = distance;
        m_leaf = leaf;
        m_item = item;
        return true;
    }

    bool is_found() const { return m_is_found; }
    unsigned get_item() const { return m_item; }
    /// The largest distance that counts; where there is a closest item, its distance.
    double get_bound() const { return m_bound; }
    const GMathVec3<double>& get_point() const { return m_point; }

  private:
    const GMathVec3<double>& m_point;
    const GasClosestItemCallback m_callback;
    void* const m_user;
    double m_bound;
    bool m_is_found = false;
    unsigned m_leaf = 0;
    unsigned m_item = 0;
};

/// A node that is still to visit, and the square of its box's distance.
struct GasPendingNode {
    double squared_distance;
    unsigned node;
};

static_assert(sizeof(GasPendingNode) <= sizeof(GasStackEntry), "fits the entries of a stack");

/// The pending nodes; the last one is visited next. The first `sorted_count` are sorted, the
/// nearest last; what is added above them makes a stack. So where many boxes are about equally far,
/// the walk goes on depth-first, and the memory is bounded by the tree's depth.
class GasPendingNodes {
  public:
    static constexpr unsigned sorted_count = 256;

    /// The most pending nodes of a walk that adds the children of the node that it has just taken,
    /// in a tree with `depth` levels: each level adds one to the stack.
    static std::size_t get_most(unsigned depth) { return std::size_t{sorted_count} + depth + 1; }

    /// Room for `capacity` nodes.
    GasPendingNodes(GasPendingNode* nodes, std::size_t capacity)
        : m_nodes(nodes), m_capacity(capacity) {}

    bool is_empty() const { return m_count == 0; }

    void add(const GasPendingNode& node) {
        assert(m_count < m_capacity && "the depth bounds the pending nodes");
        static_cast<void>(m_capacity);
        std::size_t place = m_count++;
        if (place < sorted_count) {
            for (; place > 0 && m_nodes[place - 1].squared_distance < node.squared_distance;
                 --place)
                m_nodes[place] = m_nodes[place - 1];
        }
        m_nodes[place] = node;
    }

    GasPendingNode take() { return m_nodes[--m_count]; }

  private:
    GasPendingNode* m_nodes;
    std::size_t m_capacity;
    std::size_t m_count = 0;
};

/// How far boxes are from the point, and how far they may be.
class GasClosestReach {
  public:
    GasClosestReach(const GMathVec3<double>& point, const GasBbox& tree_box)
        : m_point{point.x, point.y, point.z} {
        // Twice what a callback's distance may be less than its box's; the other half exceeds what
        // a decoded box may fall short of its item's ("The closest item" in docs/numerics.md). The
        // least value keeps squares away from underflow.
        double largest = static_cast<double>(std::numeric_limits<float>::min());
        for (unsigned axis = 0; axis < 3; ++axis) {
            largest = get_larger(largest, std::abs(m_point[axis]));
            largest = get_larger(largest, std::abs(static_cast<double>(tree_box.min[axis])));
            largest = get_larger(largest, std::abs(static_cast<double>(tree_box.max[axis])));
        }
        m_margin = 0x1p-18 * largest;
    }

    /// Whether the point and the tree's box, which holds no NaN, are finite.
    bool is_finite() const {
        return std::isfinite(m_margin) && std::isfinite(m_point[0]) && std::isfinite(m_point[1]) &&
               std::isfinite(m_point[2]);
    }

    /// `bound`: the largest distance that counts.
    void set_bound(double bound) {
        const double distance = get_larger(0.0, bound) + m_margin;
        m_squared_distance = distance * distance;
    }
    bool holds(double squared_distance) const { return squared_distance <= m_squared_distance; }

    /// To the nearest point of an ordered box.
    double get_squared_distance(const GasBbox& box) const {
        double squares[3];
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double below = static_cast<double>(box.min[axis]) - m_point[axis];
            const double above = m_point[axis] - static_cast<double>(box.max[axis]);
            const double outside = get_larger(0.0, get_larger(below, above));
            squares[axis] = outside * outside;
        }
        return (squares[0] + squares[1]) + squares[2];
    }

  private:
    static double get_larger(double a, double b) { return a >= b ? a : b; }

    double m_point[3];
    double m_margin = 0.0;
    double m_squared_distance = 0.0;
};

/// The walk over a tree of two leaves or more with ordered boxes, all finite, as is the point.
template <GasTraversable Tree, typename Probe> class GasClosestWalk {
  public:
    GasClosestWalk(const Tree& tree, GasTreeCtx& ctx, const GasClosestReach& reach,
                   GasClosestItem& closest, Probe& probe)
        : m_tree(tree), m_ctx(ctx), m_reach(reach), m_closest(closest), m_probe(probe),
          m_pending(gas_view_stack<GasPendingNode>(ctx, alignof(GasPendingNode)),
                    GasPendingNodes::get_most(tree.get_depth())) {}

    /// Entries of the frame's stack: enough for the pending nodes, wherever they are aligned, and
    /// for slots of theirs and of a node that is being expanded. A tree that has slots asks for two
    /// a level.
    static std::size_t get_stack_size(const Tree& tree) {
        return GasPendingNodes::get_most(tree.get_depth()) + tree.get_depth() + 1;
    }

    void run() {
        m_reach.set_bound(m_closest.get_bound());
        GasTraversalAccess::init_traversal(m_tree, m_ctx);
        m_pending.add(measure(0));
        while (!m_pending.is_empty()) {
            const GasPendingNode next = m_pending.take();
            if (m_reach.holds(next.squared_distance))
                visit(next.node);
            GasTraversalAccess::free_node(m_tree, m_ctx, next.node);
        }
        GasTraversalAccess::deinit_traversal(m_tree, m_ctx);
    }

  private:
    void visit(unsigned node) {
        m_probe.visit_node();
        if (GasTraversalAccess::is_node_a_leaf(m_tree, m_ctx, node)) {
            m_probe.call_leaf();
            const unsigned leaf = GasTraversalAccess::get_leaf_value(m_tree, m_ctx, node);
            if (m_closest.ask(leaf, GasTraversalAccess::get_item(m_tree, leaf)))
                m_reach.set_bound(m_closest.get_bound());
            return;
        }
        unsigned first, second;
        GasTraversalAccess::get_node_children(m_tree, m_ctx, node, first, second);
        GasPendingNode nearer = measure(first);
        GasPendingNode farther = measure(second);
        if (farther.squared_distance < nearer.squared_distance)
            std::swap(nearer, farther);
        add(farther);
        add(nearer);
    }

    GasPendingNode measure(unsigned node) const {
        GasBbox box;
        GasTraversalAccess::get_node_bbox(m_tree, m_ctx, node, box);
        return {m_reach.get_squared_distance(box), node};
    }

    void add(const GasPendingNode& child) {
        if (m_reach.holds(child.squared_distance))
            m_pending.add(child);
        else
            GasTraversalAccess::free_node(m_tree, m_ctx, child.node);
    }

    const Tree& m_tree;
    GasTreeCtx& m_ctx;
    GasClosestReach m_reach;
    GasClosestItem& m_closest;
    Probe& m_probe;
    GasPendingNodes m_pending;
};

/// Asks for every item, where boxes or the point leave nothing to prune by.
template <GasTraversable Tree, typename Probe>
void gas_ask_all_items(const Tree& tree, GasClosestItem& closest, Probe& probe) {
    for (unsigned leaf = 0; leaf < tree.get_leaf_count(); ++leaf) {
        probe.call_leaf();
        closest.ask(leaf, GasTraversalAccess::get_item(tree, leaf));
    }
}

/// The whole of get_closest_item.
template <GasTraversable Tree, typename Probe>
bool gas_find_closest_item(const Tree& tree, GasTreeCtx& ctx, const GMathVec3<double>& point,
                           double max_distance, GasClosestItemCallback callback, void* user,
                           unsigned& item, double& distance, Probe& probe) {
    assert(callback && "the query needs a callback");
    if (tree.get_leaf_count() == 0 || !callback || std::isnan(max_distance))
        return false;
    GasClosestItem closest(point, max_distance, callback, user);
    const GMathBbox3<float> box = tree.get_bbox();
    const GasClosestReach reach(
        point, {{box.min.x, box.min.y, box.min.z, 0.0f}, {box.max.x, box.max.y, box.max.z, 0.0f}});
    if (tree.get_leaf_count() > 1 && GasTraversalAccess::are_boxes_ordered(tree) &&
        reach.is_finite()) {
        using Walk = GasClosestWalk<Tree, Probe>;
        ctx.reserve_stack(Walk::get_stack_size(tree));
        Walk(tree, ctx, reach, closest, probe).run();
    } else {
        gas_ask_all_items(tree, closest, probe);
    }
    if (closest.is_found()) {
        item = closest.get_item();
        distance = closest.get_bound();
    }
    return closest.is_found();
}

} // namespace gas_abi1
