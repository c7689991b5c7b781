// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_grid.h>
#include <tests/support/recording_callbacks.h>

namespace support {

inline naive::Motion to_naive(const CtxMotionBlur& motion) {
    return {motion.get_sample_count(), static_cast<double>(motion.get_shutter_open()),
            motion.get_time_step(), motion.get_shutter_open(), motion.get_shutter_close()};
}

/// The same tree twice: the library's and the naive one, of whichever class.
class MirroredTree {
  public:
    MirroredTree() = default;
    MirroredTree(const MirroredTree&) = delete;
    MirroredTree& operator=(const MirroredTree&) = delete;
    virtual ~MirroredTree() = default;

    /// Builds both, in place of what they were; no boxes leave both empty. `indices` is empty or
    /// has one entry per box, `samples` has boxes for each motion-blur sample.
    void build(const std::vector<naive::Box>& boxes, naive::Split split,
               const std::vector<unsigned>& indices,
               const std::vector<std::vector<naive::Box>>& samples);

    const std::vector<naive::Box>& get_boxes() const { return m_boxes; }
    virtual unsigned get_depth() const = 0;
    virtual unsigned get_sample_count() const = 0;
    /// Whether cached leaves that name these trees, the library's and the naive one, name the same.
    virtual bool is_same_tree(const void* library, const void* reference) const = 0;

    /// The library's side: its leaf callbacks, by query, and its queries.
    virtual void set_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                               GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                               void* user) = 0;
    virtual void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const = 0;
    virtual void trace_stream(RayQuery query, CtxShader& shader,
                              GeometryRaytraceCtx& rays) const = 0;

    /// The naive side, over the range of the batch: together where the static nearest query has
    /// several rays, otherwise one by one.
    virtual naive::PacketCounts trace_reference(RayQuery query, naive::Frames& frames,
                                                naive::Batch& batch, const naive::Motion& motion,
                                                const naive::GridRangeCallback& callback) const = 0;

    /// What queries may have changed in the trees themselves and differs; empty when nothing does.
    virtual std::string find_difference() const { return {}; }

  private:
    virtual void build_library(const std::vector<naive::Box>& boxes, naive::Split split,
                               const std::vector<unsigned>& indices,
                               const std::vector<std::vector<naive::Box>>& samples) = 0;
    virtual void build_reference(const std::vector<naive::Box>& boxes, naive::Split split,
                                 const std::vector<unsigned>& indices) = 0;
    virtual void fill_reference(const std::vector<std::vector<naive::Box>>& samples) = 0;

    std::vector<naive::Box> m_boxes;
};

template <typename Library, typename Reference> class MirroredTreeOf final : public MirroredTree {
  public:
    /// The library's side, for its settings.
    Library& get_library() { return m_library; }
    const Reference& get_reference() const { return m_reference; }
    /// Where the trees themselves differ in any bit.
    std::string find_tree_difference() const;

    unsigned get_depth() const override { return m_library.get_depth(); }
    unsigned get_sample_count() const override { return m_library.get_motion_blur_sample_count(); }
    bool is_same_tree(const void* library, const void* reference) const override {
        return library == &m_library && reference == &m_reference;
    }
    void set_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                       GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                       void* user) override;
    void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override;
    void trace_stream(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override;
    naive::PacketCounts trace_reference(RayQuery query, naive::Frames& frames, naive::Batch& batch,
                                        const naive::Motion& motion,
                                        const naive::GridRangeCallback& callback) const override;

  private:
    void build_library(const std::vector<naive::Box>& boxes, naive::Split split,
                       const std::vector<unsigned>& indices,
                       const std::vector<std::vector<naive::Box>>& samples) override;
    void build_reference(const std::vector<naive::Box>& boxes, naive::Split split,
                         const std::vector<unsigned>& indices) override;
    void fill_reference(const std::vector<std::vector<naive::Box>>& samples) override;

    void walk_alone(RayQuery query, naive::Cache& cache, naive::Ray& ray,
                    const naive::Motion& motion, const naive::LeafCallback& callback) const;

    Library m_library;
    Reference m_reference;
};

using MirroredPlainTree = MirroredTreeOf<GasTree, naive::Tree>;
using MirroredCompressedTree = MirroredTreeOf<GasCompressedTree, naive::CompressedTree>;

extern template class MirroredTreeOf<GasTree, naive::Tree>;
extern template class MirroredTreeOf<GasCompressedTree, naive::CompressedTree>;

} // namespace support
