// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <apps/gas/verify/verified_rays.h>

namespace gas_app {

/// What of two records of the same rays has to be equal.
enum class Agreement { results, histories };

/// What is held against what: a row of the report.
struct ComparedPair {
    std::string tree;
    std::string way;
    std::string against;

    bool operator<(const ComparedPair& other) const {
        return std::tie(tree, way, against) < std::tie(other.tree, other.way, other.against);
    }
};

/// Counts comparisons and differences, and describes the first differences.
class Comparison {
  public:
    static constexpr std::size_t most_described = 20;

    struct Counts {
        std::uint64_t comparisons = 0;
        std::uint64_t differences = 0;

        void add(const Counts& other) {
            comparisons += other.comparisons;
            differences += other.differences;
        }
    };

    /// `where`: scene, question, build method. Of `found` every `step`-th ray was expected. `rays`
    /// describe themselves; null: they are told of by their numbers alone.
    void compare_rays(const ComparedPair& pair, const std::string& where,
                      const std::vector<RayRecord>& expected, const std::vector<RayRecord>& found,
                      Agreement agreement, const VerifiedRays* rays = nullptr, unsigned step = 1);
    /// One comparison of anything; `describe` is called for a difference.
    template <typename Describe>
    void compare(const ComparedPair& pair, bool is_same, const Describe& describe) {
        count(pair, {1, is_same ? 0u : 1u});
        if (!is_same)
            tell(pair, describe());
    }

    /// Adds what another has counted and described.
    void add(const Comparison& other);

    /// In the order of their names.
    const std::map<ComparedPair, Counts>& get_rows() const { return m_rows; }
    Counts get_total() const;
    /// A line for each of the first differences.
    const std::vector<std::string>& get_descriptions() const { return m_descriptions; }

  private:
    void count(const ComparedPair& pair, const Counts& counts) { m_rows[pair].add(counts); }
    void tell(const ComparedPair& pair, const std::string& what);

    std::map<ComparedPair, Counts> m_rows;
    std::vector<std::string> m_descriptions;
};

} // namespace gas_app
