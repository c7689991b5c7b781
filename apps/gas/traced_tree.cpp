#include "traced_tree.h"

#include <chrono>

#include "box_padding.h"
#include "memory_peak.h"
#include "tree_scale.h"

namespace gas_app {

namespace {

// Where the classes of trees differ in their arguments.

void create(GasTree& tree, const TracedTree::ItemBoxes& boxes, AppProgressBar& progress_bar,
            float progress_share) {
    tree.create(boxes, nullptr, &progress_bar, progress_share);
}

/// The build fills a whole bar. So it gets one of its own, which nobody sees.
void create(GasCompressedTree& tree, const TracedTree::ItemBoxes& boxes,
            AppProgressBar& progress_bar, float progress_share) {
    AppProgressBar unseen(progress_bar.get_app(), "", false, nullptr);
    tree.create(boxes, nullptr, &unseen);
    progress_bar.set_value(progress_bar.get_value() + progress_share);
}

/// `shortcut`: what the tree's queries want to know of trees with a single leaf, if anything.
template <typename Tree, typename... Shortcut>
void trace_tree(const Tree& tree, Query query, const CtxEval& eval, CtxShader& shader,
                GeometryRaytraceCtx& ctx, Shortcut... shortcut) {
    const bool moving = shader.get_motion_blur_sample_count() >= 2;
    TraceState& state = TraceState::of(eval);
    GasWalkCounts& counts = state.counts;
    if (state.walk == Walk::counting) {
        if (query == Query::any_hit && moving)
            gas_counted_ray_hit_motion(tree, eval, shader, ctx, shortcut..., counts);
        else if (query == Query::any_hit)
            gas_counted_ray_hit_static(tree, eval, shader, ctx, shortcut..., counts);
        else if (moving)
            gas_counted_ray_hit_nearest_motion(tree, eval, shader, ctx, shortcut..., counts);
        else
            gas_counted_ray_hit_nearest_static(tree, eval, shader, ctx, shortcut..., counts);
    } else if (query == Query::any_hit) {
        if (moving)
            tree.ray_hit_motion(eval, shader, ctx, shortcut...);
        else
            tree.ray_hit_static(eval, shader, ctx, shortcut...);
    } else {
        if (moving)
            tree.ray_hit_nearest_motion(eval, shader, ctx, shortcut...);
        else
            tree.ray_hit_nearest_static(eval, shader, ctx, shortcut...);
    }
}

void trace_any_tree(const GasTree& tree, Query query, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& ctx) {
    // Boxes of single-item trees are the callers' own: no need to test them twice.
    constexpr bool shortcut = true;
    trace_tree(tree, query, eval, shader, ctx, shortcut);
}

void trace_any_tree(const GasCompressedTree& tree, Query query, const CtxEval& eval,
                    CtxShader& shader, GeometryRaytraceCtx& ctx) {
    trace_tree(tree, query, eval, shader, ctx);
}

} // namespace

void TracedTree::set_callbacks(GasLeafCallback any_hit, GasLeafCallback nearest_hit, void* user) {
    m_any_hit = any_hit;
    m_nearest_hit = nearest_hit;
    m_user = user;
}

void TracedTree::choose_tree(TreeKind kind) {
    if (kind == TreeKind::compressed)
        m_tree.emplace<GasCompressedTree>();
    else
        m_tree.emplace<GasTree>();
    std::visit(
        [&](auto& tree) { tree.set_leaf_raytrace_callbacks(m_any_hit, m_nearest_hit, m_user); },
        m_tree);
}

void TracedTree::build(const Items& items, const TreeSettings& settings,
                       AppProgressBar& progress_bar, float progress_share) {
    choose_tree(settings.kind);
    m_items = items;
    m_scale = settings.kind == TreeKind::compressed ? get_tree_scale(get_bounds()) : 1.0;
    ItemBoxes boxes = get_built_boxes();

    std::visit(
        [&](auto& tree) {
            std::optional<MemoryPeak> peak;
            if (settings.measures_memory)
                peak.emplace();
            const auto start = std::chrono::steady_clock::now();
            create(tree, boxes, progress_bar, progress_share);
            const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
            m_build_seconds = seconds.count();
            m_build_peak = peak ? peak->get_growth() : std::nullopt;

            if (m_items.sample_count < 2)
                return;
            tree.set_motion_blur_sample_count(m_items.sample_count);
            for (unsigned sample = 0; sample < m_items.sample_count; ++sample) {
                fill_boxes(sample, boxes);
                tree.refit_motion_blur_sample(boxes, sample);
            }
        },
        m_tree);
}

/// Around the padded boxes of all samples.
Box TracedTree::get_bounds() const {
    Box bounds = empty_box();
    for (unsigned sample = 0; sample < m_items.sample_count; ++sample)
        for (unsigned item = 0; item < m_items.item_count; ++item)
            grow(bounds, m_items.get_box(item, sample));
    const Vec3 all{m_items.padding, m_items.padding, m_items.padding};
    return {bounds.min - all, bounds.max + all};
}

void TracedTree::fill_boxes(unsigned sample, ItemBoxes& boxes) const {
    for (unsigned item = 0; item < m_items.item_count; ++item)
        boxes[item] = pad_box(m_items.get_box(item, sample), m_items.padding, m_scale);
}

TracedTree::ItemBoxes TracedTree::get_built_boxes() const {
    ItemBoxes boxes(m_items.item_count);
    fill_boxes(get_built_sample(), boxes);
    return boxes;
}

std::size_t TracedTree::get_memory_size() const {
    return std::visit([](const auto& tree) { return tree.get_memory_size(); }, m_tree);
}

Box TracedTree::get_box(unsigned sample) const {
    return std::visit(
        [&](const auto& tree) {
            const Box box =
                to_double(tree.get_motion_blur_sample_count() >= 2 ? tree.get_blurred_bbox(sample)
                                                                   : tree.get_bbox());
            const double inverse = 1.0 / m_scale;
            return Box{box.min * inverse, box.max * inverse};
        },
        m_tree);
}

void TracedTree::trace(Query query, const CtxEval& eval, CtxShader& shader,
                       GeometryRaytraceCtx& ctx) const {
    if (TraceState::of(eval).walk != Walk::brute_force) {
        std::visit([&](const auto& tree) { trace_any_tree(tree, query, eval, shader, ctx); },
                   m_tree);
        return;
    }
    const GasLeafCallback callback = query == Query::any_hit ? m_any_hit : m_nearest_hit;
    for (unsigned item = 0; item < m_items.item_count; ++item)
        callback(m_user, item, eval, shader, ctx);
}

} // namespace gas_app
