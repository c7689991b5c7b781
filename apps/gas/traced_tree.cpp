#include "traced_tree.h"

#include <chrono>

#include "box_padding.h"

namespace gas_app {

void TracedTree::set_callbacks(GasLeafCallback any_hit, GasLeafCallback nearest_hit, void* user) {
    m_any_hit = any_hit;
    m_nearest_hit = nearest_hit;
    m_user = user;
    m_tree.set_leaf_raytrace_callbacks(any_hit, nearest_hit, user);
}

void TracedTree::build(unsigned item_count, unsigned sample_count, const GetBox& get_box,
                       double padding, AppProgressBar& progress_bar, float progress_share) {
    m_item_count = item_count;
    m_padding = padding;
    CoreArray<GMathBbox3<float>> boxes(item_count);
    const auto fill = [&](unsigned sample) {
        for (unsigned item = 0; item < item_count; ++item)
            boxes[item] = pad_box(get_box(item, sample), padding);
    };

    fill(sample_count / 2);
    const auto start = std::chrono::steady_clock::now();
    m_tree.create(boxes, nullptr, &progress_bar, progress_share);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    m_build_seconds = seconds.count();

    if (sample_count < 2)
        return;
    m_tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        fill(sample);
        m_tree.refit_motion_blur_sample(boxes, sample);
    }
}

Box TracedTree::get_box(unsigned sample) const {
    return to_double(m_tree.get_motion_blur_sample_count() >= 2 ? m_tree.get_blurred_bbox(sample)
                                                                : m_tree.get_bbox());
}

void TracedTree::trace(Query query, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& ctx) const {
    if (TraceState::of(eval).walk != Walk::brute_force) {
        trace_with_tree(query, shader.get_motion_blur_sample_count() >= 2, eval, shader, ctx);
        return;
    }
    const GasLeafCallback callback = query == Query::any_hit ? m_any_hit : m_nearest_hit;
    for (unsigned item = 0; item < m_item_count; ++item)
        callback(m_user, item, eval, shader, ctx);
}

void TracedTree::trace_with_tree(Query query, bool moving, const CtxEval& eval, CtxShader& shader,
                                 GeometryRaytraceCtx& ctx) const {
    // Boxes of single-item trees are the callers' own: no need to test them twice.
    constexpr bool shortcut = true;
    TraceState& state = TraceState::of(eval);
    if (state.walk == Walk::counting) {
        const auto count = query == Query::any_hit
                               ? (moving ? gas_counted_ray_hit_motion : gas_counted_ray_hit_static)
                               : (moving ? gas_counted_ray_hit_nearest_motion
                                         : gas_counted_ray_hit_nearest_static);
        count(m_tree, eval, shader, ctx, shortcut, state.counts);
    } else if (query == Query::any_hit) {
        if (moving)
            m_tree.ray_hit_motion(eval, shader, ctx, shortcut);
        else
            m_tree.ray_hit_static(eval, shader, ctx, shortcut);
    } else {
        if (moving)
            m_tree.ray_hit_nearest_motion(eval, shader, ctx, shortcut);
        else
            m_tree.ray_hit_nearest_static(eval, shader, ctx, shortcut);
    }
}

} // namespace gas_app
