#pragma once

#include <cassert>

#include <gas/traversal/gas_traversal_access.h>

/// Node sources: where a walk's boxes come from, and which callbacks go with them.

/// The boxes of the built tree.
template <GasTraversable Tree> class GasStaticNodes {
  public:
    static constexpr bool is_motion = false;

    GasStaticNodes(const Tree& tree, GasTreeCtx& ctx, const CtxShader&, float)
        : m_tree(tree), m_ctx(ctx) {}

    /// Whether there is anything to walk.
    bool is_ready() const { return true; }

    void get_bbox(unsigned node, SimdF& min, SimdF& max) const {
        GasTraversalAccess::get_node_bbox(m_tree, m_ctx, node, min, max);
    }

  private:
    const Tree& m_tree;
    GasTreeCtx& m_ctx;
};

/// The boxes of two neighbouring motion-blur samples, blended to the ray's time. The tree has at
/// least two samples.
template <GasTraversable Tree> class GasMotionNodes {
  public:
    static constexpr bool is_motion = true;

    GasMotionNodes(const Tree& tree, GasTreeCtx& ctx, const CtxShader& shader, float time)
        : m_tree(tree), m_ctx(ctx) {
        float fraction = 0.0f;
        gas_host::get_motion_blur(shader).get_time_spanf(time, m_sample, fraction);
        const unsigned last = tree.get_motion_blur_sample_count() - 2;
        assert(m_sample <= last && "the shader has more motion-blur samples than the tree");
        if (m_sample > last)
            m_sample = last;
        m_fraction = SimdF(fraction);
        m_rest = SimdF(1.0f - fraction);
    }

    bool is_ready() const {
        const bool filled = GasTraversalAccess::has_sample(m_tree, m_sample) &&
                            GasTraversalAccess::has_sample(m_tree, m_sample + 1);
        assert(filled && "a motion-blur sample was never filled");
        return filled;
    }

    void get_bbox(unsigned node, SimdF& min, SimdF& max) const {
        SimdF later_min;
        SimdF later_max;
        GasTraversalAccess::get_blurred_node_bbox(m_tree, m_ctx, node, m_sample, min, max);
        GasTraversalAccess::get_blurred_node_bbox(m_tree, m_ctx, node, m_sample + 1, later_min,
                                                  later_max);
        min = later_min * m_fraction + min * m_rest;
        max = later_max * m_fraction + max * m_rest;
    }

  private:
    const Tree& m_tree;
    GasTreeCtx& m_ctx;
    unsigned m_sample = 0;
    SimdF m_fraction;
    SimdF m_rest;
};
