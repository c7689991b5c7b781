#pragma once

#include <cstddef>
#include <cstring>

#include <gas/traversal/gas_box_tests.h>
#include <gas/traversal/gas_ray_query.h>
#include <gas/traversal/gas_raytrace_frame.h>
#include <gas/traversal/gas_tree_simd_node.h>

/// The nearest-hit walk of a whole batch: at every node a range first..last of active rays,
/// narrowed from both ends by testing the node's box. Children are visited in the order that suits
/// the first active ray; a leaf's callback handles all rays of the range.

/// Tests nodes against packets of four rays that it gathers from the batch.
class GasPacketRays {
  public:
    GasPacketRays(GasRaytraceFrame& frame, int first, int last) : m_data(frame.data) {
        const unsigned count =
            gas_host::get_ray_count(m_data) / 4 + (gas_host::get_ray_count(m_data) % 4 != 0);
        frame.reserve_packets(count);
        m_packets = static_cast<GasSimdRays*>(frame.packets);
        for (int ray = first; ray <= last; ++ray)
            fill_lane(static_cast<unsigned>(ray));
    }

    /// Whether any ray up to `last` hits the node's box; `first` moves to the first that may. A box
    /// that the first packet misses is `is_outside` the batch's frustum, or is tried with the
    /// packets that follow.
    template <typename IsOutside>
    bool narrow_first(const SimdF& min, const SimdF& max, int& first, int last,
                      const IsOutside& is_outside) {
        m_node.init(min, max);
        SimdF tmin;
        SimdF tmax;
        const int mask = m_node.intersect_rays(m_packets, static_cast<unsigned>(first), tmin, tmax);
        GasTreeSimdNode::update_first_index(first, mask);
        if (mask == 0) {
            if (is_outside())
                return false;
            m_node.update_first_ray(m_packets, first, last, tmin, tmax);
        }
        return first <= last;
    }

    /// After `narrow_first` of the same box: moves `last` to the last ray that may hit it.
    bool narrow_last(int first, int& last) const {
        SimdF tmin;
        SimdF tmax;
        m_node.update_last_ray(m_packets, first, last, tmin, tmax);
        return first <= last;
    }

    /// Takes the hit distances that a callback left to rays first..last.
    void read_hit_distances(int first, int last) {
        GeometryIntersectionMap& map = gas_host::get_intersection_map(m_data);
        for (int i = first; i <= last; ++i) {
            const unsigned ray = static_cast<unsigned>(i);
            set_lane(m_packets[ray / 4].tfar, ray % 4,
                     static_cast<float>(gas_host::get_hit_distance(map.get_path(ray))));
        }
    }

  private:
    static void set_lane(SimdF& lanes, unsigned lane, float value) {
        std::memcpy(reinterpret_cast<char*>(&lanes) + lane * sizeof(float), &value, sizeof value);
    }

    void fill_lane(unsigned ray) {
        const GMathBasicRay& line = gas_host::get_line(m_data, ray);
        const GMathVec3<double>& origin = gas_host::get_origin(line);
        const GMathVec3<double>& inverse = gas_host::get_inverse_direction(line);
        GasSimdRays& packet = m_packets[ray / 4];
        const unsigned lane = ray % 4;
        set_lane(packet.origin_x, lane, static_cast<float>(origin.x));
        set_lane(packet.origin_y, lane, static_cast<float>(origin.y));
        set_lane(packet.origin_z, lane, static_cast<float>(origin.z));
        set_lane(packet.inverse_direction_x, lane, GasLaneRay::load_inverse(inverse.x));
        set_lane(packet.inverse_direction_y, lane, GasLaneRay::load_inverse(inverse.y));
        set_lane(packet.inverse_direction_z, lane, GasLaneRay::load_inverse(inverse.z));
        set_lane(packet.tnear, lane, static_cast<float>(gas_host::get_ctx(m_data).get_tnear(ray)));
        set_lane(packet.tfar, lane,
                 static_cast<float>(gas_host::get_hit_distance(
                     gas_host::get_intersection_map(m_data).get_path(ray))));
    }

