// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <apps/gas/verify/comparison.h>
#include <apps/gas/verify/owning_trees.h>
#include <apps/gas/verify/reference.h>
#include <apps/gas/verify/verified_trees.h>

namespace gas_app {

/// How a question is asked of a tree.
enum class AskedWay {
    one_by_one,
    batch, ///< one call for all; together where the query has packets
    stream,
    stream_alone, ///< streams of one ray each, without cached leaves
};

/// Rays that are asked a question through trees: what became of them, held against what else there
/// is. First by the baseline's instructions, and then by further ones.
class AskedRays {
  public:
    /// All live as long. `where` describes the scene and the rays.
    AskedRays(VerifiedTrees& trees, OwningVerification& owning, VerifiedRays& rays,
              const Question& question, std::string where, Comparison& comparison);

    /// Asks trees of a kind, a number of `verified_kinds`.
    void check(unsigned method, unsigned kind);
    /// Asks those of the owning interface, of `owning_names`, a question that has one result.
    void check_owning(unsigned method, unsigned kind);
    /// Asks all that were asked again: everything has to be the same.
    void check_again(const std::string& instruction_set);

  private:
    struct Key {
        unsigned method;
        unsigned kind;
        AskedWay way;

        bool operator<(const Key& other) const {
            return std::tie(method, kind, way) < std::tie(other.method, other.kind, other.way);
        }
    };

    std::string describe(unsigned method) const;
    std::vector<RayRecord> trace(const Key& key);
    /// What became of the rays; they are traced once.
    const std::vector<RayRecord>& find(const Key& key);
    const std::vector<RayRecord>& find_expected(unsigned method);

    VerifiedTrees& m_trees;
    OwningVerification& m_owning;
    VerifiedRays& m_rays;
    const Question& m_question;
    const std::string m_where;
    Comparison& m_comparison;
    const Reference m_reference;
    std::map<Key, std::vector<RayRecord>> m_found;
    /// By brute force.
    std::vector<RayRecord> m_expected;
    /// What is asked again.
    std::vector<Key> m_checked;
    std::vector<std::pair<unsigned, unsigned>> m_checked_owning;
};

} // namespace gas_app
