// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>

#include <gas/core/gas_lane_box.h>
#include <gas/traversal/query/gas_traversal_access.h>

inline namespace gas_abi1 {

/// Node sources: a walk's current node, where boxes come from, and how a pending child is kept on
/// the stack.

/// Two neighbouring motion-blur samples and how they blend at a ray's time.
struct GasSampleBlend {
    unsigned sample;
    /// The share of the later sample, and of the earlier one.
    SimdF fraction;
    SimdF rest;

    GasSampleBlend() = default;
    /// Of a tree with `sample_count` (2 or more) samples.
    GasSampleBlend(const CtxShader& shader, float time, unsigned sample_count) {
        // Filled in through locals: a node source whose own members were handed out by reference
        // could not be kept in registers.
        unsigned earlier = 0;
        float share = 0.0f;
        gas_host::get_motion_blur(shader).get_time_spanf(time, earlier, share);
        const unsigned last = sample_count - 2;
        assert(earlier <= last && "the shader has more motion-blur samples than the tree");
        sample = earlier > last ? last : earlier;
        fraction = SimdF(share);
        rest = SimdF(1.0f - share);
    }

    SimdF operator()(const SimdF& earlier, const SimdF& later) const {
        return later * fraction + earlier * rest;
    }
};

/// Walks any tree through its traversal interface. `Boxes` reads the box of a node.
template <GasTraversable Tree, typename Boxes> class GasTreeNodes {
  public:
    static constexpr bool is_motion = Boxes::is_motion;
    /// Whether a cached leaf is looked at only when the tree has such a leaf.
    static constexpr bool checks_cached_leaf = true;

    /// Starts at the root.
    GasTreeNodes(const Tree& tree, GasTreeCtx& ctx, const CtxShader& shader, float time)
        : m_tree(tree), m_ctx(ctx), m_boxes(tree, shader, time) {
        GasTraversalAccess::init_traversal(tree, ctx);
    }
    GasTreeNodes(const GasTreeNodes&) = delete;
    GasTreeNodes& operator=(const GasTreeNodes&) = delete;
    ~GasTreeNodes() { GasTraversalAccess::deinit_traversal(m_tree, m_ctx); }

    /// Whether the samples that the ray needs were filled.
    bool is_ready() const { return m_boxes.is_ready(m_tree); }

    /// Whether the current node is a leaf, and which.
    bool is_leaf() const { return GasTraversalAccess::is_node_a_leaf(m_tree, m_ctx, m_node); }
    unsigned get_leaf() const { return GasTraversalAccess::get_leaf_value(m_tree, m_ctx, m_node); }

    /// Gives the boxes of the current node's children. Each child is then moved to, pushed, or
    /// dropped; a child that is pushed goes before its sibling is moved to.
    void expand(GasBoxPair& boxes) {
        GasTraversalAccess::get_node_children(m_tree, m_ctx, m_node, m_children[0], m_children[1]);
        drop();
        m_boxes.get(m_tree, m_ctx, m_children[0], boxes.first.min, boxes.first.max);
        m_boxes.get(m_tree, m_ctx, m_children[1], boxes.second.min, boxes.second.max);
    }
    template <unsigned child> void move_to_child() { m_node = m_children[child]; }
    template <unsigned child> void drop_child() const {
        GasTraversalAccess::free_node(m_tree, m_ctx, m_children[child]);
    }
    /// Keeps the child in `entry`, at `position` of the stack.
    template <unsigned child> void push_child(GasStackEntry& entry, unsigned) const {
        entry.node = m_children[child];
    }
    /// Moves to a pending node.
    void pop(const GasStackEntry& entry, unsigned) { m_node = entry.node; }
    /// The current node is done with: visited as a leaf, or out of reach.
    void drop() const { GasTraversalAccess::free_node(m_tree, m_ctx, m_node); }

  private:
    const Tree& m_tree;
    GasTreeCtx& m_ctx;
    const Boxes m_boxes;
    unsigned m_node = 0;
    unsigned m_children[2] = {0, 0};
};

/// The boxes of the built tree.
struct GasStaticBoxes {
    static constexpr bool is_motion = false;

    GasStaticBoxes() = default;
    template <typename Tree> GasStaticBoxes(const Tree&, const CtxShader&, float) {}

    template <typename Tree> static bool is_ready(const Tree&) { return true; }

    template <typename Tree>
    static void get(const Tree& tree, GasTreeCtx& ctx, unsigned node, SimdF& min, SimdF& max) {
        GasTraversalAccess::get_node_bbox(tree, ctx, node, min, max);
    }
};

/// The boxes of two neighbouring motion-blur samples, blended to the ray's time. The tree has at
/// least two samples.
class GasMotionBoxes {
  public:
    static constexpr bool is_motion = true;

    GasMotionBoxes() = default;
    template <typename Tree>
    GasMotionBoxes(const Tree& tree, const CtxShader& shader, float time)
        : m_blend(shader, time, tree.get_motion_blur_sample_count()) {}

    template <typename Tree> bool is_ready(const Tree& tree) const {
        return GasTraversalAccess::has_sample(tree, m_blend.sample) &&
               GasTraversalAccess::has_sample(tree, m_blend.sample + 1);
    }

    template <typename Tree>
    void get(const Tree& tree, GasTreeCtx& ctx, unsigned node, SimdF& min, SimdF& max) const {
        SimdF later_min;
        SimdF later_max;
        GasTraversalAccess::get_blurred_node_bbox(tree, ctx, node, m_blend.sample, min, max);
        GasTraversalAccess::get_blurred_node_bbox(tree, ctx, node, m_blend.sample + 1, later_min,
                                                  later_max);
        min = m_blend(min, later_min);
        max = m_blend(max, later_max);
    }

  private:
    GasSampleBlend m_blend;
};

template <typename Tree> using GasStaticNodes = GasTreeNodes<Tree, GasStaticBoxes>;
template <typename Tree> using GasMotionNodes = GasTreeNodes<Tree, GasMotionBoxes>;

/// The node sources of a tree class, which may have faster ones of its own.
template <typename Tree> struct GasNodeSources {
    using Static = GasStaticNodes<Tree>;
    using Motion = GasMotionNodes<Tree>;
};

} // namespace gas_abi1
