// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <bench/bench_tracer.h>
#include <bench/peer/contender.h>

namespace gas_peer {

/// The rays that two contenders answered differently.
struct Differences {
    /// Rays with different answers.
    unsigned ray_count = 0;
    /// Those that rounding does not explain. (Where there are too many to examine, the others count
    /// as unexplained.)
    unsigned unexplained_count = 0;
    /// A description of the first unexplained ray.
    std::string example;
};

/// Compares answers ray by ray. Where they differ, every item is intersected with the ray. An
/// answer is right when it is that of all items, or of all but some whose box the ray merely
/// grazes: whether it enters such a box is a matter of rounding, and so is the order of two hits
/// whose distances differ in their last bits.
class AnswerCheck {
  public:
    /// Scene and rays outlive this.
    AnswerCheck(const gas_bench::Scene& scene, const std::vector<gas_bench::Ray>& rays,
                gas_bench::Query query, bool in_motion)
        : m_scene(scene), m_rays(rays), m_query(query), m_in_motion(in_motion) {}

    Differences compare(const Answers& first, const Answers& second) const;

  private:
    struct Hit {
        float distance;
        bool is_grazing;
    };

    std::vector<Hit> find_hits(const gas_bench::Ray& ray) const;
    bool is_right(const std::vector<Hit>& hits, float answer) const;

    const gas_bench::Scene& m_scene;
    const std::vector<gas_bench::Ray>& m_rays;
    gas_bench::Query m_query;
    bool m_in_motion;
};

} // namespace gas_peer
