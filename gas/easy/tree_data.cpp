// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/tree_data.h>

#include <algorithm>
#include <string>
#include <utility>

#include <gas/easy/build_threads.h>
#include <gas/easy/leaf_calls.h>
#include <gas/scene/gas_box_padding.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

namespace {

void give_boxes(void* user, const unsigned& count, const unsigned* items,
                GMathBbox3<float>* bboxes) {
    const GridBoxes& boxes = *static_cast<const GridBoxes*>(user);
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = boxes.space.to_tree(boxes.still(items[i], 0.0));
}

void give_boxes_at(void* user, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>* bboxes) {
    const GridBoxes& boxes = *static_cast<const GridBoxes*>(user);
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = boxes.motion_space.to_tree(boxes.moving(items[i], time));
}

void give_union_at(void* user, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>& bbox) {
    const GridBoxes& boxes = *static_cast<const GridBoxes*>(user);
    Extent extent;
    for (unsigned i = 0; i < count; ++i)
        extent.add(boxes.moving(items[i], time), items[i]);
    bbox = boxes.motion_space.to_tree(extent.bounds);
}

/// Stops a build where the program's function says so.
void tell_progress(void* user, const AppProgressBar&, float value) {
    if (!static_cast<const Options*>(user)->progress(static_cast<double>(value)))
        throw Stopped();
}

} // namespace

TreeData::TreeData(const Box* boxes, std::size_t count, const Options& options)
    : m_options(options) {
    start(count);
    m_extent = get_extent(boxes, count);
    m_space = make_space(m_extent, options.reach, is_scaled());
    if (get_kind() == Kind::grid) {
        const auto give = [kept = std::vector<Box>(boxes, boxes + count)](
                              std::uint32_t item, double) { return kept[item]; };
        m_grid_boxes.reset(new GridBoxes{give, nullptr, m_space, m_space});
    }
    build(convert(boxes, count, m_space));
}

TreeData::TreeData(std::size_t count, BoxFunction boxes, const Options& options)
    : m_options(options), m_asks_for_boxes(true) {
    if (!boxes)
        throw Error("a grid needs a function that gives boxes");
    m_options.kind = Kind::grid;
    start(count);
    for (std::uint32_t item = 0; item < m_count; ++item)
        m_extent.add(boxes(item, 0.0), item);
    m_space = make_space(m_extent, options.reach, true);
    HostBoxes converted(count);
    for (std::uint32_t item = 0; item < m_count; ++item)
        converted[item] = m_space.to_tree(boxes(item, 0.0));
    m_grid_boxes.reset(new GridBoxes{boxes, std::move(boxes), m_space, m_space});
    build(converted);
}

void TreeData::start(std::size_t count) {
    if (count > 0x7FFFFFFF)
        throw Error("a tree holds up to 2147483647 items, not " + std::to_string(count));
    if (m_options.items_per_cell == 0)
        throw Error("Options::items_per_cell is at least 1");
    m_count = static_cast<std::uint32_t>(count);
    if (m_options.kind == Kind::compressed)
        m_tree.emplace<GasCompressedTree>();
    else if (m_options.kind == Kind::grid)
        m_tree.emplace<GasGridTree>();
}

void TreeData::see(const Extent& extent, double reach) {
    const double padding = gas_get_box_padding(reach);
    m_seen_bounds = extent.bounds;
    m_seen_bounds.min = {extent.bounds.min.x - padding, extent.bounds.min.y - padding,
                         extent.bounds.min.z - padding};
    m_seen_bounds.max = {extent.bounds.max.x + padding, extent.bounds.max.y + padding,
                         extent.bounds.max.z + padding};
    m_ray_reach = reach;
}

