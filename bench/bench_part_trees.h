// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <type_traits>
#include <vector>

#include <gas/diagnostics/gas_counted_rays.h>

#include <bench/bench_nested.h>
#include <bench/bench_trees.h>

namespace gas_bench {

/// The leaf callbacks of a tree, for `set_leaf_raytrace_callbacks`.
struct LeafCallbacks {
    GasLeafCallback hit_static;
    GasLeafCallback hit_motion;
    GasLeafCallback nearest_static;
    GasLeafCallback nearest_motion;
    void* user;

    template <typename Tree> void set(Tree& tree) const {
        tree.set_leaf_raytrace_callbacks(hit_static, hit_motion, nearest_static, nearest_motion,
                                         user);
    }
};

/// The trees over the parts of a scene, and the callbacks of the small tree above them, which pass
/// its rays on to the trees of the parts as they are.
template <typename Tree> class PartTrees {
  public:
    PartTrees(const Scene& scene, bool may_move);
    PartTrees(const PartTrees&) = delete;
    PartTrees& operator=(const PartTrees&) = delete;

    /// Of the trees over the parts, whose leaves are numbered through the whole scene.
    void set_callbacks(const LeafCallbacks& callbacks);
    /// Of the small tree. They have this object as their user.
    LeafCallbacks get_callbacks();
    /// Where the parts' walks are counted; null: they are not.
    void set_counts(GasWalkCounts* counts) { m_counts = counts; }
    /// Bytes of all trees, as of `get_traced_size`.
    std::size_t get_size(bool in_motion) const;

  private:
    template <GasRayCall call>
    static void trace_part(void* user, const unsigned& part, const CtxEval& eval, CtxShader& shader,
                           GeometryRaytraceCtx& ctx);

    std::vector<std::unique_ptr<Tree>> m_trees;
    GasWalkCounts* m_counts = nullptr;
};

} // namespace gas_bench
