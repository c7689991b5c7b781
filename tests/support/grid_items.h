// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <unordered_map>
#include <vector>

#include <gas/grid/gas_grid_sub_tree.h>
#include <gas/grid/gas_grid_tree.h>

#include <tests/naive/naive_tree.h>
#include <tests/support/recording_callbacks.h>

namespace support {

/// The four box callbacks of a grid.
enum class BoxCallback { leaf_bboxes, leaf_bboxes_at, leaves_bbox, leaves_bbox_at };

/// What a box callback was called with; the time is 0 for those that get none.
struct BoxRequest {
    BoxCallback callback;
    double time;
    std::vector<unsigned> items;

    bool operator==(const BoxRequest&) const = default;
};

/// The items behind a grid: answers its box callbacks, from any thread, and writes the calls down.
class GridItems {
  public:
    using React = std::function<void(const BoxRequest& request)>;

    /// `values` are what the grid calls the items, all different; empty: their positions.
    explicit GridItems(std::vector<naive::Box> boxes, std::vector<unsigned> values = {});
    GridItems(const GridItems&) = delete;
    GridItems& operator=(const GridItems&) = delete;

    /// Sets the grid's box callbacks.
    void attach(GasGridTree& grid);
    /// Attaches and builds from the boxes.
    void build(GasGridTree& grid, unsigned target, AppProgressBar* progress_bar = nullptr);

    unsigned get_count() const { return static_cast<unsigned>(m_boxes.size()); }
    const std::vector<naive::Box>& get_boxes() const { return m_boxes; }
    /// Null when the items go by their positions.
    const unsigned* get_values() const { return m_values.empty() ? nullptr : m_values.data(); }
    unsigned get_value(unsigned position) const {
        return m_values.empty() ? position : m_values[position];
    }
    /// `value` comes from the grid.
    unsigned find_position(unsigned value) const {
        return m_values.empty() ? value : m_positions.at(value);
    }
    /// The box of the item at `position` at a time: it moves along x, by its speed.
    naive::Box get_box(unsigned position, double time = 0.0) const;
    naive::Box get_box_of(unsigned value, double time = 0.0) const {
        return get_box(find_position(value), time);
    }
    std::vector<naive::Box> get_boxes_of(const std::vector<unsigned>& values,
                                         double time = 0.0) const;
    /// The union of the boxes of the items with these values.
    naive::Box get_union_of(const std::vector<unsigned>& values, double time = 0.0) const;

    /// Calls so far; forgets them.
    std::vector<BoxRequest> take_requests();

    /// Along x per unit of time, by position.
    std::vector<float> speeds;
    /// Called for each request before it is answered, by the thread that asks.
    React react;

  private:
    void record(BoxRequest request);
    static void give_boxes(void* user, const unsigned& count, const unsigned* items,
                           GMathBbox3<float>* bboxes);
    static void give_boxes_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>* bboxes);
    static void give_union(void* user, const unsigned& count, const unsigned* items,
                           GMathBbox3<float>& bbox);
    static void give_union_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>& bbox);

    std::vector<naive::Box> m_boxes;
    std::vector<unsigned> m_values;
    std::unordered_map<unsigned, unsigned> m_positions;
    std::mutex m_mutex;
    std::vector<BoxRequest> m_requests;
};

/// Runs one query.
void trace(const GasGridTree& grid, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
           const CtxEval& eval = CtxEval());

/// Items cell by cell, as the grid lists them.
std::vector<unsigned> get_cell_items(const GasGridTree& grid, unsigned cell);
std::vector<std::vector<unsigned>> get_cells(const GasGridTree& grid);
/// The cells whose trees are built, ascending.
std::vector<unsigned> get_built_cells(const GasGridTree& grid);
/// Finds the cell of an item; the cell count when it has none.
unsigned find_cell(const GasGridTree& grid, unsigned value);

/// Has every cell's tree built, and its samples filled, by a batch of no rays that goes past the
/// top tree.
void reach_all_cells(const GasGridTree& grid, const CtxMotionBlur& motion = CtxMotionBlur());

/// Where two compressed trees differ in a count, a node or a motion-blur record; empty when they
/// are equal.
std::string find_difference(const GasCompressedTree& tree, const GasCompressedTree& expected);

/// `cluster_count` (1 to 5) clusters of `item_count` small boxes, 100 apart along x; cluster c is
/// all of x in 100 c to 100 c + 9, y and z in 0 to 9, its items following one another, the third of
/// them in its middle.
std::vector<naive::Box> make_clusters(unsigned cluster_count, unsigned item_count);
/// A target for which each cluster is a cell of its own, in order.
unsigned get_cluster_target(unsigned cluster_count);
/// A ray along z through the middle of a cluster of 3 items or more.
void aim_at_cluster(GeometryRayBatch& batch, unsigned ray, unsigned cluster, float time = 0.0f);

} // namespace support
