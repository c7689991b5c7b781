// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include <gas/easy/context_data.h>
#include <gas/easy/scene.h>
#include <gas/easy/transform.h>
#include <gas/easy/tree.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

using Path = std::vector<std::uint32_t>;

/// A query on its way through instances. `Call` is one of the program's.
template <typename Call> struct SceneQuery {
    Call call;
    Context* context;
    /// The instances that the ray is in.
    Path& path;
    /// The ray's number in its batch.
    std::size_t index;
    /// The closest hit so far; null for other queries.
    SceneHit* hit;
};

/// What a Scene is: its instances, and a tree over their boxes.
class SceneData {
  public:
    /// Of one of the two.
    struct Child {
        std::shared_ptr<TreeData> tree;
        std::shared_ptr<const SceneData> scene;
    };

    static Child get_child(const Tree& tree);

    std::uint32_t add(Child child, const std::vector<Transform>& motion);
    void set_transform(std::uint32_t instance, const std::vector<Transform>& motion);
    void build(const Options& options);

    std::size_t get_size() const { return m_instances.size(); }
    /// Around everything at all times.
    const Box& get_seen_bounds() const {
        expect_built();
        return m_seen_bounds;
    }
    bool holds(const SceneData& scene) const;
    /// Throws Error where the tree over the instances is not theirs any more.
    void expect_built() const;

    /// The distance of the closest hit, gas::miss where there is none closer than the ray's far
    /// distance.
    double trace_closest(SceneQuery<PlaceDistanceCall>& query, const Ray& ray) const;
    bool trace_all(SceneQuery<PlaceStopCall>& query, const Ray& ray) const;
    /// Batches.
    void trace_closest(Context* context, const Ray* rays, std::size_t count, SceneHit* hits,
                       const PlaceDistanceCall& call, Path& path) const;
    void trace_all(Context* context, const Ray* rays, std::size_t count, bool* hits,
                   const PlaceStopCall& call, Path& path) const;

  private:
    struct Instance {
        Child child;
        /// One, or those of two or more times.
        std::vector<Transform> motion;
        /// Of the one.
        Transform inverse;
    };

    static void prepare(Instance& instance, const std::vector<Transform>& motion);
    static Transform get_transform(const Instance& instance, double time);
    static Ray get_local_ray(const Instance& instance, const Ray& ray);
    std::size_t get_sample_count() const;
    std::vector<Box> get_boxes(double time) const;
    double find_closest(SceneQuery<PlaceDistanceCall>& query, std::uint32_t number,
                        const Ray& ray) const;
    bool find_any(SceneQuery<PlaceStopCall>& query, std::uint32_t number, const Ray& ray) const;

    std::vector<Instance> m_instances;
    Tree m_top;
    Box m_seen_bounds;
    bool m_is_built = true;
};

} // namespace detail
} // namespace gas_abi1
} // namespace gas
