#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_frames.h>
#include <tests/naive/naive_packets.h>
#include <tests/naive/naive_tree.h>

/// A second implementation of the grid of cells: the bucketing, the trees of its two levels, which
/// cells are built and brought up to date in which order, and the ray queries through both levels.
/// One thread at a time.
namespace naive {

/// The cell of an item that is in none.
constexpr unsigned no_cell = 0xffffffffu;

/// Items sorted into the cells of a uniform grid by the centres of their boxes. Occupied cells are
/// numbered as the items first reach them.
struct Buckets {
    unsigned resolution[3] = {1, 1, 1};
    /// Per item in the order of the input its cell, or `no_cell`.
    std::vector<unsigned> cells;
    /// Per cell its items in the order of the input: positions, or entries of the index array.
    std::vector<std::vector<unsigned>> items;
    /// Per cell the union of its items' boxes.
    std::vector<Box> boxes;
};

/// Aims at `target` cells; `indices` is empty or has one entry per box. Items whose centre is not
/// finite are in no cell and do not count for the grid's extent; nor is an item in any cell whose
/// box is inside out and has its centre beyond the grid.
Buckets sort_into_cells(const std::vector<Box>& boxes, unsigned target,
                        const std::vector<unsigned>& indices = {});

/// A part of a request for many boxes.
struct Piece {
    unsigned first;
    unsigned count;

    bool operator==(const Piece&) const = default;
};

/// The calls that a request for `count` boxes is made in: one up to 511, above it at most one per
/// 256 boxes.
std::vector<Piece> split_request(unsigned count);

/// The host's answers, by the item's value in its cell.
struct BoxSource {
    std::function<Box(unsigned item)> box;
    std::function<Box(double time, unsigned item)> box_at;
};

/// What a shader says about motion.
struct Motion {
    unsigned sample_count = 0;
    /// The first sample's time, and how much later each next one is.
    double first_time = 0.0;
    double time_step = 0.0;
    float shutter_open = 0.0f;
    float shutter_close = 0.0f;
};

/// Each time is the one before it plus the step.
std::vector<double> sample_times(const Motion& motion);

struct SubTree {
    CompressedTree tree;
    /// Its samples do not match the grid's motion.
    bool pending = true;
};

struct Cell {
    std::vector<unsigned> items;
    /// Null until a ray reaches the cell.
    std::unique_ptr<SubTree> sub_tree;
};

/// Caches name the top tree by its address: a grid stays where it is.
struct GridTree {
    GridTree() = default;
    GridTree(const GridTree&) = delete;
    GridTree& operator=(const GridTree&) = delete;

    /// Its items are the cells.
    Tree top;
    std::vector<Cell> cells;
    BoxSource source;
    /// How the next sub-tree is split.
    Split split = Split::median;
    /// The cells in the order in which they were built, and brought up to date.
    std::vector<unsigned> built;
    std::vector<unsigned> updated;
};

/// Fills the cells and builds the top tree, which has no samples; forgets what was there before,
/// but for the source. No boxes give an empty grid.
void build_grid(GridTree& grid, const std::vector<Box>& boxes, unsigned target, Split split,
                const std::vector<unsigned>& indices = {});
/// Leaves no cells.
void clear(GridTree& grid);

/// The cell's tree, built from the source if it is asked for the first time.
SubTree& get_sub_tree(GridTree& grid, unsigned cell);
/// Fills the top tree's samples with unions of item boxes, the running box first, and marks the
/// sub-trees that are there as pending.
void update_motion(GridTree& grid, const Motion& motion);
/// Fills a pending sub-tree's samples; does nothing to a cell without a sub-tree, or with one that
/// is not pending.
void update_sub_tree(GridTree& grid, unsigned cell, const Motion& motion);

/// The four ray queries, and the leaf callbacks of the same names.
enum class Query { hit_static, hit_motion, nearest_static, nearest_motion };

/// Receives which of the four callbacks it stands for, and the item of a reached leaf.
using GridLeafCallback = std::function<void(Query callback, unsigned item, Ray& ray)>;
using GridRangeCallback = std::function<void(Query callback, unsigned item, int first, int last)>;

/// Traces one ray through both levels, building and updating the cells that it reaches. `motion` is
/// the shader's, for motion queries with the sample count of the last update.
void trace_ray(GridTree& grid, Query query, Frames& frames, Ray& ray, const Motion& motion,
               const GridLeafCallback& callback);
/// Traces the batch's range: together where the static nearest query has several rays, otherwise
/// one by one. The counts are those of all walks of several rays, on both levels.
PacketCounts trace_batch(GridTree& grid, Query query, Frames& frames, Batch& batch,
                         const Motion& motion, const GridRangeCallback& callback);

} // namespace naive
