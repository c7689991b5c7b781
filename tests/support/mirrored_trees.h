#pragma once

#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/tree/gas_tree.h>

#include "naive_compressed.h"
#include "recording_callbacks.h"

namespace support {

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
    /// Whether a query calls its callback once for all rays of a batch, without a walk.
    virtual bool calls_without_walk() const = 0;
    /// The trees as cached leaves name them.
    virtual const void* get_library() const = 0;
    virtual const void* get_reference() const = 0;

    /// The library's side: its leaf callbacks, by query, and its queries.
    virtual void set_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                               GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                               void* user) = 0;
    virtual void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const = 0;

    /// The naive side: one ray, or several rays together for nearest hits.
    virtual void trace_reference(RayQuery query, naive::Cache& cache, naive::Ray& ray,
                                 naive::TimeSpan span,
                                 const naive::LeafCallback& callback) const = 0;
    virtual naive::PacketCounts trace_reference(naive::PacketBuffer& buffer, naive::Batch& batch,
                                                const naive::RangeCallback& callback) const = 0;

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
    unsigned get_depth() const override { return m_library.get_depth(); }
    unsigned get_sample_count() const override { return m_library.get_motion_blur_sample_count(); }
    bool calls_without_walk() const override;
    const void* get_library() const override { return &m_library; }
    const void* get_reference() const override { return &m_reference; }
    void set_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                       GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                       void* user) override;
    void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override;
    void trace_reference(RayQuery query, naive::Cache& cache, naive::Ray& ray, naive::TimeSpan span,
                         const naive::LeafCallback& callback) const override;
    naive::PacketCounts trace_reference(naive::PacketBuffer& buffer, naive::Batch& batch,
                                        const naive::RangeCallback& callback) const override;

  private:
    void build_library(const std::vector<naive::Box>& boxes, naive::Split split,
                       const std::vector<unsigned>& indices,
                       const std::vector<std::vector<naive::Box>>& samples) override;
    void build_reference(const std::vector<naive::Box>& boxes, naive::Split split,
                         const std::vector<unsigned>& indices) override;
    void fill_reference(const std::vector<std::vector<naive::Box>>& samples) override;

    Library m_library;
    Reference m_reference;
};

using MirroredPlainTree = MirroredTreeOf<GasTree, naive::Tree>;
using MirroredCompressedTree = MirroredTreeOf<GasCompressedTree, naive::CompressedTree>;

extern template class MirroredTreeOf<GasTree, naive::Tree>;
extern template class MirroredTreeOf<GasCompressedTree, naive::CompressedTree>;

} // namespace support
