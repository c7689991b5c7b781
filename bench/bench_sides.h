// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <gas/gas.h>
#include <gas/object/gas_shader_frames.h>

#include <apps/common/tree_calls.h>

#include <bench/bench_triangle.h>
#include <bench/bench_workload.h>

/// The same rays by the calls of a tree class and by the owning interface: two sides, over the same
/// boxes, with the same work at every leaf.
namespace gas_bench {

/// A question to both sides.
struct SidesQuestion {
    const char* name;
    bool is_closest;
    RayKind rays;
    bool in_motion;
    bool in_batches;
};

/// Rays of a batch, and of a piece of time that is measured.
inline constexpr unsigned side_batch_size = 1024;

/// What rays are intersected with, in doubles.
struct SideItems {
    const Triangle* triangles;
    const Triangle* later_triangles;

    /// Where the ray's line meets the item; gas::miss where it does not.
    template <bool in_motion> double get_distance(unsigned item, const gas::Ray& ray) const;
};

/// Where the rays of a batch, or a ray, leave what they find; either of the two.
struct SideHits {
    gas::Hit* closest;
    bool* any;
};

/// The boxes, rays and items of a question, as a program has them.
struct SideScene {
    SideScene(Workload& workload, const SidesQuestion& question);

    SideItems items;
    std::vector<gas::Box> boxes;
    std::vector<gas::Box> later_boxes;
    std::vector<gas::Ray> rays;
    /// The largest coordinate of boxes and rays.
    double reach;
};

/// A tree of the class, with what a program keeps to trace it.
template <typename Tree> class PlainSide {
  public:
    PlainSide(const SideScene& scene, const SidesQuestion& question);
    PlainSide(const PlainSide&) = delete;
    PlainSide& operator=(const PlainSide&) = delete;

    void trace_single(const gas::Ray* rays, unsigned count, const SideHits& hits);
    void trace_batch(const gas::Ray* rays, unsigned count, const SideHits& hits);

  private:
    using Calls = gas_app::TreeCalls<Tree>;
    using HostBoxes = CoreArray<GMathBbox3<float>>;

    static void give_boxes(void* user, const unsigned& count, const unsigned* items,
                           GMathBbox3<float>* boxes);
    static void give_boxes_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>* boxes);
    static void give_union_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>& bounds);
    void build(bool in_motion);
    void call(typename Calls::Call query, GeometryRaytraceCtx& ctx) {
        TreeKind<Tree>::ask(
            [&](const auto&... flags) { (m_tree.*query)(m_eval, m_shader, ctx, flags...); });
    }

    SideItems m_items;
    bool m_is_closest;
    double m_scale = 1.0;
    HostBoxes m_boxes;
    HostBoxes m_later_boxes;
    Tree m_tree;
    CtxEval m_eval;
    CtxShader m_shader;
    GasShaderFrames m_frames;
    GeometryRayBatch m_batch;
    typename Calls::Call m_query;
    typename Calls::Call m_stream;
};

/// A tree of the owning interface, of that kind.
class OwningSide {
  public:
    OwningSide(const SideScene& scene, const SidesQuestion& question, gas::Kind kind);

    /// One ray after the other, with a context that is held, or with none.
    template <bool has_context>
    void trace_single(const gas::Ray* rays, unsigned count, const SideHits& hits);
    void trace_batch(const gas::Ray* rays, unsigned count, const SideHits& hits);

  private:
    /// Calls `trace(get_distance)` with the function of the items.
    template <typename Trace> void with_items(const Trace& trace) const;

    SideItems m_items;
    bool m_is_closest;
    bool m_in_motion;
    gas::Tree m_tree;
    gas::Context m_context;
};

} // namespace gas_bench
