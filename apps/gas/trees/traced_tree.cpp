// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/traced_tree.h>

#include <chrono>
#include <type_traits>

#include <gas/diagnostics/gas_validate.h>
#include <gas/scene/gas_scene_scale.h>

#include <apps/common/tree_calls.h>
#include <apps/gas/report/compressed_statistics.h>
#include <apps/gas/report/memory_peak.h>
#include <apps/gas/report/tree_statistics.h>

namespace gas_app {

namespace {

// The tree classes differ in their arguments.

void create(GasTree& tree, const TracedTree::ItemBoxes& boxes, unsigned thread_count,
            AppProgressBar& progress_bar) {
    SysThreadTaskManager manager(nullptr);
    const float whole_bar = 1.0f;
    tree.create(boxes, nullptr, &progress_bar, whole_bar, manager, thread_count);
}

void create(GasCompressedTree& tree, const TracedTree::ItemBoxes& boxes, unsigned thread_count,
            AppProgressBar& progress_bar) {
    SysThreadTaskManager manager(nullptr);
    tree.create(boxes, nullptr, &progress_bar, manager, thread_count);
}

/// The steps of a build as shares of its progress bar, about as long as they take.
struct BuildShares {
    /// Boxes of the items.
    float boxes;
    /// The tree over them.
    float tree;
    /// Each motion sample.
    float sample;

    explicit BuildShares(unsigned sample_count) {
        // Compared with the boxes of all items.
        constexpr float tree_time = 2.0f;
        constexpr float sample_time = 1.5f;
        const float samples = sample_count < 2 ? 0.0f : static_cast<float>(sample_count);
        boxes = 1.0f / (1.0f + tree_time + samples * sample_time);
        tree = tree_time * boxes;
        sample = sample_time * boxes;
    }
};

/// `shortcut`: the queries' argument about trees of a single leaf, where they have one.
template <typename Tree, typename... Shortcut>
void trace_tree(const Tree& tree, Query query, const CtxEval& eval, CtxShader& shader,
                GeometryRaytraceCtx& ctx, Shortcut... shortcut) {
    TraceState& state = TraceState::of(eval);
    const bool is_moving = shader.get_motion_blur_sample_count() >= 2;
    const GasRayCall call = get_ray_call(query == Query::nearest_hit, is_moving);
    const GasRayWay way = state.walk == Walk::stream ? GasRayWay::stream : GasRayWay::query;
    if (state.counts_walks)
        gas_counted_rays(tree, call, way, eval, shader, ctx, shortcut..., state.counts);
    else
        (tree.*TreeCalls<Tree>::get(call, way))(eval, shader, ctx, shortcut...);
}

template <typename Tree>
void trace_any_tree(const Tree& tree, Query query, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& ctx) {
    // The caller has already tested the box of a single-item tree.
    constexpr bool shortcut = true;
    if constexpr (std::is_same_v<Tree, GasTree>)
        trace_tree(tree, query, eval, shader, ctx, shortcut);
    else
        trace_tree(tree, query, eval, shader, ctx);
}

std::size_t get_total_bytes(const GasTree& tree) {
    return tree.get_memory_size() + tree.get_wide_nodes_size() + get_motion_bytes(tree);
}

std::size_t get_total_bytes(const GasCompressedTree& tree) {
    return tree.get_memory_size() + get_motion_bytes(tree);
}

std::size_t get_total_bytes(const GasGridTree& grid) {
    return get_grid_statistics(grid).get_total_bytes();
}

} // namespace

void TracedTree::set_callbacks(GasLeafCallback any_hit, GasLeafCallback nearest_hit, void* user) {
    m_any_hit = any_hit;
    m_nearest_hit = nearest_hit;
    m_user = user;
}

void TracedTree::choose_tree(const TreeSettings& settings) {
    if (settings.kind == TreeKind::grid)
        m_items.serve(m_tree.emplace<GasGridTree>());
    else if (settings.kind == TreeKind::compressed)
        m_tree.emplace<GasCompressedTree>();
    else
        m_tree.emplace<GasTree>().set_wide_nodes(settings.has_wide_nodes);
    std::visit(
        [&](auto& tree) { tree.set_leaf_raytrace_callbacks(m_any_hit, m_nearest_hit, m_user); },
        m_tree);
}

void TracedTree::build(const Items& items, const TreeSettings& settings,
                       AppProgressBar& progress_bar, float progress_share) {
    m_items.describe(items);
    const bool is_plain = settings.kind == TreeKind::plain;
    m_items.set_scale(is_plain ? 1.0 : gas_get_scene_scale(m_items.get_padded_bounds()));
    AppProgressBar part(progress_bar, progress_share);
    if (!reuse(settings, part)) {
        choose_tree(settings);
        std::visit([&](auto& tree) { build_tree(tree, settings, part); }, m_tree);
        m_step = TreeStep::built;
        m_is_refitted = false;
    }
    part.set_value(1.0f);
    m_asked_by_build = m_items.get_asked_count();
}

/// Runs `create` and records its memory.
template <typename Create> void TracedTree::measure(bool measures_memory, const Create& create) {
    std::optional<MemoryPeak> peak;
    if (measures_memory)
        peak.emplace();
    const auto start = std::chrono::steady_clock::now();
    create();
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - start;
    m_build_seconds = seconds.count();
    m_build_peak = peak ? peak->get_growth() : std::nullopt;
}

template <typename Tree>
void TracedTree::build_tree(Tree& tree, const TreeSettings& settings,
                            AppProgressBar& progress_bar) {
    const unsigned sample_count = m_items.get().sample_count;
    const BuildShares shares(sample_count);
    ItemBoxes boxes(m_items.get().item_count);
    fill(m_items.get_built_sample(), boxes, progress_bar, shares.boxes);
    if (!settings.saved_path.empty())
        return map_tree_over(boxes, settings);
    AppProgressBar part(progress_bar, shares.tree);
    measure(settings.measures_memory, [&] { create(tree, boxes, settings.thread_count, part); });
    if constexpr (std::is_same_v<Tree, GasTree>)
        if (settings.is_animated) {
            m_boxes_hash = m_built_hash = gas_hash_boxes(&boxes[0], boxes.get_count());
            m_cost = m_built_cost = get_tree_statistics(tree).sah_cost;
        }

    if (sample_count < 2)
        return;
    tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        fill(sample, boxes, progress_bar, shares.sample);
        tree.refit_motion_blur_sample(boxes, sample);
    }
}

