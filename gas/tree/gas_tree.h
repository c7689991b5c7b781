// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/build/gas_tree_node.h>
#include <gas/core/gas_bbox.h>
#include <gas/gas_export.h>
#include <gas/gas_forward.h>
#include <gas/host/host.h>
#include <gas/split/gas_build_method.h>
#include <gas/traversal/query/gas_leaf_callbacks.h>
#include <gas/traversal/spatial/gas_closest_item.h>
#include <gas/tree/gas_node_share.h>
#include <gas/tree/gas_tree_split_context.h>

inline namespace gas_abi1 {

/// A binary bounding-volume hierarchy (BVH) over the boxes (AABBs) of items (primitives), one item
/// per leaf. The ray queries call the leaf callbacks of the leaves that rays reach: for the nearest
/// (closest) hit, or for all hits, which is any hit (occluded) where a callback stops the ray.
/// Coherent rays go in batches (packets), incoherent ones in streams. Wide nodes are its collapse.
/// A built tree is read-only during queries and may be traced by many threads at once, each with
/// its own CtxShader. Everything that changes the tree, `refit` too, needs exclusive access. The
/// same boxes and build method give the same tree, bit for bit, on every machine.
class GAS_EXPORT GasTree {
  public:
    using Node = GasTreeNode;
    using SplitCallback = GasTreeSplitCallback;

    /// An empty tree. Its leaf callbacks do nothing until they are set.
    GasTree();
    /// Copies are shallow: the copy shares nodes, index copy and sample boxes with its source. Only
    /// one of the two may be cleared, rebuilt or destroyed, or lower its number of samples.
    /// Assignment releases nothing of what the target held but its table of samples. A second
    /// release is an assert in debug builds and left out in others; `copy = GasTree()` is none.
    GasTree(const GasTree& other);
    GasTree& operator=(const GasTree& other);
    /// A move leaves its source as newly constructed. Assignment first releases what the target
    /// alone held; what copies of it share stays theirs. A tree moved to itself stays as it is.
    GasTree(GasTree&& other) noexcept;
    GasTree& operator=(GasTree&& other) noexcept;
    virtual ~GasTree();

    /// Bytes held without sample boxes: the object, its nodes, 8 per item with an index array.
    virtual std::size_t get_memory_size() const;

    /// Builds the tree over `count` (at least 1) boxes; what it held before is cleared. `indices`,
    /// when not null, holds `count` values that leaves report in place of their item's position;
    /// they are copied. With a `progress_bar` (may be null) the build method setting of the bar's
    /// application chooses the split function and the build fills `progress_share` (0.01 to 1) of
    /// the bar; without one it is the fast binned SAH. A count of 0 breaks the contract; a release
    /// build then just clears. Whatever is thrown on the way, std::bad_alloc or what a bar throws,
    /// passes through and leaves the tree empty.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count, const unsigned* indices,
                AppProgressBar* progress_bar, const float& progress_share);
    /// Over an array; an empty one only clears the tree.
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar, const float& progress_share);
    void create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar, const float& progress_share);
    /// Rounds every coordinate to the nearest float first, not outward.
    void create(const CoreArray<GMathBbox3<double>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar, const float& progress_share);

    /// The same tree, bit for bit, on up to `thread_count` threads: the calling one, which alone
    /// touches the bar, and tasks of `task_manager`, which also waits for its other tasks.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count, const unsigned* indices,
                AppProgressBar* progress_bar, const float& progress_share,
                SysThreadTaskManager& task_manager, const unsigned& thread_count);
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned* indices,
                AppProgressBar* progress_bar, const float& progress_share,
                SysThreadTaskManager& task_manager, const unsigned& thread_count);

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

    /// Releases everything and leaves an empty tree. Callbacks stay.
    void clear();

    /// Whether the tree keeps wide nodes, now and after every `create`: its boxes once more, four
    /// to a record, for about 60 bytes per item and 75 per item and motion-blur sample. Single rays
    /// and streams walk them, faster, to the same leaves in the same order. Off at first. They
    /// follow every refit, and copies share them. A tree of one leaf, or with a box that is
    /// inverted or NaN (in a sample: or infinite), is walked by its own nodes all the same.
    void set_wide_nodes(bool wanted);
    bool has_wide_nodes() const;
    /// Bytes of the wide nodes and their samples, which `get_memory_size` leaves out.
    std::size_t get_wide_nodes_size() const;
    bool is_empty() const { return !m_nodes; }
    const unsigned& get_leaf_count() const { return m_leaf_count; }
    const unsigned& get_node_count() const { return m_node_count; }
    /// Levels of nodes; 1 for a lone root.
    const unsigned& get_depth() const { return m_depth; }
    unsigned get_motion_blur_sample_count() const { return m_motion_blur_sample_count; }
    /// The `get_node_count()` nodes, children after their parent; null when empty.
    const Node* get_nodes() const { return m_nodes; }

    /// Stores the split function. `create` replaces it by its own choice.
    void set_split_callback(SplitCallback callback) { m_split_callback = callback; }
    SplitCallback get_split_callback() const { return m_split_callback; }

    /// Sets the leaf callbacks in pairs, static and motion alike. A null one leaves its pair as it
    /// was; the user pointer is always replaced.
    void set_leaf_raytrace_callbacks(GasLeafCallback all_hits, GasLeafCallback nearest, void* user);
    /// Sets each leaf callback on its own; a null one leaves its callback as it was.
    void set_leaf_raytrace_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                                     GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                                     void* user);

    /// Ray queries. GasLeafCallback says what they promise of leaves and what a callback may do. A
    /// range outside the batch and nearest hits without an intersection map break the contract; a
    /// release build then traces nothing, as without frames, and gas_set_report tells.
    /// All hits: for each ray of the context's range, calls the leaf callback for every leaf whose
    /// box the ray crosses between its near and far distance, until the callback sets the ray's
    /// hit flag. Motion rays see the boxes blended to their time and the motion callback, unless
    /// the tree has fewer than two samples: then they are traced as static rays.
    /// `single_leaf_shortcut`: a tree of one leaf calls its callback once for the range as it is,
    /// with no box test and no need of frames. An empty tree makes a query a silent no-op.
    void ray_hit_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                        const bool& single_leaf_shortcut) const;
    void ray_hit_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                        const bool& single_leaf_shortcut) const;
    /// Nearest hits: visits the nearer child first and skips what starts at or beyond the ray's hit
    /// distance. A callback that accepts a hit lowers that distance and sets the ray's hit flag.
    /// The batch has an intersection map whose hit distances were set to the far distances
    /// (GasObject::ray_hit_nearest and GeometryRayBatch see to that).
    /// Several static rays go through the tree together, boxes outside the batch's frustum dropped
    /// for all at once: each leaf is called at most once, for a range of rays that holds all that
    /// reach its box and may hold others.
    void ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                const bool& single_leaf_shortcut) const;
    void ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                const bool& single_leaf_shortcut) const;

    /// Streams: the fast way for a batch of rays between which no order is asked, unsorted, best a
    /// few hundred, over wide nodes (`set_wide_nodes`; without, the rays go one by one). Each ray
    /// of the context's range is answered as by the single-ray query of the same kind, with exactly
    /// its sequence of leaf calls, but without cached leaves. Calls for different rays come mixed:
    /// a callback sees a context over a private copy of the batch's view, whose range is the one
    /// ray, and may start queries and streams. The shortcut is that of the queries.
    void ray_stream_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                           const bool& single_leaf_shortcut) const;
    void ray_stream_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                           const bool& single_leaf_shortcut) const;
    void ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                   const bool& single_leaf_shortcut) const;
    void ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx,
                                   const bool& single_leaf_shortcut) const;

    /// Takes new item boxes, one per leaf, and keeps the topology: recomputes every box and
    /// traversal order code. False, with nothing changed, when their count is not the leaf count.
    bool refit(const CoreArray<GMathBbox3<float>>& bboxes);

    /// Samples below `count` keep their boxes; `refit_motion_blur_sample` fills new ones.
    void set_motion_blur_sample_count(const unsigned& count);
    /// Fills sample `sample` from the item boxes at its time. False, with nothing changed, when
    /// there is no such sample or their count is not the leaf count.
    bool refit_motion_blur_sample(const CoreArray<GMathBbox3<float>>& bboxes,
                                  const unsigned& sample);
    bool refit_motion_blur_sample(const GMathBbox3<float>* bboxes, const unsigned& count,
                                  const unsigned& sample);

    /// The root's box; all zeros for an empty tree.
    GMathBbox3<float> get_bbox() const;
    /// The root's box in sample `sample`; all zeros where there is none or it was never filled.
    GMathBbox3<float> get_blurred_bbox(const unsigned& sample) const;

    /// Collects in `leaves`, whose old contents go, the position of every leaf whose box overlaps
    /// or touches `box`, what lies below a first child before what lies below its sibling. Leaf
    /// positions are items as `create` numbers them, without an index array. `ctx` lends its stack.
    void get_leaves_in_bbox(GasTreeCtx& ctx, const GMathBbox3<float>& box,
                            CoreVector<unsigned>& leaves) const;
    /// Finds up to `max_count` (at least 1) leaves near `point`: those whose box overlaps the cube
    /// of half-width `max_distance` around it, by the distance from the point to their box's
    /// centre, nearest first. Once the arrays are full the cube becomes that of the largest
    /// distance held. A leaf whose box touches the cube counts even where its centre lies beyond
    /// `max_distance`. `leaves` and `distances` hold `max_count` elements each; returns how many
    /// were written. Leaves at the same distance stand as a depth-first walk finds them that takes
    /// the child whose box is nearer first. `ctx` lends its stack, which takes an entry per node.
    unsigned get_nearest_leaves(GasTreeCtx& ctx, const GMathVec3<float>& point,
                                const float& max_distance, const unsigned& max_count,
                                unsigned* leaves, float* distances) const;
    /// The item closest to `point` by the callback's distances, as GasClosestItemCallback says.
    bool get_closest_item(GasTreeCtx& ctx, const GMathVec3<double>& point,
                          const double& max_distance, GasClosestItemCallback callback, void* user,
                          unsigned& item, double& distance) const;

    /// Writes bounds, counts and memory use to the host's log.
    void print() const;
    /// Sets the traversal order code of `node` from its two children and nothing else; the code
    /// stays as it was when no separation of the children compares (NaN boxes).
    static void compute_node_traversal_order(Node& node, const Node& first, const Node& second);

    /// Split functions. Cut at the middle of the centres' bounds along its widest axis.
    static void split_median(const GasTreeSplitContext& context, unsigned* items, unsigned count,
                             unsigned& left_count);
    /// SAH over all axes, 16 bins each; exact up to 16 items. All but the first need a workspace.
    static void split_sah_bins(const GasTreeSplitContext& context, unsigned* items, unsigned count,
                               unsigned& left_count);
    /// Along the widest axis only.
    static void split_sah_bins_fast(const GasTreeSplitContext& context, unsigned* items,
                                    unsigned count, unsigned& left_count);
    /// Fast binned SAH up to 128 items, median above.
    static void split_hybrid(const GasTreeSplitContext& context, unsigned* items, unsigned count,
                             unsigned& left_count);

  private:
    friend struct GasTraversalAccess;
    friend struct GasTreeArrays;

    // Steps of life, and of the build.
    void release_arrays(const GasNodeShare::Rest& rest);
    void release_samples(unsigned first, const GasArrayBlock& block);
    void take(GasTree& other) noexcept;
    void recurse_split(GasTreeSplitContext& context, Node& node, unsigned depth, unsigned* items,
                       const unsigned& count);
    template <typename Box>
    void build(const Box* bboxes, unsigned count, const unsigned* indices,
               const struct GasBuildSettings& settings);
    template <typename Box>
    void build_from_lists(const Box* bboxes, unsigned* items, AppProgressBar* progress_bar);
    GasBuildMethod choose_split(const GasBuildSettings& settings);
    void compute_bboxes(const GMathBbox3<float>* bboxes);
    static unsigned sort_items(unsigned* items, const unsigned& count,
                               const GMathVec3<float>* centers, const unsigned& axis,
                               const float& position);
    static unsigned get_best_axis(const GMathBbox3<float>& box);

    // The traversal interface; bodies in gas_tree_traversal.h.
    void init_traversal(GasTreeCtx&) const {}
    void deinit_traversal(GasTreeCtx&) const {}
    void free_node(GasTreeCtx&, const unsigned&) const {}
    bool is_leaf_valid(GasTreeCtx& ctx, const unsigned& leaf) const;
    bool is_node_a_leaf(GasTreeCtx& ctx, const unsigned& node) const;
    unsigned get_leaf_value(GasTreeCtx& ctx, const unsigned& node) const;
    void get_node_children(GasTreeCtx& ctx, const unsigned& node, unsigned& first,
                           unsigned& second) const;
    void prefetch_children(const unsigned& node) const;
    unsigned get_node_traversal_order(GasTreeCtx& ctx, const unsigned& node,
                                      const GMathBasicRay& ray) const;
    void get_node_bbox(GasTreeCtx& ctx, const unsigned& node, GasBbox& bbox) const;
    void get_node_bbox(GasTreeCtx& ctx, const unsigned& node, SimdF& min, SimdF& max) const;
    void get_blurred_node_bbox(GasTreeCtx& ctx, const unsigned& node, const unsigned& sample,
                               GasBbox& bbox) const;
    void get_blurred_node_bbox(GasTreeCtx& ctx, const unsigned& node, const unsigned& sample,
                               SimdF& min, SimdF& max) const;
    bool has_sample(const unsigned& sample) const;
    bool are_boxes_ordered() const;
    const struct GasWideNode* get_wide_nodes() const;
    bool has_wide_sample(const unsigned& sample) const;
    const class GasWideSampleRecords& get_wide_samples() const;
    const unsigned* find_item(const unsigned& leaf) const;

    // Leaf dispatch: maps the leaf position to its item and calls the callback of that name.
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

    Node* m_nodes;
    unsigned m_motion_blur_sample_count;
    GMathBbox3<float>** m_motion_blur_bboxes;
    unsigned* m_items;
    unsigned m_leaf_count;
    unsigned m_node_count;
    unsigned m_depth;
    SplitCallback m_split_callback;
    GasLeafCallbacks m_leaf_callbacks;
    /// What is kept beside the nodes, and shared with them; null when empty.
    class GasWideTree* m_wide_tree;
    bool m_wants_wide_nodes;
    GasNodeShare m_share;
};

} // namespace gas_abi1
