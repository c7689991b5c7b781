// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>

#include <gas/compressed/gas_box_codec.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

inline namespace gas_abi1 {

/// Inline bodies of GasCompressedTree's traversal interface and leaf dispatch.

/// What a slot holds beside its box.
struct GasCompressedNodeState {
    static constexpr unsigned leaf_flag = 1u << 16;

    /// A node, or a leaf's position.
    unsigned reference;
    unsigned flags;
};

static_assert(sizeof(GasCompressedNodeState) == 8, "two words");

inline GasCompressedNodeState* gas_get_node_states(const GasTreeCtx& ctx) {
    return static_cast<GasCompressedNodeState*>(ctx.node_states);
}

inline void GasCompressedTree::init_traversal(GasTreeCtx& ctx) const {
    assert(m_leaf_count >= 2 && "a tree of one leaf is not walked");
    assert(ctx.stack_capacity >= 2 * m_depth && "the frame's stack has room for the walk's slots");
    ctx.reserve_slots();
    ctx.counters[0] = 0;
    ctx.counters[1] = 0;
    ctx.decoded_boxes[0] = {{m_bbox.min.x, m_bbox.min.y, m_bbox.min.z, 0.0f},
                            {m_bbox.max.x, m_bbox.max.y, m_bbox.max.z, 0.0f}};
    gas_get_node_states(ctx)[0] = {0, 0};
    take_slot(ctx);
}

inline unsigned GasCompressedTree::take_slot(GasTreeCtx& ctx) const {
    unsigned& unused = ctx.counters[0];
    unsigned& freed_count = ctx.counters[1];
    if (freed_count != 0)
        return ctx.indices[--freed_count];
    assert(unused < ctx.stack_capacity && "a walk frees each slot that it is done with");
    return unused++;
}

inline void GasCompressedTree::free_node(GasTreeCtx& ctx, const unsigned& slot) const {
    assert(ctx.counters[1] < ctx.counters[0] && "a slot is freed once");
    ctx.indices[ctx.counters[1]++] = slot;
}

inline void GasCompressedTree::get_node_children(GasTreeCtx& ctx, const unsigned& slot,
                                                 unsigned& first, unsigned& second) const {
    GasCompressedNodeState* const states = gas_get_node_states(ctx);
    const GasCompressedNode& record = m_nodes[states[slot].reference];
    const GasBbox& parent = ctx.decoded_boxes[slot];
    GasBoxPair boxes;
    gas_decode_box_pair(record.get_bytes(), SimdF::load(parent.min), SimdF::load(parent.max),
                        boxes);

    const auto fill = [&](unsigned child, unsigned leaf_flag, const SimdF& min, const SimdF& max) {
        const unsigned taken = take_slot(ctx);
        states[taken] = {record.children[child],
                         record.flags & leaf_flag ? GasCompressedNodeState::leaf_flag : 0};
        min.store(ctx.decoded_boxes[taken].min);
        max.store(ctx.decoded_boxes[taken].max);
        return taken;
    };
    first = fill(0, GasCompressedNode::first_leaf, boxes.first.min, boxes.first.max);
    second = fill(1, GasCompressedNode::second_leaf, boxes.second.min, boxes.second.max);
}

inline bool GasCompressedTree::is_node_a_leaf(GasTreeCtx& ctx, const unsigned& slot) const {
    return (gas_get_node_states(ctx)[slot].flags & GasCompressedNodeState::leaf_flag) != 0;
}

inline unsigned GasCompressedTree::get_leaf_value(GasTreeCtx& ctx, const unsigned& slot) const {
    return gas_get_node_states(ctx)[slot].reference;
}

inline bool GasCompressedTree::is_leaf_valid(GasTreeCtx&, const unsigned& leaf) const {
    return leaf < m_leaf_count;
}

inline unsigned GasCompressedTree::get_node_traversal_order(GasTreeCtx& ctx, const unsigned& slot,
                                                            const GMathBasicRay& ray) const {
    const unsigned flags = m_nodes[gas_get_node_states(ctx)[slot].reference].flags;
    const unsigned code = (flags & GasCompressedNode::order_mask) >> GasCompressedNode::order_shift;
    return gas_host::get_sign(ray, code & 3) ^ code >> 2;
}

inline void GasCompressedTree::get_node_bbox(GasTreeCtx& ctx, const unsigned& slot,
                                             GasBbox& bbox) const {
    bbox = ctx.decoded_boxes[slot];
}

inline void GasCompressedTree::get_node_bbox(GasTreeCtx& ctx, const unsigned& slot, SimdF& min,
                                             SimdF& max) const {
    min = SimdF::load(ctx.decoded_boxes[slot].min);
    max = SimdF::load(ctx.decoded_boxes[slot].max);
}

inline void GasCompressedTree::get_blurred_node_bbox(GasTreeCtx& ctx, const unsigned& slot,
                                                     const unsigned&, GasBbox& bbox) const {
    get_node_bbox(ctx, slot, bbox);
}

inline void GasCompressedTree::get_blurred_node_bbox(GasTreeCtx& ctx, const unsigned& slot,
                                                     const unsigned&, SimdF& min,
                                                     SimdF& max) const {
    get_node_bbox(ctx, slot, min, max);
}

/// The item that callbacks hear of; null for a leaf beyond the index array, which a cached leaf of
/// a former, larger tree may be.
inline const unsigned* GasCompressedTree::find_item(const unsigned& leaf) const {
    if (!m_items)
        return &leaf;
    return leaf < m_leaf_count ? m_items + leaf : nullptr;
}

inline void GasCompressedTree::call_leaf(GasRayCall call, const unsigned& leaf, const CtxEval& eval,
                                         CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    if (const unsigned* const item = find_item(leaf))
        m_leaf_callbacks.get(call)(m_leaf_callbacks.user, *item, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_static(const unsigned& leaf, const CtxEval& eval,
                                                   CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    call_leaf(GasRayCall::hit_static, leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_static(GasTreeCtx&, const unsigned& leaf,
                                                   const CtxEval& eval, CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_static(leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_motion(const unsigned& leaf, const CtxEval& eval,
                                                   CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    call_leaf(GasRayCall::hit_motion, leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_motion(GasTreeCtx&, const unsigned& leaf,
                                                   const CtxEval& eval, CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_motion(leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_nearest_static(const unsigned& leaf,
                                                           const CtxEval& eval, CtxShader& shader,
                                                           GeometryRaytraceCtx& ctx) const {
    call_leaf(GasRayCall::nearest_static, leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_nearest_static(GasTreeCtx&, const unsigned& leaf,
                                                           const CtxEval& eval, CtxShader& shader,
                                                           GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_nearest_static(leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_nearest_motion(const unsigned& leaf,
                                                           const CtxEval& eval, CtxShader& shader,
                                                           GeometryRaytraceCtx& ctx) const {
    call_leaf(GasRayCall::nearest_motion, leaf, eval, shader, ctx);
}

inline void GasCompressedTree::leaf_ray_hit_nearest_motion(GasTreeCtx&, const unsigned& leaf,
                                                           const CtxEval& eval, CtxShader& shader,
                                                           GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_nearest_motion(leaf, eval, shader, ctx);
}

} // namespace gas_abi1
