// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/core/gas_box_tests.h>
#include <gas/core/gas_compiler.h>
#include <gas/traversal/packet/gas_packet_rays.h>
#include <gas/traversal/query/gas_traversal_access.h>

inline namespace gas_abi1 {

/// The closest-hit walk of a whole batch of coherent rays: at every node a range first..last of
/// active rays is narrowed from both ends by tests of the node's box. The order code and the first
/// active ray decide the order of children. A leaf's callback handles all rays of the range.

/// Tests nodes against one ray at a time. For shallow trees, where gathering packets costs more
/// than it saves.
class GasRangeRays {
  public:
    explicit GasRangeRays(GasRaytraceFrame& frame) : m_data(frame.data) {}

    template <typename IsOutside>
    bool narrow(const SimdF& min, const SimdF& max, int& first, int& last,
                const IsOutside& is_outside) {
        m_min = min;
        m_max = max;
        if (!is_hit(first)) {
            if (is_outside())
                return false;
            do
                ++first;
            while (first <= last && !is_hit(first));
        }
        while (first <= last && !is_hit(last))
            --last;
        return first <= last;
    }

    /// Nothing is kept between tests.
    void read_hit_distances(int, int) {}

    decltype(auto) get_order_line(int first) const {
        return gas_host::get_line(m_data, static_cast<unsigned>(first));
    }

  private:
    bool is_hit(int index) const {
        const unsigned ray = static_cast<unsigned>(index);
        const double near = gas_host::get_ctx(m_data).get_tnear(ray);
        const double far =
            gas_host::get_hit_distance(gas_host::get_intersection_map(m_data).get_path(ray));
        return gas_test_box(GasLaneRay(gas_host::get_line(m_data, ray), near),
                            static_cast<float>(far), m_min, m_max);
    }

    GeometryRaytraceData& m_data;
    SimdF m_min;
    SimdF m_max;
};

/// Walks the tree for the rays first..last of the frame's batch; `rays` tests nodes, `call_leaf`
/// calls a leaf.
template <GasTraversable Tree, typename Rays, typename CallLeaf, typename Probe>
GAS_NO_INLINE void gas_walk_range(const Tree& tree, CtxShader& shader, GasRaytraceFrame& frame,
                                  Rays& rays, int first, int last, const CallLeaf& call_leaf,
                                  Probe probe) {
    GeometryRaytraceData& data = frame.data;
    const GMathFrustum* frustum = gas_host::get_frustum(data);
    const GasTreeCtxLease lease(shader, 2 * std::size_t{tree.get_depth()});
    GasTreeCtx& ctx = lease.get();
    GasTraversalAccess::init_traversal(tree, ctx);

    GasStackEntry* const stack = gas_view_stack<GasStackEntry>(ctx);
    unsigned stack_size = 0;
    unsigned node = 0;
    for (;;) {
        // Speculation fetches the children by itself, but not where it predicts a miss.
        GasTraversalAccess::prefetch_children(tree, node);
        SimdF min;
        SimdF max;
        GasTraversalAccess::get_node_bbox(tree, ctx, node, min, max);
        const auto is_outside = [&] { return frustum && gas_is_outside(*frustum, min, max); };
        probe.visit_node();
        if (rays.narrow(min, max, first, last, is_outside)) {
            if (!GasTraversalAccess::is_node_a_leaf(tree, ctx, node)) {
                const unsigned order = GasTraversalAccess::get_node_traversal_order(
                    tree, ctx, node, rays.get_order_line(first));
                unsigned left;
                unsigned right;
                GasTraversalAccess::get_node_children(tree, ctx, node, left, right);
                GasTraversalAccess::free_node(tree, ctx, node);
                stack[stack_size++] = {order != 0 ? left : right, 0.0f, first, last, 0};
                node = order != 0 ? right : left;
                continue;
            }
            const unsigned leaf = GasTraversalAccess::get_leaf_value(tree, ctx, node);
            gas_host::set_range(data, first, last);
            call_leaf(leaf);
            rays.read_hit_distances(first, last);
        }
        GasTraversalAccess::free_node(tree, ctx, node);
        if (stack_size == 0)
            break;
        const GasStackEntry& top = stack[--stack_size];
        node = top.node;
        first = top.first_ray;
        last = top.last_ray;
    }
    GasTraversalAccess::deinit_traversal(tree, ctx);
}

/// Trees of fewer levels are walked without packets.
inline constexpr unsigned gas_packet_depth = 4;

/// Traces a batch of several rays for nearest hits. The shader has frames, the tree a root, and the
/// range lies within the batch.
template <typename Leaves, GasTraversable Tree, typename Probe>
void gas_walk_packets(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& caller, Probe probe) {
    const GasRaytraceFrameLease lease(shader);
    GasRaytraceFrame& frame = lease.get();
    frame.data = gas_host::get_data(caller);
    const int first = gas_host::get_first_ray(frame.data);
    const int last = gas_host::get_last_ray(frame.data);
    const typename Leaves::template Caller<GasRayCall::nearest_static, Tree, Probe> call_leaf = {
        tree, eval, shader, gas_host::get_ctx(frame.data), probe};
    if (tree.get_depth() < gas_packet_depth) {
        GasRangeRays rays(frame);
        gas_walk_range(tree, shader, frame, rays, first, last, call_leaf, probe);
    } else {
        GasPacketBatch batch(frame, first, last);
        if (batch.is_in_octant()) {
            const auto walk = [&](auto rays) {
                gas_walk_range(tree, shader, frame, rays, first, last, call_leaf, probe);
            };
            if (batch.has_one_origin())
                walk(GasOctantPackets<true>(batch));
            else
                walk(GasOctantPackets<false>(batch));
        } else {
            GasMixedPackets rays(batch);
            gas_walk_range(tree, shader, frame, rays, first, last, call_leaf, probe);
        }
    }
}

} // namespace gas_abi1
