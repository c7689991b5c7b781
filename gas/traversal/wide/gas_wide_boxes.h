// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/core/gas_box_tests.h>
#include <gas/core/gas_compiler.h>
#include <gas/traversal/single/gas_ray_nodes.h>
#include <gas/traversal/wide/gas_wide_node.h>

inline namespace gas_abi1 {

/// The test of wide nodes, static and blended to a ray's time.

/// A tree that may hold wide nodes beside its own.
template <typename Tree>
concept GasWideTraversable = requires(const Tree& tree) {
    { GasTraversalAccess::get_wide_nodes(tree) } -> std::same_as<const GasWideNode*>;
    { GasTraversalAccess::has_wide_sample(tree, 0u) } -> std::same_as<bool>;
    { GasTraversalAccess::get_wide_samples(tree) } -> std::same_as<const GasWideSampleRecords&>;
};

/// A ray as the test takes it. Planes are chosen by the direction's sign, which for boxes with
/// min <= max gives what the test of a pair gives, NaN included, and spares it the sorting.
template <unsigned width> struct GasWideRayOf {
    SimdF origin[3];
    SimdF inverse_direction[3];
    /// In all lanes.
    SimdF near_distance;
    /// Bytes before the near and the far plane of each axis, in a node.
    std::size_t near_planes[3];
    std::size_t far_planes[3];

    GasWideRayOf() = default;
    GAS_FORCE_INLINE explicit GasWideRayOf(const GasLaneRay& ray)
        : near_distance(ray.near_distance) {
        origin[0] = ray.origin.broadcast<0>();
        origin[1] = ray.origin.broadcast<1>();
        origin[2] = ray.origin.broadcast<2>();
        inverse_direction[0] = ray.inverse_direction.broadcast<0>();
        inverse_direction[1] = ray.inverse_direction.broadcast<1>();
        inverse_direction[2] = ray.inverse_direction.broadcast<2>();
        const auto negative =
            static_cast<unsigned>((ray.inverse_direction < SimdF(0.0f)).get_mask());
        constexpr std::size_t size = width * sizeof(float);
        for (unsigned axis = 0; axis < 3; ++axis) {
            // The axis' bit as it stands in the mask: `size` of its value each.
            const unsigned bit = negative & 1u << axis;
            near_planes[axis] = 2 * axis * size + bit * (size >> axis);
            far_planes[axis] = near_planes[axis] ^ size;
        }
    }

    /// Whether the wide test may stand in for the binary one: an origin well within the planes of
    /// an empty lane, and no inverse that is 0 or NaN.
    static bool can_trace(const GasLaneRay& ray) {
        constexpr float reach = 0x1p127f;
        const SimdF zero(0.0f);
        const SimdF is_near = (SimdF(-reach) <= ray.origin) & (ray.origin <= SimdF(reach));
        const SimdF is_signed = (ray.inverse_direction < zero) | (ray.inverse_direction > zero);
        return ((is_near & is_signed).get_mask() & 7) == 7;
    }
};

using GasWideRay = GasWideRayOf<GasWideNode::width>;

/// What the test of a wide node gives.
struct GasWideHits {
    /// The lanes of the boxes that the ray enters, as bits.
    unsigned reached;
    /// Where it enters them, and where it passes the near plane of each axis.
    SimdF entries;
    SimdF near[3];

    /// The slab test of four boxes; `get_plane(axis, offset)` gives the distances to a plane of
    /// each. The running value is the second operand, so that a NaN lane never culls. No box is
    /// entered beyond `limit`, nor any if that is a NaN.
    template <typename GetPlane>
    GAS_FORCE_INLINE GasWideHits(const GasWideRay& ray, const SimdF& limit,
                                 const GetPlane& get_plane) {
        near[0] = get_plane(0, ray.near_planes[0]);
        near[1] = get_plane(1, ray.near_planes[1]);
        near[2] = get_plane(2, ray.near_planes[2]);
        const SimdF far_x = get_plane(0, ray.far_planes[0]);
        const SimdF far_y = get_plane(1, ray.far_planes[1]);
        const SimdF far_z = get_plane(2, ray.far_planes[2]);
        entries = SimdF::max(near[2], SimdF::max(near[1], SimdF::max(near[0], ray.near_distance)));
        const SimdF exit = SimdF::min(far_z, SimdF::min(far_y, SimdF::min(far_x, limit)));
        reached = static_cast<unsigned>((entries <= exit).get_mask());
    }
};

/// The plane of four boxes `offset` bytes behind the first of their planes.
GAS_FORCE_INLINE SimdF gas_load_plane(const void* planes, std::size_t offset) {
    return SimdF::load(reinterpret_cast<const float*>(static_cast<const char*>(planes) + offset));
}

/// The wide nodes of a built tree.
class GasWideStaticBoxes {
  public:
    static constexpr bool is_motion = false;

    GasWideStaticBoxes() = default;
    template <typename Tree> GasWideStaticBoxes(const Tree& tree, const CtxShader&, float) {
        m_nodes = GasTraversalAccess::get_wide_nodes(tree);
    }

    bool is_ready() const { return m_nodes != nullptr; }

    /// What the others take for a node.
    using Record = const GasWideNode&;
    Record get_record(unsigned node) const { return m_nodes[node]; }

    const unsigned* get_references(Record record) const { return record.references; }

    GAS_FORCE_INLINE GasWideHits test(const GasWideRay& ray, const SimdF& limit,
                                      Record record) const {
        return {ray, limit, [&](unsigned axis, std::size_t plane) {
                    return (gas_load_plane(&record, plane) - ray.origin[axis]) *
                           ray.inverse_direction[axis];
                }};
    }

    /// Where the ray enters the halves' own boxes: lane 0 the first, lane 2 the second. Rounding is
    /// monotone and a parent's box the exact union of its children's, so along each axis its near
    /// distance is the least of theirs, once NaN has given way to the ray's own.
    SimdF get_half_entries(const GasWideRay& ray, Record, const GasWideHits& hits) const {
        const auto unite = [&](unsigned axis) {
            const SimdF clamped = SimdF::max(hits.near[axis], ray.near_distance);
            return SimdF::min(clamped, clamped.move_down());
        };
        return SimdF::max(SimdF::max(unite(0), unite(1)), unite(2));
    }

    GAS_FORCE_INLINE void prefetch(unsigned node) const {
        gas_prefetch(m_nodes + node);
        gas_prefetch(m_nodes[node].references);
    }

  private:
    const GasWideNode* m_nodes = nullptr;
};

/// The wide nodes in two neighbouring motion-blur samples, blended to the ray's time as
/// GasMotionBoxes does. The tree has at least two samples.
class GasWideMotionBoxes {
  public:
    static constexpr bool is_motion = true;

    GasWideMotionBoxes() = default;
    template <typename Tree>
    GasWideMotionBoxes(const Tree& tree, const CtxShader& shader, float time)
        : m_blend(shader, time, tree.get_motion_blur_sample_count()) {
        const unsigned sample = m_blend.sample;
        if (!GasTraversalAccess::has_wide_sample(tree, sample) ||
            !GasTraversalAccess::has_wide_sample(tree, sample + 1))
            return;
        const GasWideSampleRecords& samples = GasTraversalAccess::get_wide_samples(tree);
        m_record_size = samples.get_record_size();
        m_planes = samples.get_record(0) + samples.find_planes(sample);
        m_from_half_planes = samples.find_planes(sample) - samples.find_half_planes(sample);
        m_to_references = samples.find_references() - samples.find_planes(sample);
    }

    bool is_ready() const { return m_planes != nullptr; }

    /// The planes of the earlier sample.
    using Record = const char*;
    Record get_record(unsigned node) const { return m_planes + node * m_record_size; }

    const unsigned* get_references(Record record) const {
        return reinterpret_cast<const unsigned*>(record + m_to_references);
    }

    GAS_FORCE_INLINE GasWideHits test(const GasWideRay& ray, const SimdF& limit,
                                      Record record) const {
        return {ray, limit, [&](unsigned axis, std::size_t plane) {
                    const SimdF blended =
                        m_blend(gas_load_plane(record, plane),
                                gas_load_plane(record + GasWideSampleRecords::planes_size, plane));
                    return (blended - ray.origin[axis]) * ray.inverse_direction[axis];
                }};
    }

    SimdF get_half_entries(const GasWideRay& ray, Record record, const GasWideHits&) const {
        const char* const half_planes = record - m_from_half_planes;
        // Two floats for each four of the node's planes; what follows them goes nowhere.
        const auto get = [&](unsigned axis, const SimdF& entry) {
            const char* const earlier = half_planes + ray.near_planes[axis] / 2;
            const char* const later = earlier + GasWideSampleRecords::half_planes_size;
            const SimdF blended =
                m_blend(SimdF::load_unaligned(reinterpret_cast<const float*>(earlier)),
                        SimdF::load_unaligned(reinterpret_cast<const float*>(later)));
            return SimdF::max((blended - ray.origin[axis]) * ray.inverse_direction[axis], entry);
        };
        const SimdF entries = get(2, get(1, get(0, ray.near_distance)));
        return SimdF::interleave_low(entries, entries);
    }

    /// Forced inline, as gas_prefetch is: a compiler that keeps it as a function drops the calls.
    GAS_FORCE_INLINE void prefetch(unsigned node) const {
        const Record record = get_record(node);
        const char* const half_planes = record - m_from_half_planes;
        gas_prefetch(half_planes);
        gas_prefetch(record);
        gas_prefetch(record + 64);
        gas_prefetch(record + 128);
        gas_prefetch(record + 2 * GasWideSampleRecords::planes_size - 1);
        // Two samples fill the five lines of a record.
        if (m_record_size > 5 * GasWideSampleRecords::alignment) {
            gas_prefetch(half_planes + 2 * GasWideSampleRecords::half_planes_size - 1);
            gas_prefetch(record + m_to_references);
        }
    }

  private:
    GasSampleBlend m_blend;
    const char* m_planes = nullptr;
    std::size_t m_record_size = 0;
    std::size_t m_from_half_planes = 0;
    std::size_t m_to_references = 0;
};

} // namespace gas_abi1
