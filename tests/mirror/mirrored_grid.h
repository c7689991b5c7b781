// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>

#include <tests/mirror/mirrored_trees.h>
#include <tests/naive/naive_grid.h>
#include <tests/support/tree_build.h>

namespace support {

/// The same grid twice. Both ask for the same boxes; the cells that queries build and bring up to
/// date are written down in their order.
class MirroredGrid final : public MirroredTree {
  public:
    /// Motion-blur samples stand at times in the shutter.
    explicit MirroredGrid(const CtxMotionBlur& shutter) : m_shutter(shutter) {}

    /// For the next build.
    void set_target(unsigned target) { m_target = target; }

    unsigned get_depth() const override { return m_library.get_top_tree().get_depth(); }
    unsigned get_sample_count() const override { return m_library.get_motion_blur_sample_count(); }
    bool is_same_tree(const void* library, const void* reference) const override;
    void set_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                       GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                       void* user) override;
    void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override;
    void trace_stream(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override;
    naive::PacketCounts trace_reference(RayQuery query, naive::Frames& frames, naive::Batch& batch,
                                        const naive::Motion& motion,
                                        const naive::GridRangeCallback& callback) const override;
    /// The order in which cells were built and brought up to date.
    std::string find_difference() const override;

    /// Gives both grids other samples.
    void update_motion(const std::vector<std::vector<naive::Box>>& samples);
    /// Builds every cell and brings it up to date.
    void reach_all_cells();
    /// Where cells, top tree or built cells differ in any bit.
    std::string find_tree_difference() const;

    unsigned get_cell_count() const { return m_library.get_cell_count(); }
    unsigned get_built_count() const { return static_cast<unsigned>(m_built.size()); }

  private:
    void build_library(const std::vector<naive::Box>& boxes, naive::Split split,
                       const std::vector<unsigned>& indices,
                       const std::vector<std::vector<naive::Box>>& samples) override;
    void build_reference(const std::vector<naive::Box>& boxes, naive::Split split,
                         const std::vector<unsigned>& indices) override;
    void fill_reference(const std::vector<std::vector<naive::Box>>& samples) override;

    CtxMotionBlur get_motion() const;
    void set_samples(const std::vector<std::vector<naive::Box>>& samples);
    void update_library();
    naive::Box get_box(unsigned item) const { return get_boxes()[m_positions.at(item)]; }
    naive::Box get_box_at(double time, unsigned item) const;
    void record(std::vector<unsigned>& cells, unsigned item);

    static void give_boxes(void* user, const unsigned& count, const unsigned* items,
                           GMathBbox3<float>* bboxes);
    static void give_boxes_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>* bboxes);
    static void give_union_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>& bbox);

    CtxMotionBlur m_shutter;
    unsigned m_target = 1;
    std::vector<std::vector<naive::Box>> m_samples;
    std::vector<double> m_times;
    std::unordered_map<unsigned, unsigned> m_positions;
    /// Of an item, by its value.
    std::unordered_map<unsigned, unsigned> m_cells;
    std::unique_ptr<QuietProgress> m_progress;
    GasGridTree m_library;
    mutable naive::GridTree m_reference;
    std::mutex m_mutex;
    /// As the library asked for their boxes.
    std::vector<unsigned> m_built;
    std::vector<unsigned> m_updated;
};

} // namespace support