bool TracedTree::keep(const TreeSettings& settings) {
    if (settings.kind != TreeKind::plain || settings.reuse == TreeReuse::none ||
        (settings.reuse == TreeReuse::same_boxes && m_is_refitted))
        return false;
    m_step = TreeStep::kept;
    return true;
}

/// Whether the plain tree of an earlier frame serves this one, too.
bool TracedTree::reuse(const TreeSettings& settings, AppProgressBar& progress_bar) {
    GasTree* const tree = std::get_if<GasTree>(&m_tree);
    if (settings.reuse == TreeReuse::none || settings.kind != TreeKind::plain || !tree ||
        tree->get_leaf_count() != m_items.get().item_count)
        return false;
    const BuildShares shares(m_items.get().sample_count);
    ItemBoxes boxes(m_items.get().item_count);
    fill(m_items.get_built_sample(), boxes, progress_bar, shares.boxes);
    const std::uint64_t hash = gas_hash_boxes(&boxes[0], boxes.get_count());
    // What stands still has no samples.
    const bool is_same = hash == m_boxes_hash && m_items.get().sample_count < 2;
    if (settings.reuse == TreeReuse::same_boxes) {
        m_step = TreeStep::kept;
        return is_same && hash == m_built_hash && !m_is_refitted;
    }
    m_step = is_same ? TreeStep::kept : TreeStep::refitted;
    if (is_same)
        return true;
    tree->refit(boxes);
    m_boxes_hash = hash;
    m_is_refitted = true;
    m_cost = get_tree_statistics(*tree).sah_cost;
    // Written so that a NaN is built anew.
    if (!(m_cost <= settings.refit_limit * m_built_cost))
        return false;
    for (unsigned sample = 0; sample < tree->get_motion_blur_sample_count(); ++sample) {
        fill(sample, boxes, progress_bar, shares.sample);
        tree->refit_motion_blur_sample(boxes, sample);
    }
    return true;
}