    GeometryRaytraceData& m_data;
    GasSimdRays* m_packets;
    GasTreeSimdNode m_node;
};

/// Tests nodes against one ray at a time, for shallow trees, where gathering packets costs more
/// than it saves.
class GasRangeRays {
  public:
    explicit GasRangeRays(GasRaytraceFrame& frame) : m_data(frame.data) {}

    template <typename IsOutside>
    bool narrow_first(const SimdF& min, const SimdF& max, int& first, int last,
                      const IsOutside& is_outside) {
        m_min = min;
        m_max = max;
        if (first > last)
            return false;
        if (is_hit(first))
            return true;
        if (is_outside())
            return false;
        do
            ++first;
        while (first <= last && !is_hit(first));
        return first <= last;
    }

    bool narrow_last(int first, int& last) const {
        while (first <= last && !is_hit(last))
            --last;
        return first <= last;
    }

    /// Nothing is kept between tests.
    void read_hit_distances(int, int) {}

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

/// Walks the tree for the rays first..last of the frame's batch; `rays` tests nodes.
template <GasTraversable Tree, typename Rays, typename Probe>
void gas_walk_range(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                    GasRaytraceFrame& frame, Rays& rays, int first, int last, Probe& probe) {
    GeometryRaytraceData& data = frame.data;
    const GMathFrustum* frustum = gas_host::get_frustum(data);
    const GasTreeCtxLease lease(shader, 2 * std::size_t{tree.get_depth()});
    GasTreeCtx& ctx = lease.get();
    GasTraversalAccess::init_traversal(tree, ctx);

    unsigned stack_size = 0;
    unsigned node = 0;
    for (;;) {
        SimdF min;
        SimdF max;
        GasTraversalAccess::get_node_bbox(tree, ctx, node, min, max);
        const auto is_outside = [&] { return frustum && gas_is_outside(*frustum, min, max); };
        probe.visit_node();
        if (rays.narrow_first(min, max, first, last, is_outside) && rays.narrow_last(first, last)) {
            if (!GasTraversalAccess::is_node_a_leaf(tree, ctx, node)) {
                const unsigned order = GasTraversalAccess::get_node_traversal_order(
                    tree, ctx, node, gas_host::get_line(data, static_cast<unsigned>(first)));
                unsigned children[2];
                GasTraversalAccess::get_node_children(tree, ctx, node, children[0], children[1]);
                GasTraversalAccess::free_node(tree, ctx, node);
                ctx.stack[stack_size++] = {children[1 - order], 0.0f, first, last, 0};
                node = children[order];
                continue;
            }
            const unsigned leaf = GasTraversalAccess::get_leaf_value(tree, ctx, node);
            gas_host::set_range(data, first, last);
            probe.call_leaf();
            GasTraversalAccess::leaf_ray_hit_nearest_static(tree, ctx, leaf, eval, shader,
                                                            gas_host::get_ctx(data));
            rays.read_hit_distances(first, last);
        }
        GasTraversalAccess::free_node(tree, ctx, node);
        if (stack_size == 0)
            break;
        const GasStackEntry& top = ctx.stack[--stack_size];
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
template <GasTraversable Tree, typename Probe>
void gas_walk_packets(const Tree& tree, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& caller, Probe& probe) {
    const GasRaytraceFrameLease lease(shader);
    GasRaytraceFrame& frame = lease.get();
    frame.data = gas_host::get_data(caller);
    const int first = gas_host::get_first_ray(frame.data);
    const int last = gas_host::get_last_ray(frame.data);
    if (first >= last || tree.get_depth() < gas_packet_depth) {
        GasRangeRays rays(frame);
        gas_walk_range(tree, eval, shader, frame, rays, first, last, probe);
    } else {
        GasPacketRays rays(frame, first, last);
        gas_walk_range(tree, eval, shader, frame, rays, first, last, probe);
    }
}
