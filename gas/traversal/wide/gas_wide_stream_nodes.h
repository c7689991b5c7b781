// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/traversal/query/gas_ray_query.h>
#include <gas/traversal/wide/gas_wide_stream.h>

inline namespace gas_abi1 {

/// The wide nodes of a tree as streams take them: GasWideStaticBoxes or GasWideMotionBoxes.
template <typename Boxes> class GasWideStreamNodes {
  public:
    using Entry = GasWideEntry;
    using Ray = GasWideRay;
    static constexpr Entry stack_end = gas_wide_stack_end;
    /// Whether a step goes through the nodes of two rays.
    static constexpr bool go_by_twos = false;
    /// Up to which share of different nodes rays are better traced one by one, and how many it
    /// takes to go together; both as measured.
    static constexpr GasStreamShare most_differing = {2, 3};
    /// Above which share of leaves in what they visit, too.
    static constexpr GasStreamShare most_leaves = {1, 3};
    static constexpr unsigned least_together = 1;

    static unsigned get_reference(const Entry& entry) { return entry.reference; }
    /// Entries of a stack: up to three for each level, one below them that says that nothing is
    /// pending any more, and four that may be written but do not count.
    static std::size_t get_stack_size(unsigned depth) {
        constexpr std::size_t width = GasWideNode::width;
        return (width - 1) * depth + 1 + width;
    }

    GasWideStreamNodes() = default;
    template <typename Tree>
    GasWideStreamNodes(const Tree& tree, GasTreeCtx&, const CtxShader& shader, float time)
        : m_boxes(tree, shader, time) {}

    /// Whether they serve a ray.
    bool can_trace(const GasLaneRay& ray) const {
        return m_boxes.is_ready() && GasWideRay::can_trace(ray);
    }
    static void put_root(Entry& entry) { entry.reference = 0; }
    GAS_FORCE_INLINE void prefetch(unsigned node) const { m_boxes.prefetch(node); }

    /// Puts what a ray reaches of its node in place of that; how many entries that are.
    GAS_FORCE_INLINE static unsigned push(const GasStreamPlace<GasWideStreamNodes>& place) {
        return gas_push_wide(place.nodes.m_boxes, place.ray, place.limit, place.top->reference,
                             place.top);
    }

  private:
    Boxes m_boxes;
};

/// What the streams of a tree class go through, which may have nodes of its own for them. `Leaves`
/// says what a leaf is.
template <typename Tree, typename Leaves> struct GasStreamSources {
    using Static = GasWideStreamNodes<GasWideStaticBoxes>;
    using Motion = GasWideStreamNodes<GasWideMotionBoxes>;

    static constexpr bool exist = GasWideTraversable<Tree>;
    /// Whether this tree has them.
    static bool have(const Tree& tree) {
        return GasTraversalAccess::get_wide_nodes(tree) != nullptr;
    }
};

} // namespace gas_abi1