/// A grid's build asks for the box of each item once, and for each motion sample once more; it does
/// little else.
void TracedTree::build_tree(GasGridTree& grid, const TreeSettings& settings,
                            AppProgressBar& progress_bar) {
    const unsigned item_count = m_items.get().item_count;
    const unsigned sample_count = m_items.get().sample_count;
    const unsigned rounds = 1 + (sample_count < 2 ? 0 : sample_count);
    SharedProgress progress(progress_bar, 1.0f, std::uint64_t{item_count} * rounds);
    const TreeItems::Reporting reporting(m_items, progress);
    // Carries the build method and, to the cells' bars, the title.
    AppProgressBar unseen(progress_bar.get_app(), progress_bar.get_title(), false, nullptr);
    measure(settings.measures_memory, [&] {
        SysThreadTaskManager manager(nullptr);
        grid.create(item_count, settings.get_target_cell_count(item_count), nullptr,
                    settings.has_cell_bars ? &unseen : nullptr, manager, settings.thread_count);
    });
    if (sample_count >= 2)
        grid.update_motion_blur({0.0f, 1.0f, sample_count});
    progress.finish();
}

/// Fills in the boxes of a sample, and `share` of the bar meanwhile.
void TracedTree::fill(unsigned sample, ItemBoxes& boxes, AppProgressBar& progress_bar,
                      float share) {
    SharedProgress progress(progress_bar, share, boxes.get_count());
    const TreeItems::Reporting reporting(m_items, progress);
    m_items.fill(sample, boxes);
    progress.finish();
}

TracedTree::ItemBoxes TracedTree::get_built_boxes() const {
    ItemBoxes boxes(m_items.get().item_count);
    m_items.fill(m_items.get_built_sample(), boxes);
    return boxes;
}

std::vector<std::string> TracedTree::validate() const {
    if (const auto* grid = std::get_if<GasGridTree>(&m_tree))
        return gas_validate(*grid);
    GasValidateSettings settings;
    ItemBoxes boxes;
    std::vector<std::string> sentences;
    if (!m_is_loaded) {
        boxes = get_built_boxes();
        sentences = gas_validate_boxes(boxes.get_items(), boxes.get_count());
        settings.bboxes = boxes.get_items();
    }
    const auto* plain = std::get_if<GasTree>(&m_tree);
    const std::vector<std::string> more =
        plain ? gas_validate(*plain, settings)
              : gas_validate(std::get<GasCompressedTree>(m_tree), settings);
    sentences.insert(sentences.end(), more.begin(), more.end());
    return sentences;
}

std::size_t TracedTree::get_memory_size() const {
    return std::visit([](const auto& tree) { return tree.get_memory_size(); }, m_tree);
}

std::size_t TracedTree::get_wide_bytes() const {
    const auto* const plain = std::get_if<GasTree>(&m_tree);
    return plain ? plain->get_wide_nodes_size() : 0;
}

std::size_t TracedTree::get_total_bytes() const {
    return std::visit([](const auto& tree) { return gas_app::get_total_bytes(tree); }, m_tree);
}

Box TracedTree::get_box(unsigned sample) const {
    return std::visit(
        [&](const auto& tree) {
            const Box box =
                to_double(tree.get_motion_blur_sample_count() >= 2 ? tree.get_blurred_bbox(sample)
                                                                   : tree.get_bbox());
            return gas_scale_box(box, 1.0 / m_items.get_scale());
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
    for (unsigned item = 0; item < m_items.get().item_count; ++item)
        callback(m_user, item, eval, shader, ctx);
}

} // namespace gas_app
