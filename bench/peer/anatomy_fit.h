// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <bench/bench_fit.h>
#include <bench/peer/anatomy_stage.h>
#include <bench/peer/table.h>

namespace gas_peer {

/// All groups of rays of one query, and the cost of a ray's parts that fits them best: a fixed one,
/// one for each node, one for each leaf call and one for each intersection in it.
class AnatomyFit {
  public:
    /// Every group has the same contenders.
    void add(const GroupCosts& group);
    /// The peer's device and call that are the fastest in the geometric mean of all groups.
    const std::string& get_peer() const { return m_contenders[find_peer()]; }
    void add_rows(Section& section) const;

  private:
    std::size_t find_peer() const;

    std::vector<std::string> m_contenders;
    /// By contender.
    std::vector<std::vector<gas_bench::FitSample>> m_samples;
};

/// A row of the library's figure and the peer's, less being better; NaN for none.
Row make_anatomy_row(const std::string& name, const std::string& unit, double ours, double peers,
                     const std::string& who);

} // namespace gas_peer
