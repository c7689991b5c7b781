// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/common/tree_calls.h>
#include <apps/gas/verify/verified_rays.h>
#include <apps/gas/verify/verified_trees.h>

namespace gas_app {

/// The query or stream of any tree; a tree of one leaf is walked like all others.
inline VerifiedRays::Trace get_trace(const VerifiedTree::AnyTree& traced, const Question& question,
                                     GasRayWay way) {
    const GasRayCall call = get_ray_call(question.is_nearest, question.is_moving);
    return [&traced, call, way](const CtxEval& eval, CtxShader& shader, GeometryRaytraceCtx& ctx) {
        std::visit([&](const auto& tree) { call_tree(tree, call, way, eval, shader, ctx); },
                   traced);
    };
}

/// What rays have to find: by brute force where there are few items, otherwise in the plain tree
/// without wide nodes, one by one.
class Reference {
  public:
    /// More items take long for every ray; these are then tried for one ray of so many.
    static constexpr unsigned most_items = 2000;
    static constexpr unsigned sample_step = 500;

    explicit Reference(VerifiedTrees& trees) : m_trees(trees) {}

    bool is_brute_force() const { return m_trees.get_scene().get_item_count() <= most_items; }
    const char* get_name() const { return is_brute_force() ? "brute force" : "plain, one by one"; }

    /// For questions that have one result.
    std::vector<RayRecord> find(VerifiedRays& rays, const Question& question,
                                unsigned method) const {
        if (is_brute_force())
            return rays.trace_by_brute_force(question);
        return rays.trace(get_trace(m_trees.get(method, 0), question, GasRayWay::query),
                          VerifiedRays::Way::one_by_one, question);
    }

  private:
    VerifiedTrees& m_trees;
};

} // namespace gas_app
