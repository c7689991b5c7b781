// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include <apps/gas/mesh/triangle_mesh.h>
#include <apps/gas/verify/verification.h>

namespace gas_app {

/// Which scenes are verified, and how.
struct VerificationSettings {
    /// None: random boxes of many kinds, in scenes of at most `item_count` items.
    std::optional<TriangleMesh> mesh;
    /// Of a mesh: in each visit so many other triangles that follow one another; 0: all.
    unsigned item_count = 0;
    std::uint64_t seed = 1;
    std::uint64_t ray_count = 0;
    unsigned thread_count = 1;
    /// Numbers of build methods.
    std::vector<unsigned> methods;
    /// As VisitPlan has it.
    bool is_in_turn = false;
};

/// Runs a verification: scene by scene, and of each by the baseline's instructions first. What is
/// compared does not depend on the number of threads.
class VerificationRun {
  public:
    explicit VerificationRun(const VerificationSettings& settings);

    /// Fills the progress bar, which may be null.
    Comparison run(AppProgressBar* progress_bar = nullptr);
    /// Of the last run.
    unsigned get_visit_count() const { return m_visit_count; }

  private:
    bool has_one_scene() const;
    unsigned get_batch_size() const;
    VisitPlan make_plan(unsigned visit, std::uint64_t first_ray) const;
    std::unique_ptr<Visit> make_visit(VisitPlan plan, unsigned visit) const;
    std::unique_ptr<const VerifiedScene> make_scene(std::uint64_t seed) const;

    const VerificationSettings& m_settings;
    /// Of a whole mesh.
    std::shared_ptr<Verification> m_whole;
    unsigned m_visit_count = 0;
};

} // namespace gas_app
