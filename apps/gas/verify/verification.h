// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <apps/gas/trees/traced_tree.h>
#include <apps/gas/verify/verified_rays.h>

namespace gas_app {

/// What of two records of the same rays has to be equal.
enum class Agreement { results, histories };

/// Compares rays, and counts them.
class RayComparison {
  public:
    /// How many differences are described.
    static constexpr unsigned most_described = 20;

    /// `what` names the trees and ways that are held against each other.
    void compare(const std::string& what, const std::vector<RayRecord>& expected,
                 const std::vector<RayRecord>& found, Agreement agreement);

    std::uint64_t get_count() const { return m_count; }
    std::uint64_t get_difference_count() const { return m_difference_count; }
    /// A line for each of the first differences.
    const std::vector<std::string>& get_descriptions() const { return m_descriptions; }

  private:
    std::uint64_t m_count = 0;
    std::uint64_t m_difference_count = 0;
    std::vector<std::string> m_descriptions;
};

/// Holds every tree, build method, query and way of tracing against brute force, the faster walks
/// against the walk of the binary tree, and those of further instruction sets against those of the
/// baseline, call by call.
class Verification {
  public:
    /// Of a scene, whose trees are built at once.
    Verification(const VerifiedScene& scene, AppBase& application);
    Verification(const Verification&) = delete;
    Verification& operator=(const Verification&) = delete;

    /// Rays `first` to `first + count - 1` of the scene in all ways; `name` stands before what is
    /// described.
    void check(std::uint64_t first, unsigned count, const std::string& name,
               RayComparison& comparison);

  private:
    /// A tree; its queries and streams serve whichever rays are being checked.
    struct Entry {
        std::string name;
        TracedTree tree;
        /// The binary tree that calls the same leaves, which is checked before; null: no other
        /// does.
        const Entry* binary = nullptr;
        /// What became of the rays with the present question, one by one and as a stream.
        std::vector<RayRecord> single;
        std::vector<RayRecord> stream;
    };
    /// A query and what callbacks do, for which the rest is checked.
    struct Question {
        std::string name;
        Behaviour behaviour;
        bool is_nearest;
        bool is_moving;
    };
    struct Context;

    void add(const std::string& name, const TreeSettings& settings, const Entry* binary,
             AppBase& application);
    static void check_entry(const Context& context, Entry& entry);
    static void call_item(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                          GeometryRaytraceCtx& ctx);

    const VerifiedScene& m_scene;
    std::vector<std::unique_ptr<Entry>> m_entries;
    /// Those that the callbacks pass calls to.
    VerifiedRays* m_rays = nullptr;
};

} // namespace gas_app
