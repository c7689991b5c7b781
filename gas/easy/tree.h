// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include <gas/easy/calls.h>
#include <gas/easy/context.h>
#include <gas/easy/easy_export.h>
#include <gas/easy/errors.h>
#include <gas/easy/options.h>
#include <gas/easy/values.h>

namespace gas {
inline namespace gas_abi1 {

namespace detail {
class SceneData;
class TreeData;
} // namespace detail

/// The box of an item at a time from 0 to 1. A grid calls it on several threads at once.
using BoxFunction = std::function<Box(std::uint32_t item, double time)>;

/// A bounding-volume hierarchy (BVH) over the boxes of items, which are numbered from 0. It keeps
/// nothing of what it is given but copies.
///
///     gas::Tree tree(boxes);
///     const gas::Hit hit = tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& ray) {
///         return intersect(triangles[item], ray); // a distance, or gas::miss
///     });
///
/// Queries call a function of the program's for the items whose boxes a ray crosses. It takes
/// (item, ray), or (item, ray, index) with the ray's number in its batch, and is called on the
/// thread of the query, in its course. It may start other queries, of this tree too. What it throws
/// ends the query and passes through.
///
/// Any number of threads may ask a tree at once. Whatever changes it (`refit`, `set_motion`,
/// assignment) needs exclusive access. What cannot be done throws Error; a failure leaves the tree
/// as it was. Where memory runs out everything here throws std::bad_alloc, leaves the tree as it
/// was, too, unless `set_motion` says otherwise, and may be asked for again.
class GAS_EASY_EXPORT Tree {
  public:
    /// An empty tree, in which nothing is found.
    Tree() noexcept;
    /// Over boxes, which all are finite, with no min above its max, and coordinates up to 1e30
    /// (find_bad_boxes tells which are not). An empty vector gives an empty tree.
    explicit Tree(const std::vector<Box>& boxes, const Options& options = {});
    explicit Tree(std::initializer_list<Box> boxes, const Options& options = {})
        : Tree(boxes.begin(), boxes.size(), options) {}
    Tree(const Box* boxes, std::size_t count, const Options& options = {});
    /// A grid over `count` items, whatever the kind in `options`, whose boxes are asked for when
    /// they are needed: all of them twice by the build, later those of the cells that rays reach.
    Tree(std::size_t count, BoxFunction boxes, const Options& options = {});
    Tree(Tree&& other) noexcept;
    Tree& operator=(Tree&& other) noexcept;
    ~Tree();

    bool is_empty() const { return size() == 0; }
    std::size_t size() const;
    Kind kind() const;
    /// Levels; 0 for an empty tree. That of a grid is of its cells' tree.
    std::size_t depth() const;
    /// Bytes, without motion samples and what a program's functions hold.
    std::size_t memory_size() const;
    /// Around all padded boxes at rest; empty at the origin for an empty tree.
    Box bounds() const;
    /// The boxes of the nodes and leaves on a level, from the root's (0) on, to look at. Not of
    /// grids.
    std::vector<Box> boxes_at_level(std::size_t level) const;
    /// What is wrong with the tree, a sentence each, up to twenty and one that counts the others:
    /// nothing, unless memory was overwritten or a trusted file damaged. Of a grid, of the cells
    /// that rays have reached; not beside queries in motion.
    std::vector<std::string> validate() const;

    /// New boxes for all items. A plain tree keeps its topology, which is far quicker than a build
    /// and makes slower rays where items moved far; others are built anew. Motion samples go.
    void refit(const std::vector<Box>& boxes);

    /// The boxes at two or more times, evenly from 0 to 1: all rays then see boxes blended to their
    /// time. Each sample holds a box of each item. None, as at first: without motion. Compressed
    /// trees and grids have room for boxes up to 1.25 times as far out as `Options::reach`. Where
    /// memory runs out on the way, trees but grids are left without motion.
    void set_motion(const std::vector<std::vector<Box>>& samples);
    /// The same for a grid over a box function, which is asked at `count` times (2 or more; 0:
    /// without motion).
    void set_motion(std::size_t count);
    std::size_t motion_sample_count() const;

    /// Saves the tree with its motion samples; not a grid, nor an empty tree. A file that was there
    /// is replaced once the new one is whole, and stays as it was where that fails.
    void save(const std::string& path) const;
    /// A saved tree. Everything is checked before it returns: no file makes queries leave the
    /// tree's memory. Throws Error where the file is not a saved tree, or damaged.
    static Tree load(const std::string& path);
    /// The same, used where it lies: processes share its pages, and `refit` and `set_motion` leave
    /// the file alone. It must not change, or become shorter, while the tree lives; one that is
    /// saved over it is another file.
    static Tree map(const std::string& path);
    /// Without a look at more than its header: for a file that this machine has saved, and nobody
    /// has damaged since.
    static Tree map_trusted(const std::string& path);

    /// The closest hit: of the distances that `f` answers the smallest that is at least `ray.near`
    /// and below `ray.far`. The ray that `f` is given has the closest distance so far as its `far`.
    template <typename F> Hit closest_hit(const Ray& ray, F&& f) const {
        return trace_closest(nullptr, ray, detail::get_distance_call(f));
    }
    template <typename F> Hit closest_hit(Context& context, const Ray& ray, F&& f) const {
        return trace_closest(&context, ray, detail::get_distance_call(f));
    }

    /// Whether anything is hit: shadow rays. `f` answers a distance, or whether it is a hit. The
    /// item that stopped the ray before may come first, whether or not the ray crosses its box.
    template <typename F> bool any_hit(const Ray& ray, F&& f) const {
        return trace_all(nullptr, ray, detail::get_stop_call(f), true);
    }
    template <typename F> bool any_hit(Context& context, const Ray& ray, F&& f) const {
        return trace_all(&context, ray, detail::get_stop_call(f), true);
    }

    /// Calls `f`, which answers nothing, once for every item whose box the ray crosses between its
    /// near and far distance, in no order.
    template <typename F> void all_hits(const Ray& ray, F&& f) const {
        detail::expect_no_answer<std::uint32_t, F>();
        trace_all(nullptr, ray, detail::get_stop_call(f), false);
    }
    template <typename F> void all_hits(Context& context, const Ray& ray, F&& f) const {
        detail::expect_no_answer<std::uint32_t, F>();
        trace_all(&context, ray, detail::get_stop_call(f), false);
    }

    /// Batches: the same hits for many rays, best a few hundred and more, sorted or not. `f` is
    /// called for rays in any order.
    template <typename F>
    void closest_hits(Context& context, const Ray* rays, std::size_t count, Hit* hits,
                      F&& f) const {
        trace_closest(&context, rays, count, hits, detail::get_distance_call(f));
    }
    template <typename F> std::vector<Hit> closest_hits(const std::vector<Ray>& rays, F&& f) const {
        std::vector<Hit> hits(rays.size());
        trace_closest(nullptr, rays.data(), rays.size(), hits.data(), detail::get_distance_call(f));
        return hits;
    }
    /// An element of `hits` for each ray.
    template <typename F>
    void any_hits(Context& context, const Ray* rays, std::size_t count, bool* hits, F&& f) const {
        trace_all(&context, rays, count, hits, detail::get_stop_call(f));
    }
    template <typename F> std::vector<bool> any_hits(const std::vector<Ray>& rays, F&& f) const {
        const std::unique_ptr<bool[]> hits(new bool[rays.size()]);
        trace_all(nullptr, rays.data(), rays.size(), hits.get(), detail::get_stop_call(f));
        return std::vector<bool>(hits.get(), hits.get() + rays.size());
    }
    template <typename F>
    void all_hits(Context& context, const Ray* rays, std::size_t count, F&& f) const {
        detail::expect_no_answer<std::uint32_t, F>();
        trace_all(&context, rays, count, nullptr, detail::get_stop_call(f));
    }
    template <typename F> void all_hits(const std::vector<Ray>& rays, F&& f) const {
        detail::expect_no_answer<std::uint32_t, F>();
        trace_all(nullptr, rays.data(), rays.size(), nullptr, detail::get_stop_call(f));
    }

    /// The items whose padded boxes overlap or touch `box`, in no order. Plain trees only.
    std::vector<std::uint32_t> items_in(const Box& box) const;
    /// Up to `max_count` items by the distance from `point` to the centre of their boxes, nearest
    /// first, of those whose boxes come within `max_distance` along each axis. Plain trees only.
    std::vector<NearItem> nearest_boxes(const Vector& point, std::size_t max_count,
                                        double max_distance = infinity) const;

    /// The item closest to `point`, at most `max_distance` away: `f` takes (item, point), or (item,
    /// point, bound), and answers the distance, or any larger number than the bound. It is called
    /// only for items whose boxes are near enough. Not in grids. Of items at the same distance the
    /// lowest is found.
    template <typename F>
    NearItem closest_point(const Vector& point, F&& f, double max_distance = infinity) const {
        return find_closest(nullptr, point, max_distance, detail::get_point_call(f));
    }
    template <typename F>
    NearItem closest_point(Context& context, const Vector& point, F&& f,
                           double max_distance = infinity) const {
        return find_closest(&context, point, max_distance, detail::get_point_call(f));
    }

  private:
    friend class detail::SceneData;

    explicit Tree(std::shared_ptr<detail::TreeData> data) noexcept;
    NearItem find_closest(Context* context, const Vector& point, double max_distance,
                          const detail::PointCall& call) const;

    Hit trace_closest(Context* context, const Ray& ray, const detail::DistanceCall& call) const;
    /// `asks_cache`: whether the item that stopped the ray before comes first, crossed or not.
    bool trace_all(Context* context, const Ray& ray, const detail::StopCall& call,
                   bool asks_cache) const;
    void trace_closest(Context* context, const Ray* rays, std::size_t count, Hit* hits,
                       const detail::DistanceCall& call) const;
    void trace_all(Context* context, const Ray* rays, std::size_t count, bool* hits,
                   const detail::StopCall& call) const;

    /// Null when empty. A scene shares what its instances are made of.
    std::shared_ptr<detail::TreeData> m_data;
};

/// The numbers of the boxes that a tree does not take: with a NaN or an infinity, with a min above
/// its max, or beyond 1e30.
GAS_EASY_EXPORT std::vector<std::size_t> find_bad_boxes(const std::vector<Box>& boxes);

} // namespace gas_abi1
} // namespace gas
