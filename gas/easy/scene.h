// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <gas/easy/calls.h>
#include <gas/easy/context.h>
#include <gas/easy/easy_export.h>
#include <gas/easy/options.h>
#include <gas/easy/transform.h>
#include <gas/easy/tree.h>
#include <gas/easy/values.h>

namespace gas {
inline namespace gas_abi1 {

namespace detail {
class SceneData;
}

/// The closest hit of a ray in a scene; false where there is none.
struct SceneHit {
    double distance = miss;
    std::uint32_t item = no_item;
    /// The way to the item: the instance's number in the scene that was asked, then the one in the
    /// scene that this is an instance of, and so on.
    std::vector<std::uint32_t> instances;

    explicit operator bool() const { return item != no_item; }
};

/// Instances of trees and of other scenes, each with a transform, at rest or in motion, nested to
/// any depth.
///
///     gas::Scene scene;
///     for (const gas::Transform& placed : placements)
///         scene.add(tree, placed);
///     scene.build();
///     const gas::SceneHit hit = scene.closest_hit(
///         ray, [&](const gas::Place& place, const gas::Ray& ray) {
///             return intersect(triangles[place.item], ray); // in the space of the tree
///         });
///
/// Distances are the same in all spaces, because directions are transformed as they are: an
/// intersection function answers what it finds for the ray that it is given.
///
/// A scene shares what its instances are made of: a tree or a scene that it was given may be moved
/// or destroyed. What changes the boxes of one of them (`refit`, `set_motion`, `build`) is followed
/// by `build` of the scenes that hold it, inner ones first. Any number of threads may ask a scene
/// at once; what changes it needs exclusive access.
class GAS_EASY_EXPORT Scene {
  public:
    Scene();
    Scene(Scene&& other) noexcept;
    Scene& operator=(Scene&& other) noexcept;
    ~Scene();

    /// Adds an instance, by a transform from its space to the scene's, or in motion: at two or more
    /// times, evenly from 0 to 1, between which its numbers are blended. Returns its number; they
    /// count from 0. Throws Error for a transform without an inverse, an empty tree or scene, and
    /// for a scene that holds this one.
    std::uint32_t add(const Tree& tree, const Transform& transform = {});
    std::uint32_t add(const Tree& tree, const std::vector<Transform>& motion);
    std::uint32_t add(const Scene& scene, const Transform& transform = {});
    std::uint32_t add(const Scene& scene, const std::vector<Transform>& motion);
    /// Of an instance that was added.
    void set_transform(std::uint32_t instance, const Transform& transform);
    void set_transform(std::uint32_t instance, const std::vector<Transform>& motion);

    /// Makes the tree over the instances. Queries throw Error where it is due.
    void build(const Options& options = {});

    std::size_t size() const;
    bool is_empty() const { return size() == 0; }
    /// Around the padded boxes of all instances at all times.
    Box bounds() const;

    /// Queries are those of Tree; `f` takes (place, ray) or (place, ray, index), the ray in the
    /// space of the place's tree.
    template <typename F> SceneHit closest_hit(const Ray& ray, F&& f) const {
        return trace_closest(nullptr, ray, detail::get_place_distance_call(f));
    }
    template <typename F> SceneHit closest_hit(Context& context, const Ray& ray, F&& f) const {
        return trace_closest(&context, ray, detail::get_place_distance_call(f));
    }
    template <typename F> bool any_hit(const Ray& ray, F&& f) const {
        return trace_all(nullptr, ray, detail::get_place_stop_call(f));
    }
    template <typename F> bool any_hit(Context& context, const Ray& ray, F&& f) const {
        return trace_all(&context, ray, detail::get_place_stop_call(f));
    }
    template <typename F> void all_hits(const Ray& ray, F&& f) const {
        detail::expect_no_answer<const Place&, F>();
        trace_all(nullptr, ray, detail::get_place_stop_call(f));
    }
    template <typename F> void all_hits(Context& context, const Ray& ray, F&& f) const {
        detail::expect_no_answer<const Place&, F>();
        trace_all(&context, ray, detail::get_place_stop_call(f));
    }

    template <typename F>
    std::vector<SceneHit> closest_hits(const std::vector<Ray>& rays, F&& f) const {
        std::vector<SceneHit> hits(rays.size());
        trace_closest(nullptr, rays.data(), rays.size(), hits.data(),
                      detail::get_place_distance_call(f));
        return hits;
    }
    template <typename F>
    void closest_hits(Context& context, const Ray* rays, std::size_t count, SceneHit* hits,
                      F&& f) const {
        trace_closest(&context, rays, count, hits, detail::get_place_distance_call(f));
    }
    template <typename F> std::vector<bool> any_hits(const std::vector<Ray>& rays, F&& f) const {
        const std::unique_ptr<bool[]> hits(new bool[rays.size()]);
        trace_all(nullptr, rays.data(), rays.size(), hits.get(), detail::get_place_stop_call(f));
        return std::vector<bool>(hits.get(), hits.get() + rays.size());
    }
    template <typename F>
    void any_hits(Context& context, const Ray* rays, std::size_t count, bool* hits, F&& f) const {
        trace_all(&context, rays, count, hits, detail::get_place_stop_call(f));
    }

  private:
    SceneHit trace_closest(Context* context, const Ray& ray,
                           const detail::PlaceDistanceCall& call) const;
    bool trace_all(Context* context, const Ray& ray, const detail::PlaceStopCall& call) const;
    void trace_closest(Context* context, const Ray* rays, std::size_t count, SceneHit* hits,
                       const detail::PlaceDistanceCall& call) const;
    void trace_all(Context* context, const Ray* rays, std::size_t count, bool* hits,
                   const detail::PlaceStopCall& call) const;

    std::shared_ptr<detail::SceneData> m_data;
};

} // namespace gas_abi1
} // namespace gas
