// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <apps/gas/verify/asked_rays.h>
#include <apps/gas/verify/spatial_verification.h>

namespace gas_app {

/// A scene, and what is built of it when it is first asked for, by any thread.
class Verification {
  public:
    explicit Verification(std::unique_ptr<const VerifiedScene> scene)
        : m_scene(std::move(scene)), m_trees(*m_scene), m_owning(m_trees),
          m_spatial(m_trees, m_owning) {}
    Verification(const Verification&) = delete;
    Verification& operator=(const Verification&) = delete;

    const VerifiedScene& get_scene() const { return *m_scene; }
    VerifiedTrees& get_trees() { return m_trees; }
    OwningVerification& get_owning() { return m_owning; }
    SpatialVerification& get_spatial() { return m_spatial; }

  private:
    const std::unique_ptr<const VerifiedScene> m_scene;
    VerifiedTrees m_trees;
    OwningVerification m_owning;
    SpatialVerification m_spatial;
};

/// What rays are asked, and through which trees.
struct VisitPlan {
    /// Describes the scene.
    std::string name;
    std::uint64_t first_ray = 0;
    unsigned ray_count = 0;
    unsigned batch_size = 0;
    /// Numbers of build methods.
    std::vector<unsigned> methods;
    /// Each batch is asked one question, after another, through trees of one kind and method that
    /// the choice decides on; otherwise all questions through all trees.
    bool is_in_turn = false;
    std::uint64_t choice = 0;
    unsigned spatial_count = 0;
};

/// Rays of a scene that are asked questions. Every other batch is a tile of a picture.
class Visit {
  public:
    Visit(std::shared_ptr<Verification> verification, const VisitPlan& plan)
        : m_verification(std::move(verification)), m_plan(plan) {}

    /// By the baseline's instructions, and then what of it further instructions do.
    void run();
    void run_again(const std::string& instruction_set);
    const Comparison& get_comparison() const { return m_comparison; }

  private:
    void make_batches();
    void ask_all(VerifiedRays& rays, const std::string& where);
    void ask_one(VerifiedRays& rays, const std::string& where, unsigned batch);
    AskedRays& add(VerifiedRays& rays, const Question& question, const std::string& where);

    const std::shared_ptr<Verification> m_verification;
    const VisitPlan m_plan;
    Comparison m_comparison;
    std::vector<std::unique_ptr<VerifiedRays>> m_batches;
    std::vector<std::unique_ptr<AskedRays>> m_asked;
};

} // namespace gas_app
