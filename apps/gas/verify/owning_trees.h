// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <gas/gas.h>

#include <apps/gas/verify/comparison.h>
#include <apps/gas/verify/reference.h>

namespace gas_app {

/// What the owning interface makes of a scene.
inline constexpr std::array<const char*, 6> owning_names = {
    "gas::Tree, plain",  "gas::Tree, compressed", "gas::Tree, grid",
    "gas::Tree, loaded", "gas::Tree, mapped",     "gas::Scene, nested instances"};

/// A tree of the owning interface at rest, and one in motion.
class OwningTree {
  public:
    /// `kind`: a number of `owning_names`.
    OwningTree(const VerifiedScene& scene, unsigned method, unsigned kind);

    const gas::Tree& get(bool is_moving) const { return m_trees[is_moving]; }

  private:
    static gas::Tree make(const VerifiedScene& scene, unsigned method, unsigned kind,
                          bool is_moving);

    gas::Tree m_trees[2];
};

/// Instances of a tree, of which some stand in an instance of another scene.
class OwningScene {
  public:
    OwningScene(const OwningTree& tree, const Box& bounds);

    const gas::Scene& get(bool is_moving) const { return m_outer[is_moving]; }

    /// The ways to the tree have numbers.
    static constexpr unsigned way_count = 5;
    static unsigned get_way(const gas::Place& place) {
        return place.depth == 1 ? 4 : 2 * place.instances[0] + place.instances[1];
    }
    /// The ray in the space of the tree at the end of the way.
    VerifiedScene::Ray get_local_ray(const VerifiedScene::Ray& ray, unsigned way,
                                     bool is_moving) const;
    /// What an item at the end of the way adds to what its ray has collected, for each of what the
    /// item alone does.
    static std::uint64_t get_weight(unsigned way) { return 2 * way + 3; }

  private:
    /// At one time, or in motion at two.
    using Motion = std::vector<gas::Transform>;

    Motion m_inner_places[2][2];
    Motion m_outer_places[2][3];
    gas::Scene m_inner[2];
    gas::Scene m_outer[2];
};

/// Holds the owning interface against the reference.
class OwningVerification {
  public:
    explicit OwningVerification(VerifiedTrees& trees)
        : m_scene(trees.get_scene()), m_reference(trees) {}

    /// Of a tree that is no scene, made when it is first asked for, by any thread.
    const OwningTree& get_tree(unsigned method, unsigned kind);

    /// Asks rays a question that has one result, which is `expected`.
    void check(unsigned method, unsigned kind, VerifiedRays& rays, const Question& question,
               const std::vector<RayRecord>& expected, const std::string& where,
               Comparison& comparison);

  private:
    struct Place {
        std::once_flag once;
        std::unique_ptr<OwningTree> tree;
        std::unique_ptr<OwningScene> scene;
    };
    struct Asked;

    const OwningScene& get_scene(unsigned method);
    std::vector<RayRecord> find_in_instances(const OwningScene& scene, const VerifiedRays& rays,
                                             const Question& question, unsigned method) const;

    const VerifiedScene& m_scene;
    Reference m_reference;
    Place m_places[build_method_names.size()][owning_names.size()];
};

} // namespace gas_app
