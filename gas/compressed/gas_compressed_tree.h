// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/compressed/gas_compressed_node.h>
#include <gas/compressed/gas_compressed_tree_split_context.h>
#include <gas/core/gas_bbox.h>
#include <gas/gas_export.h>
#include <gas/gas_forward.h>
#include <gas/host/host.h>
#include <gas/split/gas_build_method.h>
#include <gas/traversal/query/gas_leaf_callbacks.h>
#include <gas/traversal/spatial/gas_closest_item.h>
#include <gas/tree/gas_node_share.h>

inline namespace gas_abi1 {

struct GasBuildSettings;
struct GasCompressedTreeComputeBboxContext;
struct GasCompressedTreeQuantizeBboxContext;
class GasParallelBuild;

/// A binary bounding-volume hierarchy (BVH) with quantized boxes over the boxes (AABBs) of items
/// (primitives), in 16 bytes per item, and 7 per motion-blur sample: a node keeps the boxes of its
/// two children as 8-bit distances from its own, and a walk decodes them on its way down. Leaves
/// are references in their parents.
///
/// It has the ray queries of GasTree with the same callbacks. Decoded boxes are a little larger
/// than the items' own, so some leaves are called whose box the ray misses. The working range is a
/// scene whose coordinates and extents stay below 82 units, with detail of 1e-2 units and more:
/// there every decoded box contains the boxes below it (in practice up to about 200 units; see
/// gas_box_codec.h). A small scene far from the origin is outside. Scale other scenes, boxes and
/// rays alike, by a power of two (gas_scene_scale.h).
///
/// A built tree is read-only during queries and may be traced by many threads at once, each with
/// its own CtxShader. Everything that changes the tree needs exclusive access. The same boxes and
/// build method give the same tree, bit for bit, on every machine.
class GAS_EXPORT GasCompressedTree {
  public:
    /// Divides the `count` (3 or more) items of a node: reorders `items` in place and always sets
    /// `left_count`. So many entries go to the first child; 0 or `count` halves the list instead.
    using SplitCallback = void (*)(const GasCompressedTreeSplitContext& context, unsigned* items,
                                   unsigned count, unsigned& left_count);

    static constexpr unsigned no_root = 0xFFFFFFFFu;

    /// An empty tree. Its leaf callbacks do nothing until they are set.
    GasCompressedTree();
    /// Copies are shallow, and moves are, as GasTree's: a copy shares nodes, index copy and sample
    /// records. Assigning one releases nothing that the target held but its tables of samples.
    GasCompressedTree(const GasCompressedTree& other);
    GasCompressedTree& operator=(const GasCompressedTree& other);
    GasCompressedTree(GasCompressedTree&& other) noexcept;
    GasCompressedTree& operator=(GasCompressedTree&& other) noexcept;
    virtual ~GasCompressedTree();

    /// Bytes held without samples: the object, its nodes, 8 per item with an index array.
    virtual std::size_t get_memory_size() const;

    /// Builds the tree over `count` (at least 1) boxes; what it held before is cleared. `indices`,
    /// when not null, holds `count` values that leaves report in place of their item's position;
    /// they are copied. With a `progress_bar` (may be null) the build method setting of the bar's
    /// application chooses the split function and the build fills the bar; without one it is the
    /// fast binned SAH (a lone box chooses none). A count of 0 breaks the contract; a release build
    /// then just clears. Whatever is thrown on the way, std::bad_alloc or what a bar throws, passes
    /// through and leaves the tree empty. Beside the tree itself a build needs 36 bytes per item,
    /// whatever the number of threads and the type of box; more where a centre is a NaN.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count, const unsigned* indices,
                AppProgressBar* progress_bar);
    /// As above over an array; an empty one only clears the tree.
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar);
    void create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar);
    /// Rounds every coordinate to the nearest float first, not outward.
    void create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar);

    /// The same tree, bit for bit, on up to `thread_count` threads, as GasTree's.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count, const unsigned* indices,
                AppProgressBar* progress_bar, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);

    /// The same tree as with a bar whose application is set to `method`, without a bar.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count, const unsigned* indices,
                GasBuildMethod method);
    void create(const GMathBbox3<float>* bboxes, const unsigned& count, const unsigned* indices,
                GasBuildMethod method, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                GasBuildMethod method);
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                GasBuildMethod method, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);
    void create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                GasBuildMethod method);
    void create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                GasBuildMethod method);

    /// Releases everything but the samples' root boxes and leaves an empty tree. Callbacks stay.
    void clear();

    bool is_empty() const { return m_node_count == 0; }
    const unsigned& get_leaf_count() const { return m_leaf_count; }
    /// Nodes, that is inner nodes: one less than leaves, but 1 for a lone leaf.
    const unsigned& get_node_count() const { return m_node_count; }
    /// Levels, leaves included; 1 for a lone leaf.
    const unsigned& get_depth() const { return m_depth; }
    /// 0, or `no_root` for an empty tree.
    const unsigned& get_root_index() const { return m_root_index; }
    /// The exact box of everything; of an empty tree, whatever it was before.
    const GMathBbox3<float>& get_bbox() const { return m_bbox; }
    /// The same in motion-blur sample `sample`, which must exist.
    const GMathBbox3<float>& get_blurred_bbox(const unsigned& sample) const;
    unsigned get_motion_blur_sample_count() const { return m_motion_blur_sample_count; }

    /// The nodes, `get_node_count()` of them, children after their parent; null when empty. Valid
    /// until the tree changes.
    const GasCompressedNode* get_nodes() const { return m_nodes; }
    /// The nodes' boxes in motion-blur sample `sample`, at 7 bytes each and readable 9 bytes past
    /// the last; null when there is no such sample or it was never filled.
    const unsigned char* get_motion_blur_records(const unsigned& sample) const {
        return sample < m_motion_blur_sample_count ? m_motion_blur_records[sample] : nullptr;
    }
    SplitCallback get_split_callback() const { return m_split_callback; }

    /// Sets the leaf callbacks in pairs, static and motion alike. A null one leaves its pair as it
    /// was; the user pointer is always replaced.
    void set_leaf_raytrace_callbacks(GasLeafCallback all_hits, GasLeafCallback nearest, void* user);
    /// Sets each leaf callback on its own; a null one leaves its callback as it was.
    void set_leaf_raytrace_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                                     GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                                     void* user);

    /// Ray queries, as GasTree's of these names: what they promise of leaves, how rays are stopped
    /// and shortened, and what a batch, a shader or a motion ray needs is said there. A lone leaf's
    /// callback is always called once for the whole range, without box test or frames.
    ///
    /// A shader's cached leaf is looked up by the tree's address alone. After a rebuild with fewer
    /// items, or with another tree at the same address (a move, a swap, a vector that grew), a ray
    /// may first be offered a leaf position of the former tree: a callback that takes positions (no
    /// index array) checks them, or the shader's frames are made anew.
    void ray_hit_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_hit_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx) const;
    void ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx) const;

    /// Streams, as GasTree's: each ray as by a query without cached leaves, in no order of rays.
    void ray_stream_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_stream_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx) const;
    void ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx) const;

    /// Sets the number of motion-blur samples. Samples below it keep their boxes; new ones have
    /// none until `refit_motion_blur_sample` fills them.
    void set_motion_blur_sample_count(const unsigned& count);
    /// Fills sample `sample` from the item boxes at its time. False, with nothing changed, when
    /// their count is not the leaf count or there is no such sample. Takes 24 bytes per item.
    bool refit_motion_blur_sample(const CoreArray<GMathBbox3<float>>& bboxes,
                                  const unsigned& sample);
    bool refit_motion_blur_sample(const GMathBbox3<float>* bboxes, const unsigned& count,
                                  const unsigned& sample);

    /// As GasTree's, with the same answers.
    bool get_closest_item(GasTreeCtx& ctx, const GMathVec3<double>& point,
                          const double& max_distance, GasClosestItemCallback callback, void* user,
                          unsigned& item, double& distance) const;

    /// Split functions, as GasTree's of these names.
    static void split_median(const GasCompressedTreeSplitContext& context, unsigned* items,
                             unsigned count, unsigned& left_count);
    static void split_sah_bins(const GasCompressedTreeSplitContext& context, unsigned* items,
                               unsigned count, unsigned& left_count);
    static void split_sah_bins_fast(const GasCompressedTreeSplitContext& context, unsigned* items,
                                    unsigned count, unsigned& left_count);
    static void split_hybrid(const GasCompressedTreeSplitContext& context, unsigned* items,
                             unsigned count, unsigned& left_count);
    /// The bounds of the listed items' boxes, or of their centres; `count` is at least 1.
    static GMathBbox3<float> compute_items_bbox(const unsigned* items, const unsigned& count,
                                                const GMathBbox3<float>* bboxes);
    static GMathBbox3<float> compute_items_bbox(const unsigned* items, const unsigned& count,
                                                const GMathVec3<float>* centers);

    /// The traversal interface, for walks of the caller's own; bodies in
    /// gas_compressed_tree_traversal.h. Nodes are met as slots of a frame: slot 0 is the root, and
    /// expanding a node gives its children slots of their own. Whoever drives a walk frees each
    /// slot when done with it, that of an expanded node too. The frame's stack has room for twice
    /// the tree's depth (GasTreeCtx::reserve_stack), which bounds the slots in use at any time; the
    /// tree has two leaves or more.
    ///
    /// Starts a walk: gives the frame buffers for as many slots as its stack has entries.
    void init_traversal(GasTreeCtx& ctx) const;
    void deinit_traversal(GasTreeCtx&) const {}
    /// Takes two slots, those freed last first.
    void get_node_children(GasTreeCtx& ctx, const unsigned& slot, unsigned& first,
                           unsigned& second) const;
    void free_node(GasTreeCtx& ctx, const unsigned& slot) const;
    bool is_node_a_leaf(GasTreeCtx& ctx, const unsigned& slot) const;
    /// The leaf's position.
    unsigned get_leaf_value(GasTreeCtx& ctx, const unsigned& slot) const;
    bool is_leaf_valid(GasTreeCtx& ctx, const unsigned& leaf) const;
    /// Of an inner node: which child lies nearer along the ray, 0 or 1.
    unsigned get_node_traversal_order(GasTreeCtx& ctx, const unsigned& slot,
                                      const GMathBasicRay& ray) const;
    /// The decoded box; lanes w are 0.
    void get_node_bbox(GasTreeCtx& ctx, const unsigned& slot, GasBbox& bbox) const;
    void get_node_bbox(GasTreeCtx& ctx, const unsigned& slot, SimdF& min, SimdF& max) const;
    /// The same as `get_node_bbox`, whatever the sample: slots hold the boxes of the built tree.
    void get_blurred_node_bbox(GasTreeCtx& ctx, const unsigned& slot, const unsigned& sample,
                               GasBbox& bbox) const;
    void get_blurred_node_bbox(GasTreeCtx& ctx, const unsigned& slot, const unsigned& sample,
                               SimdF& min, SimdF& max) const;
    /// Whether motion-blur sample `sample` exists and was filled.
    bool has_sample(const unsigned& sample) const {
        return get_motion_blur_records(sample) != nullptr;
    }

    /// Leaf dispatch: maps the leaf's position to its item and calls the callback of that name. A
    /// position beyond the index array is not called.
    void leaf_ray_hit_static(const unsigned& leaf, const CtxEval& eval, CtxShader& shader,
                             GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_static(GasTreeCtx&, const unsigned& leaf, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_motion(const unsigned& leaf, const CtxEval& eval, CtxShader& shader,
                             GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_motion(GasTreeCtx&, const unsigned& leaf, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_nearest_static(const unsigned& leaf, const CtxEval& eval, CtxShader& shader,
                                     GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_nearest_static(GasTreeCtx&, const unsigned& leaf, const CtxEval& eval,
                                     CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_nearest_motion(const unsigned& leaf, const CtxEval& eval, CtxShader& shader,
                                     GeometryRaytraceCtx& ctx) const;
    void leaf_ray_hit_nearest_motion(GasTreeCtx&, const unsigned& leaf, const CtxEval& eval,
                                     CtxShader& shader, GeometryRaytraceCtx& ctx) const;

  private:
    friend struct GasTraversalAccess;
    friend struct GasCompressedTreeArrays;

    // Steps of the build.
    void recurse_split(GasCompressedTreeSplitContext& context, const unsigned& node, unsigned depth,
                       unsigned* items, const unsigned& count);
    template <typename Box>
    void build(const Box* bboxes, unsigned count, const unsigned* indices,
               const GasBuildSettings& settings);
    template <typename Box>
    void split_items(const Box* bboxes, GasTreeNode* records, unsigned* numbers,
                     const GasBuildSettings& settings, GasParallelBuild* parallel);
    template <typename Box>
    void split_lists(const Box* bboxes, unsigned* items, AppProgressBar* progress_bar);
    template <typename Box>
    void quantize_boxes(const Box* bboxes, GMathBbox3<float>* boxes, GasParallelBuild* parallel);
    GasBuildMethod choose_split(const GasBuildSettings& settings);
    void create_single_leaf(const GMathBbox3<float>& bbox);
    void compute_bboxes(GasCompressedTreeComputeBboxContext& context, const unsigned& node,
                        GMathBbox3<float>& out) const;
    void quantize_tree(GasCompressedTreeQuantizeBboxContext& context, const unsigned& node,
                       const GMathBbox3<float>& node_decoded_box);
    void quantize_motion_blur_bboxes(GasCompressedTreeQuantizeBboxContext& context,
                                     const unsigned& sample, const unsigned& node,
                                     const GMathBbox3<float>& node_decoded_box);

    // Steps of life.
    void release_arrays(const GasNodeShare::Rest& rest);
    void release_samples(unsigned first, const GasArrayBlock& block);
    void take(GasCompressedTree& other) noexcept;

    unsigned take_slot(GasTreeCtx& ctx) const;
    bool are_boxes_ordered() const { return m_are_boxes_ordered; }
    const unsigned* find_item(const unsigned& leaf) const;
    void call_leaf(GasRayCall call, const unsigned& leaf, const CtxEval& eval, CtxShader& shader,
                   GeometryRaytraceCtx& ctx) const;

    GasCompressedNode* m_nodes;
    unsigned m_motion_blur_sample_count;
    unsigned char** m_motion_blur_records;
    GMathBbox3<float> m_bbox;
    unsigned m_blurred_bbox_count;
    GMathBbox3<float>* m_blurred_bboxes;
    unsigned m_root_index;
    unsigned* m_items;
    unsigned m_leaf_count;
    unsigned m_node_count;
    unsigned m_depth;
    SplitCallback m_split_callback;
    GasLeafCallbacks m_leaf_callbacks;
    /// Of two items or more: whether every box has min <= max and a centre that is no NaN.
    bool m_are_boxes_ordered;
    GasNodeShare m_share;
};

} // namespace gas_abi1
