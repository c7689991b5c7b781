// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include <gas/gas_export.h>
#include <gas/gas_forward.h>
#include <gas/grid/gas_grid_bbox_callbacks.h>
#include <gas/host/host.h>
#include <gas/traversal/query/gas_leaf_callbacks.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

struct GasBuildSettings;
struct GasGridCells;
struct GasSampledView;

/// A two-level bounding-volume hierarchy (BVH), built lazily, for very many items (primitives)
/// whose boxes (AABBs) are expensive. `create` sorts the items into the cells of a uniform grid by
/// their boxes' centres and builds a GasTree over the occupied cells. A cell's own tree, a
/// GasCompressedTree, is built when a ray first reaches the cell, from boxes that the host's box
/// callback gives. The boxes of a cell that no ray reaches are not asked for again.
///
/// It has the ray queries of GasTree: closest hit; all hits, that is any hit or occluded; coherent
/// batches, streams. Any number of threads may trace a grid at once, each with its own CtxShader:
/// each cell is built once, under its own lock, by the first thread that reaches it, and different
/// cells in parallel. Whatever changes the grid needs exclusive access to it and to its copies.
///
/// The host's box callbacks are called from tracing threads and, for large requests, from the
/// host's task threads, several at once, each for items and boxes of its own. What one throws
/// passes through the function that asked for the boxes; a cell that a ray reached stays as it was,
/// and the next ray asks again. They may start tasks and wait for them, and trace rays elsewhere,
/// but not rays that lead, through whichever cells and threads, to a cell that is waiting for a
/// callback: that would be a deadlock. Where a callback's own rays, or those of callbacks that they
/// cause, lead back to its cell, a debug build asserts and a release build skips the cell for that
/// ray. Where tracing threads wait for each other's cells, a debug build asserts and a release
/// build hangs. Through threads or tasks of the callback's own it is not detected.
class GAS_EXPORT GasGridTree {
  public:
    /// An empty grid. Its callbacks do nothing until they are set.
    GasGridTree();
    /// A copy answers queries as its source does and shares its cells, built or not; callbacks are
    /// its own. A cell's tree keeps the callbacks and the user pointer of the grid whose ray built
    /// it, so their targets outlive all grids that share the cells. The last grid that shares the
    /// cells releases them: copies may be cleared, rebuilt and destroyed in any order.
    GasGridTree(const GasGridTree& other);
    GasGridTree& operator=(const GasGridTree& other);
    /// A move takes everything, and copies share the cells with the target from then on; the source
    /// is as newly constructed. Assignment first gives up the target's share. A grid moved to
    /// itself stays as it is.
    GasGridTree(GasGridTree&& other) noexcept;
    GasGridTree& operator=(GasGridTree&& other) noexcept;
    virtual ~GasGridTree();

    /// Bytes held: the object, the trees of the cells built so far, a lock per cell, and the tree
    /// over the cells. The lists of items and cells are not counted. May run beside queries.
    virtual std::size_t get_memory_size() const;

