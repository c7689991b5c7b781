// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_compiler.h>
#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree.h>
#include <gas/tree/wide/gas_wide_tree.h>

inline namespace gas_abi1 {

/// Inline bodies of GasTree's traversal interface and leaf dispatch, for the files that instantiate
/// an engine. `node` is an index into the nodes, `leaf` what a leaf's record holds: its item.

inline bool GasTree::is_leaf_valid(GasTreeCtx&, const unsigned& leaf) const {
    return leaf < m_leaf_count;
}

inline bool GasTree::is_node_a_leaf(GasTreeCtx&, const unsigned& node) const {
    return (m_nodes[node].flags & Node::leaf_flag) != 0;
}

inline unsigned GasTree::get_leaf_value(GasTreeCtx&, const unsigned& node) const {
    return m_nodes[node].index;
}

inline void GasTree::get_node_children(GasTreeCtx&, const unsigned& node, unsigned& first,
                                       unsigned& second) const {
    first = m_nodes[node].index;
    second = first + 1;
}

inline void GasTree::prefetch_children(const unsigned& node) const {
    const Node* const children = m_nodes + m_nodes[node].index;
    gas_prefetch(children);
    gas_prefetch(children + 1); // often in the next cache line
}

inline unsigned GasTree::get_node_traversal_order(GasTreeCtx&, const unsigned& node,
                                                  const GMathBasicRay& ray) const {
    const unsigned code = (m_nodes[node].flags & Node::order_mask) >> Node::order_shift;
    return gas_host::get_sign(ray, code & 3) ^ code >> 2;
}

inline void GasTree::get_node_bbox(GasTreeCtx&, const unsigned& node, GasBbox& bbox) const {
    const Node& record = m_nodes[node];
    bbox = {{record.bbox_min.x, record.bbox_min.y, record.bbox_min.z, 0.0f},
            {record.bbox_max.x, record.bbox_max.y, record.bbox_max.z, 0.0f}};
}

inline void GasTree::get_node_bbox(GasTreeCtx&, const unsigned& node, SimdF& min,
                                   SimdF& max) const {
    // The fourth lanes hold the record's integers, as floats often denormal: clear them before any
    // arithmetic, which would be slow on them.
    const float* lanes = &m_nodes[node].bbox_min.x;
    min = SimdF::load(lanes) & SimdF::s_mask_xyz;
    max = SimdF::load(lanes + 4) & SimdF::s_mask_xyz;
}

inline void GasTree::get_blurred_node_bbox(GasTreeCtx&, const unsigned& node,
                                           const unsigned& sample, GasBbox& bbox) const {
    const GMathBbox3<float>& box = m_motion_blur_bboxes[sample][node];
    bbox = {{box.min.x, box.min.y, box.min.z, 0.0f}, {box.max.x, box.max.y, box.max.z, 0.0f}};
}

inline void GasTree::get_blurred_node_bbox(GasTreeCtx&, const unsigned& node,
                                           const unsigned& sample, SimdF& min, SimdF& max) const {
    // The second load reads one float past the box; the last box of an array has it to spare.
    const float* lanes = &m_motion_blur_bboxes[sample][node].min.x;
    min = SimdF::load_unaligned(lanes) & SimdF::s_mask_xyz;
    max = SimdF::load_unaligned(lanes + 3) & SimdF::s_mask_xyz;
}

inline bool GasTree::has_sample(const unsigned& sample) const {
    return sample < m_motion_blur_sample_count && m_motion_blur_bboxes[sample];
}

inline bool GasTree::are_boxes_ordered() const { return m_wide_tree->are_boxes_ordered(); }

inline const GasWideNode* GasTree::get_wide_nodes() const { return m_wide_tree->get_nodes(); }

/// Not where a box of the sample is not ordered and finite.
inline bool GasTree::has_wide_sample(const unsigned& sample) const {
    return m_wide_tree->has_sample(sample, m_motion_blur_bboxes[sample]);
}

inline const GasWideSampleRecords& GasTree::get_wide_samples() const {
    return m_wide_tree->get_samples();
}

/// The item that callbacks hear of: the index array's entry where there is one.
inline const unsigned* GasTree::find_item(const unsigned& leaf) const {
    return m_items ? m_items + leaf : &leaf;
}

inline void GasTree::leaf_ray_hit_static(const unsigned& leaf, const CtxEval& eval,
                                         CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    GasTraversalAccess::call_leaf<GasRayCall::hit_static>(*this, leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_static(GasTreeCtx&, const unsigned& leaf, const CtxEval& eval,
                                         CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_static(leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_motion(const unsigned& leaf, const CtxEval& eval,
                                         CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    GasTraversalAccess::call_leaf<GasRayCall::hit_motion>(*this, leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_motion(GasTreeCtx&, const unsigned& leaf, const CtxEval& eval,
                                         CtxShader& shader, GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_motion(leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_nearest_static(const unsigned& leaf, const CtxEval& eval,
                                                 CtxShader& shader,
                                                 GeometryRaytraceCtx& ctx) const {
    GasTraversalAccess::call_leaf<GasRayCall::nearest_static>(*this, leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_nearest_static(GasTreeCtx&, const unsigned& leaf,
                                                 const CtxEval& eval, CtxShader& shader,
                                                 GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_nearest_static(leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_nearest_motion(const unsigned& leaf, const CtxEval& eval,
                                                 CtxShader& shader,
                                                 GeometryRaytraceCtx& ctx) const {
    GasTraversalAccess::call_leaf<GasRayCall::nearest_motion>(*this, leaf, eval, shader, ctx);
}

inline void GasTree::leaf_ray_hit_nearest_motion(GasTreeCtx&, const unsigned& leaf,
                                                 const CtxEval& eval, CtxShader& shader,
                                                 GeometryRaytraceCtx& ctx) const {
    leaf_ray_hit_nearest_motion(leaf, eval, shader, ctx);
}

} // namespace gas_abi1
