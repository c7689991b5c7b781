// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <bench/bench_triangle.h>
#include <bench/peer/contender.h>

namespace gas_peer {

/// A job that never changes and that neither side has a part in: rays against triangles, one after
/// the other. Its time, in turn with others, tells how fast the machine is at the moment.
class ReferenceJob {
  public:
    ReferenceJob();

    /// This outlives it.
    Contender make_contender();

  private:
    void run();

    std::vector<gas_bench::Triangle> m_triangles;
    std::vector<gas_bench::Ray> m_rays;
    /// Of the last run; keeps it from being dropped.
    unsigned m_hit_count = 0;
};

} // namespace gas_peer