    /// Sorts `count` items into about `target_cell_count` cells by their boxes, which
    /// are not kept. `indices`, when not null, holds `count` values that stand for the items in
    /// place of their positions, in the box callbacks and the leaf callbacks alike. With a
    /// `progress_bar` (may be null) the build fills the bar, its application's setting chooses how
    /// the trees are built, and each cell's tree asks that application for a hidden bar of its own;
    /// without one they use the fast binned SAH. The application outlives the grid and its copies.
    ///
    /// A box without a finite centre is left out of the grid, as is one whose corners are so
    /// inverted that its centre lies outside all boxes. With few items for the target, most of the
    /// grid is empty: while building it takes 4 bytes for each item and for each cell, occupied or
    /// not, and about 28 to 80 more for an occupied one. The number of cells is kept in 32 bits; a
    /// grid of more (which takes a target near the limit) folds cells together. Whatever is thrown
    /// on the way, std::bad_alloc or what a bar or a box callback throws, passes through and leaves
    /// the grid empty.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count,
                const unsigned& target_cell_count, const unsigned* indices,
                AppProgressBar* progress_bar);
    /// As above over an array; an empty one only clears the grid.
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned& target_cell_count,
                const unsigned* indices, AppProgressBar* progress_bar);
    void create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned& target_cell_count,
                const unsigned* indices, AppProgressBar* progress_bar);
    /// As above; the tree over the cells is built on up to `thread_count` threads, as GasTree's of
    /// these arguments is.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count,
                const unsigned& target_cell_count, const unsigned* indices,
                AppProgressBar* progress_bar, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);
    /// As above over boxes that the leaf box callback gives: it is asked for items 0 to `count` -
    /// 1, whatever `indices` holds.
    void create(const unsigned& count, const unsigned& target_cell_count, const unsigned* indices,
                AppProgressBar* progress_bar);
    /// As above; the tree over the cells is built on up to `thread_count` threads. The boxes are
    /// asked for by tasks in any case.
    void create(const unsigned& count, const unsigned& target_cell_count, const unsigned* indices,
                AppProgressBar* progress_bar, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);

    /// As the ones above of these arguments, without a bar: the tree over the cells and the trees
    /// of the cells divide their items by `method`.
    void create(const GMathBbox3<float>* bboxes, const unsigned& count,
                const unsigned& target_cell_count, const unsigned* indices, GasBuildMethod method);
    void create(const GMathBbox3<float>* bboxes, const unsigned& count,
                const unsigned& target_cell_count, const unsigned* indices, GasBuildMethod method,
                SysThreadTaskManager& task_manager, const unsigned& thread_count);
    void create(const CoreArray<GMathBbox3<float>>& bboxes, const unsigned& target_cell_count,
                const unsigned* indices, GasBuildMethod method);
    void create(const CoreVector<GMathBbox3<float>>& bboxes, const unsigned& target_cell_count,
                const unsigned* indices, GasBuildMethod method);
    void create(const unsigned& count, const unsigned& target_cell_count, const unsigned* indices,
                GasBuildMethod method);
    void create(const unsigned& count, const unsigned& target_cell_count, const unsigned* indices,
                GasBuildMethod method, SysThreadTaskManager& task_manager,
                const unsigned& thread_count);

    /// Leaves an empty grid. Callbacks stay.
    void clear();

    /// The box of everything, also at motion-blur sample `sample`; all zeros for an empty grid or a
    /// sample that does not exist.
    GMathBbox3<float> get_bbox() const { return m_top_tree.get_bbox(); }
    GMathBbox3<float> get_blurred_bbox(const unsigned& sample) const {
        return m_top_tree.get_blurred_bbox(sample);
    }
    unsigned get_motion_blur_sample_count() const {
        return m_top_tree.get_motion_blur_sample_count();
    }

    /// The number of occupied cells. They are numbered in the order of their first items.
    unsigned get_cell_count() const;
    /// The items of a cell in the order of the input, `get_cell_item_count(cell)` of them.
    const unsigned* get_cell_items(const unsigned& cell) const;
    unsigned get_cell_item_count(const unsigned& cell) const;
    /// A cell's tree, null while no ray has reached the cell. May run beside queries.
    const GasGridSubTree* find_sub_tree(const unsigned& cell) const;
    /// The tree over the cells; do not copy it. Its leaves are cell numbers.
    const GasTree& get_top_tree() const { return m_top_tree; }

    /// Sets the box callbacks of the build and the cells' trees; a null one leaves its callback as
    /// it was, and the user pointer is always replaced.
    void set_leaf_bbox_callbacks(GasLeafBboxesCallback leaf_bboxes,
                                 GasLeafBboxesAtCallback leaf_bboxes_at, void* user);
    /// The same, with callbacks that give the union of the listed items' boxes. `leaves_bbox` is
    /// kept, but the grid does not use it.
    void set_leaf_bbox_callbacks(GasLeafBboxesCallback leaf_bboxes,
                                 GasLeafBboxesAtCallback leaf_bboxes_at,
                                 GasLeavesBboxCallback leaves_bbox,
                                 GasLeavesBboxAtCallback leaves_bbox_at, void* user);

    /// Sets the leaf callbacks in pairs, static and motion alike. A null one leaves its pair as it
    /// was; the user pointer is always replaced. Cells whose trees are built keep what they had, of
    /// which gas_set_report tells where that is nothing.
    void set_leaf_raytrace_callbacks(GasLeafCallback all_hits, GasLeafCallback nearest, void* user);
    /// Sets each leaf callback on its own; a null one leaves its callback as it was.
    void set_leaf_raytrace_callbacks(GasLeafCallback hit_static, GasLeafCallback hit_motion,
                                     GasLeafCallback nearest_static, GasLeafCallback nearest_motion,
                                     void* user);

    /// Sets the motion-blur samples of `motion`: asks for the cells' boxes at each sample's time
    /// (`leaves_bbox_at`) now, and for the items' boxes (`leaf_bboxes_at`) when a motion ray next
    /// reaches their cell. Both callbacks must be set: a motion ray misses cells and items whose
    /// boxes are left as zeros. Copies follow. Sample times start at the first and add the step.
    /// What is thrown, std::bad_alloc or by a callback, passes through; the grid and its copies are
    /// then as they were. Until the new boxes are complete the former ones stay in memory.
    void update_motion_blur(const CtxMotionBlur& motion);

    /// Ray queries, as GasTree's of these names with the shortcut for a single leaf: first through
    /// the tree over the cells, then through the trees of the cells that the ray reaches. A motion
    /// ray's shader has the samples that `update_motion_blur` was given; without any, motion rays
    /// are traced as static ones (a lone cell's tree follows the shader alone). The order of cells
    /// decides which of several hits at the same distance comes first; a callback that must not
    /// depend on it compares items.
    void ray_hit_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_hit_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_hit_nearest_static(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx) const;
    void ray_hit_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                GeometryRaytraceCtx& ctx) const;

    /// Streams, as GasTree's of these names: each ray as by a query of its own without cached
    /// leaves, in no order between rays.
    void ray_stream_static(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_stream_motion(const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void ray_stream_nearest_static(const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx) const;
    void ray_stream_nearest_motion(const CtxEval& eval, CtxShader& shader,
                                   GeometryRaytraceCtx& ctx) const;

  private:
    friend struct GasGridAccess;

    void build(const GMathBbox3<float>* bboxes, unsigned count, unsigned target_cell_count,
               const unsigned* indices, const GasBuildSettings& settings);
    void build_asked(unsigned item_count, unsigned target_cell_count, const unsigned* indices,
                     const GasBuildSettings& settings);

    // What copies share.
    void attach(std::shared_ptr<GasGridCells> cells);
    void detach();
    void take(GasGridTree& other) noexcept;
    void look_at_top_tree();
    void set_cell_callbacks();
    void fill_samples(const CtxMotionBlur& motion, GasTree& top_tree) const;
    static void replace_samples(GasGridCells& cells, GasSampledView& samples);

    // Boxes from the host, in tasks where there are many.
    void get_leaf_bboxes(const unsigned& count, const unsigned* items,
                         GMathBbox3<float>* bboxes) const;
    void get_leaf_bboxes_at(const double& time, const unsigned& count, const unsigned* items,
                            GMathBbox3<float>* bboxes) const;

    // Cells on demand. A tree is null only where the thread already holds the cell's lock.
    GasGridSubTree* get_sub_tree(const unsigned& cell) const;
    GasGridSubTree* create_sub_tree(const unsigned& cell) const;
    void update_sub_tree_motion_blur(const CtxMotionBlur& motion, const unsigned& cell) const;
    GasGridSubTree* get_moving_sub_tree(const CtxShader& shader, const unsigned& cell) const;

    // The top tree's leaf callbacks, for whoever traces it on its own; the grid's queries go to the
    // cells by the same way.
    void grid_cell_ray_hit_static(const unsigned& cell, const CtxEval& eval, CtxShader& shader,
                                  GeometryRaytraceCtx& ctx) const;
    void grid_cell_ray_hit_motion(const unsigned& cell, const CtxEval& eval, CtxShader& shader,
                                  GeometryRaytraceCtx& ctx) const;
    void grid_cell_ray_hit_nearest_static(const unsigned& cell, const CtxEval& eval,
                                          CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    void grid_cell_ray_hit_nearest_motion(const unsigned& cell, const CtxEval& eval,
                                          CtxShader& shader, GeometryRaytraceCtx& ctx) const;
    static void grid_cell_ray_hit_static_callback(void* user, const unsigned& cell,
                                                  const CtxEval& eval, CtxShader& shader,
                                                  GeometryRaytraceCtx& ctx);
    static void grid_cell_ray_hit_motion_callback(void* user, const unsigned& cell,
                                                  const CtxEval& eval, CtxShader& shader,
                                                  GeometryRaytraceCtx& ctx);
    static void grid_cell_ray_hit_nearest_static_callback(void* user, const unsigned& cell,
                                                          const CtxEval& eval, CtxShader& shader,
                                                          GeometryRaytraceCtx& ctx);
    static void grid_cell_ray_hit_nearest_motion_callback(void* user, const unsigned& cell,
                                                          const CtxEval& eval, CtxShader& shader,
                                                          GeometryRaytraceCtx& ctx);

    /// Null when empty.
    std::shared_ptr<GasGridCells> m_cells;
    /// A view of the shared top tree that calls into this grid.
    GasTree m_top_tree;
    /// The application that makes the progress bars of the cells' trees; null for none.
    AppBase* m_progress_owner;
    CoreString m_progress_label;
    GasGridBboxCallbacks m_bbox_callbacks;
    GasLeafCallbacks m_leaf_callbacks;
    /// Of the cells' trees where no application makes their bars.
    GasBuildMethod m_build_method;
};

} // namespace gas_abi1
