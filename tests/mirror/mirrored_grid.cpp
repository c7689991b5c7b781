// SPDX-License-Identifier: Apache-2.0
#include <tests/mirror/mirrored_grid.h>

#include <algorithm>

#include <tests/support/box_conversion.h>
#include <tests/support/compressed_difference.h>
#include <tests/support/grid_items.h>
#include <tests/support/tree_checker.h>

namespace support {

bool MirroredGrid::is_same_tree(const void* library, const void* reference) const {
    if (library == &m_library.get_top_tree())
        return reference == &m_reference.top;
    for (unsigned cell = 0; cell < get_cell_count(); ++cell) {
        const GasCompressedTree* const tree = m_library.find_sub_tree(cell);
        if (tree && library == tree) {
            const auto& sub_tree = m_reference.cells[cell].sub_tree;
            return sub_tree && reference == &sub_tree->tree;
        }
    }
    return false;
}

void MirroredGrid::set_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                                 GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                                 void* user) {
    m_library.set_leaf_raytrace_callbacks(hit_static, hit_motion, nearest_static, nearest_motion,
                                          user);
}

void MirroredGrid::trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const {
    support::trace(m_library, query, shader, rays);
}

void MirroredGrid::trace_stream(RayQuery query, CtxShader& shader,
                                GeometryRaytraceCtx& rays) const {
    support::trace_stream(m_library, query, shader, rays);
}

naive::PacketCounts MirroredGrid::trace_reference(RayQuery query, naive::Frames& frames,
                                                  naive::Batch& batch, const naive::Motion& motion,
                                                  const naive::GridRangeCallback& callback) const {
    return naive::trace_batch(m_reference, static_cast<naive::Query>(query), frames, batch, motion,
                              callback);
}

std::string MirroredGrid::find_difference() const {
    if (m_built != m_reference.built)
        return "cells were built in another order";
    // Without samples there is nothing to ask for.
    if (!m_samples.empty() && m_updated != m_reference.updated)
        return "cells were brought up to date in another order";
    return {};
}

std::string MirroredGrid::find_tree_difference() const {
    if (get_cell_count() != m_reference.cells.size())
        return "cell count " + std::to_string(get_cell_count());
    const std::string top = support::find_difference(m_library.get_top_tree(), m_reference.top);
    if (!top.empty())
        return "top tree, " + top;
    for (unsigned cell = 0; cell < get_cell_count(); ++cell) {
        const std::string name = "cell " + std::to_string(cell);
        const naive::Cell& expected = m_reference.cells[cell];
        if (get_cell_items(m_library, cell) != expected.items)
            return name + ": items";
        const GasGridSubTree* const sub_tree = m_library.find_sub_tree(cell);
        if (!sub_tree != !expected.sub_tree)
            return name + ": built or not";
        if (!sub_tree)
            continue;
        if (sub_tree->is_motion_update_pending() != expected.sub_tree->pending)
            return name + ": pending or not";
        const std::string tree = support::find_difference(*sub_tree, expected.sub_tree->tree);
        if (!tree.empty())
            return name + ", " + tree;
    }
    return {};
}

void MirroredGrid::build_library(const std::vector<naive::Box>& boxes, naive::Split split,
                                 const std::vector<unsigned>& indices,
                                 const std::vector<std::vector<naive::Box>>& samples) {
    m_positions.clear();
    m_cells.clear();
    m_built.clear();
    m_updated.clear();
    for (unsigned i = 0; i < boxes.size(); ++i)
        m_positions[indices.empty() ? i : indices[i]] = i;

    m_library.set_leaf_bbox_callbacks(give_boxes, give_boxes_at, nullptr, give_union_at, this);
    m_library.clear();
    m_progress = std::make_unique<QuietProgress>(split);
    m_library.create(to_boxes(boxes), m_target, indices.empty() ? nullptr : indices.data(),
                     &m_progress->bar);
    for (unsigned cell = 0; cell < get_cell_count(); ++cell) {
        for (const unsigned item : get_cell_items(m_library, cell))
            m_cells[item] = cell;
    }
    set_samples(samples);
    if (!samples.empty())
        m_library.update_motion_blur(get_motion());
}

void MirroredGrid::build_reference(const std::vector<naive::Box>& boxes, naive::Split split,
                                   const std::vector<unsigned>& indices) {
    m_reference.source = {
        [this](unsigned item) { return get_box(item); },
        [this](double time, unsigned item) { return get_box_at(time, item); },
    };
    naive::build_grid(m_reference, boxes, m_target, split, indices);
}

void MirroredGrid::fill_reference(const std::vector<std::vector<naive::Box>>& samples) {
    if (!samples.empty())
        naive::update_motion(m_reference, to_naive(get_motion()));
}

void MirroredGrid::update_motion(const std::vector<std::vector<naive::Box>>& samples) {
    set_samples(samples);
    m_updated.clear();
    m_reference.updated.clear();
    m_library.update_motion_blur(get_motion());
    naive::update_motion(m_reference, to_naive(get_motion()));
}

void MirroredGrid::reach_all_cells() {
    support::reach_all_cells(m_library, get_motion());
    for (unsigned cell = 0; cell < get_cell_count(); ++cell) {
        naive::get_sub_tree(m_reference, cell);
        naive::update_sub_tree(m_reference, cell, to_naive(get_motion()));
    }
}

CtxMotionBlur MirroredGrid::get_motion() const {
    return {m_shutter.get_shutter_open(), m_shutter.get_shutter_close(),
            static_cast<unsigned>(m_samples.size())};
}

void MirroredGrid::set_samples(const std::vector<std::vector<naive::Box>>& samples) {
    m_samples = samples;
    m_times = naive::sample_times(to_naive(get_motion()));
}

naive::Box MirroredGrid::get_box_at(double time, unsigned item) const {
    const std::size_t sample =
        static_cast<std::size_t>(std::find(m_times.begin(), m_times.end(), time) - m_times.begin());
    return m_samples.at(sample)[m_positions.at(item)];
}

void MirroredGrid::record(std::vector<unsigned>& cells, unsigned item) {
    const std::lock_guard<std::mutex> guard(m_mutex);
    // A cell asks in pieces and for several samples, one cell after another.
    const unsigned cell = m_cells.at(item);
    if (cells.empty() || cells.back() != cell)
        cells.push_back(cell);
}

void MirroredGrid::give_boxes(void* user, const unsigned& count, const unsigned* items,
                              GMathBbox3<float>* bboxes) {
    MirroredGrid& self = *static_cast<MirroredGrid*>(user);
    self.record(self.m_built, items[0]);
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = to_box(self.get_box(items[i]));
}

void MirroredGrid::give_boxes_at(void* user, const double& time, const unsigned& count,
                                 const unsigned* items, GMathBbox3<float>* bboxes) {
    MirroredGrid& self = *static_cast<MirroredGrid*>(user);
    self.record(self.m_updated, items[0]);
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = to_box(self.get_box_at(time, items[i]));
}

void MirroredGrid::give_union_at(void* user, const double& time, const unsigned& count,
                                 const unsigned* items, GMathBbox3<float>& bbox) {
    const MirroredGrid& self = *static_cast<const MirroredGrid*>(user);
    naive::Box box = self.get_box_at(time, items[0]);
    for (unsigned i = 1; i < count; ++i)
        box = naive::unite(box, self.get_box_at(time, items[i]));
    bbox = to_box(box);
}

} // namespace support