void TreeData::build(const HostBoxes& boxes) {
    see(m_extent, m_space.reach);
    AppBase own_app(nullptr);
    // The cells of a grid have bars of the same application.
    AppBase& app = m_grid_boxes ? m_grid_boxes->app : own_app;
    app.set_build_method(static_cast<unsigned>(m_options.method));
    if (m_options.progress)
        app.set_progress_callback(tell_progress, &m_options);
    AppProgressBar* const bar = app.create_progress_bar(CoreString("build"), false);
    bar->set_value(0.0f);
    with_threads(m_options, [&](SysThreadTaskManager& manager, unsigned threads) {
        create(boxes, bar, manager, threads);
        bar->finish();
    });
    app.set_progress_callback(nullptr, nullptr);
    bar->release();
    // They may refer to what does not outlive the build.
    m_options.progress = nullptr;
    m_options.parallel_for = nullptr;
    set_leaf_calls();
}

void TreeData::set_leaf_calls() {
    std::visit(
        [](auto& tree) {
            tree.set_leaf_raytrace_callbacks(record_each<StopQuery, record_stop>,
                                             record_each<ClosestQuery, record_closest>, nullptr);
        },
        m_tree);
}

void TreeData::create(const HostBoxes& boxes, AppProgressBar* bar, SysThreadTaskManager& manager,
                      unsigned threads) {
    if (auto* const plain = std::get_if<GasTree>(&m_tree)) {
        plain->set_wide_nodes(m_options.wide_nodes);
        plain->create(boxes.data(), m_count, nullptr, bar, 1.0f, manager, threads);
    } else if (auto* const compressed = std::get_if<GasCompressedTree>(&m_tree)) {
        compressed->create(boxes.data(), m_count, nullptr, bar, manager, threads);
    } else {
        auto& grid = std::get<GasGridTree>(m_tree);
        const auto cell_count = static_cast<unsigned>(
            (boxes.size() + m_options.items_per_cell - 1) / m_options.items_per_cell);
        grid.set_leaf_bbox_callbacks(give_boxes, give_boxes_at, nullptr, give_union_at,
                                     m_grid_boxes.get());
        grid.create(boxes.data(), m_count, cell_count, nullptr, bar, manager, threads);
    }
}

std::size_t TreeData::get_depth() const {
    if (const auto* const grid = std::get_if<GasGridTree>(&m_tree))
        return grid->get_top_tree().get_depth();
    if (const GasCompressedTree* const compressed = find_compressed())
        return compressed->get_depth();
    return std::get<GasTree>(m_tree).get_depth();
}

std::size_t TreeData::get_memory_size() const {
    std::size_t size = sizeof *this;
    std::visit([&](const auto& tree) { size += tree.get_memory_size() - sizeof tree; }, m_tree);
    if (const GasTree* const plain = find_plain())
        size += plain->get_wide_nodes_size();
    return size;
}

Box TreeData::get_bounds() const {
    return std::visit([&](const auto& tree) { return m_space.from_tree(tree.get_bbox()); }, m_tree);
}

const GasTree& TreeData::expect_plain(const char* sentence) const {
    if (const GasTree* const plain = find_plain())
        return *plain;
    throw Error(sentence);
}

void TreeData::refit(const Box* boxes, std::size_t count) {
    if (count != m_count)
        throw Error("a refit takes the boxes of all " + std::to_string(m_count) + " items, not " +
                    std::to_string(count));
    auto* const plain = std::get_if<GasTree>(&m_tree);
    if (!plain) {
        if (m_asks_for_boxes)
            throw Error("a grid over a box function is not refitted: build it anew");
        TreeData fresh(boxes, count, m_options);
        std::swap(*this, fresh);
        return;
    }
    const Extent extent = get_extent(boxes, count);
    const Space space = make_space(extent, m_options.reach, false);
    CoreArray<GMathBbox3<float>> converted(m_count);
    for (std::uint32_t i = 0; i < m_count; ++i)
        converted[i] = space.to_tree(boxes[i]);
    plain->refit(converted);
    m_extent = extent;
    m_space = space;
    drop_motion();
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
