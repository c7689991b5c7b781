#pragma once

#include <array>
#include <functional>
#include <vector>

/// A second implementation of the tree, its build, its refit and its single-ray walks, written for
/// clarity alone: plain loops over plain records, nothing shared with the library. Tests compare
/// the library with it bit by bit, so everything here must be compiled without contracting
/// floating-point expressions.
namespace naive {

struct Box {
    float min[3];
    float max[3];
};

struct BoxD {
    double min[3];
    double max[3];
};

/// Values of the build method setting.
enum class Split : unsigned { median = 0, hybrid = 1, sah_fast = 2, sah = 3 };
inline constexpr Split all_splits[] = {Split::median, Split::hybrid, Split::sah_fast, Split::sah};

/// Inner node: `index` is the first child, the second is `index + 1`. Leaf: `index` is the item,
/// `order_code` is 0.
struct Node {
    Box box;
    bool leaf;
    unsigned index;
    unsigned order_code;
};

struct Tree {
    std::vector<Node> nodes;
    unsigned leaf_count = 0;
    unsigned depth = 0;
    /// Copy of the index array; empty without one.
    std::vector<unsigned> items;
    /// Per motion-blur sample one box per node; empty: never filled.
    std::vector<std::vector<Box>> samples;
    /// The running leaf count, recorded once per created leaf.
    std::vector<unsigned> progress_calls;
};

struct Progress {
    unsigned step_interval;
    float step_increment;
};

/// The smaller value; the second one when they are equal, the first one when they do not compare.
float smaller(float first, float second);
/// The larger value; the second one when they are equal or do not compare.
float larger(float first, float second);
/// Union of two boxes by `smaller` and `larger`.
Box unite(const Box& first, const Box& second);
/// Each coordinate rounded to the nearest float.
std::vector<Box> narrow(const std::vector<BoxD>& boxes);
/// Box centres, (min + max) * 0.5 in floats.
std::vector<std::array<float, 3>> box_centres(const std::vector<Box>& boxes);
/// Bounds of the centres of the listed items; all zero for an empty list.
Box centre_bounds(const std::vector<unsigned>& items,
                  const std::vector<std::array<float, 3>>& centres);

/// The settings that a build over `count` items writes into a bar of which it fills `share`. A
/// share of less than one whole percent counts as one percent when the interval is formed. `count`
/// 0 gives interval 1 and increment 0.
Progress progress_settings(unsigned count, float share);
/// Builds a tree over the boxes; no boxes give an empty tree. `indices` is empty or has one entry
/// per box.
Tree build(const std::vector<Box>& boxes, Split split, const std::vector<unsigned>& indices = {});
/// The order code of a node with these children; `previous_code` when no separation compares.
unsigned traversal_code(unsigned previous_code, const Box& first, const Box& second);
/// The axis of the largest extent; ties go to the lower axis.
unsigned widest_axis(const Box& centre_bounds);
/// In-place partition by a plane: centres at or below `position` first. Returns how many lie on
/// that side; ends inside the array for every position, NaN included.
unsigned partition_items(std::vector<unsigned>& items,
                         const std::vector<std::array<float, 3>>& centres, unsigned axis,
                         float position);
/// Sorts by centre along the axis, ascending, by a quicksort whose order of equal centres shows in
/// the tree.
void sort_by_centre(std::vector<unsigned>& items, const std::vector<std::array<float, 3>>& centres,
                    unsigned axis);
/// One split, on its own: reorders `items` and returns the size of the first part as the split
/// reports it, which may be 0 or the whole count.
unsigned split_items(Split split, const std::vector<Box>& boxes, std::vector<unsigned>& items);
/// The same with the centres of all boxes at hand.
unsigned split_items(Split split, const std::vector<Box>& boxes,
                     const std::vector<std::array<float, 3>>& centres,
                     std::vector<unsigned>& items);

/// New boxes for the same topology; false, and no change, when the number of boxes is not the leaf
/// count.
bool refit(Tree& tree, const std::vector<Box>& boxes);
/// Resizes the table of samples; samples that stay keep their boxes, new ones are empty.
void set_sample_count(Tree& tree, unsigned count);
/// Fills one sample; false, and no change, for a wrong number of boxes or a sample beyond the
/// table.
bool refit_sample(Tree& tree, const std::vector<Box>& boxes, unsigned sample);

/// One ray. `far_distance` bounds the all-hits walks, `hit_distance` the nearest-hit walks; both
/// are read again after every callback. `cache_slot` is 0 to 5.
struct Ray {
    double origin[3] = {};
    double direction[3] = {};
    double inverse[3] = {};
    double near_distance = 0.0;
    double far_distance = 0.0;
    double hit_distance = 0.0;
    bool hit_flag = false;
    float time = 0.0f;
    int cache_slot = 0;
};

/// The reciprocal of a direction component: +infinity for a zero of either sign, the largest finite
/// float of its sign where the reciprocal overflows a float.
double inverse_component(double direction);

struct CacheEntry {
    const void* tree = nullptr;
    unsigned leaf = 0;
};

struct Cache {
    CacheEntry all_hits[6];
    CacheEntry nearest[6];
};

/// Receives the item of a reached leaf, already mapped through the index array.
using LeafCallback = std::function<void(unsigned item, Ray& ray)>;

/// A time between two samples: `fraction` of the way from `sample` to `sample + 1`.
struct TimeSpan {
    unsigned sample;
    float fraction;
};

/// Clamps to the shutter: `sample` is at most `sample_count - 2`, `fraction` lies in 0..1. A time
/// that is no number, a shutter that closes no later than it opens, or fewer than two samples give
/// sample 0 and fraction 0.
TimeSpan time_span(float time, float shutter_open, float shutter_close, unsigned sample_count);

/// Calls back for every leaf that the ray reaches until a callback sets the ray's hit flag. An
/// empty tree does nothing.
void ray_hit_static(const Tree& tree, Cache& cache, Ray& ray, const LeafCallback& callback);
/// The same over boxes blended between two filled samples.
void ray_hit_motion(const Tree& tree, Cache& cache, Ray& ray, TimeSpan span,
                    const LeafCallback& callback);
/// Calls back for the leaves that the ray reaches before its hit distance, the nearer child first.
/// A callback records a hit by setting the hit flag and lowering the hit distance.
void ray_hit_nearest_static(const Tree& tree, Cache& cache, Ray& ray, const LeafCallback& callback);
/// The same over boxes blended between two filled samples.
void ray_hit_nearest_motion(const Tree& tree, Cache& cache, Ray& ray, TimeSpan span,
                            const LeafCallback& callback);

} // namespace naive
