// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <tuple>
#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/tree_kinds.h>

namespace support {

/// A tree of the class that a test's parameter names. A test of it is compiled once, where a typed
/// one is for each class.
class EitherTree {
  public:
    explicit EitherTree(TreeClass of) : m_class(of) {}

    template <typename Visit> void visit(const Visit& visit) {
        if (m_class == TreeClass::plain)
            visit(m_plain);
        else
            visit(m_compressed);
    }

    void clear() {
        visit([](auto& tree) { tree.clear(); });
    }
    template <typename... Arguments> void set_leaf_raytrace_callbacks(Arguments... arguments) {
        visit([&](auto& tree) { tree.set_leaf_raytrace_callbacks(arguments...); });
    }
    /// As a cached leaf names it.
    const void* get_address() const {
        return m_class == TreeClass::plain ? static_cast<const void*>(&m_plain) : &m_compressed;
    }

  private:
    TreeClass m_class;
    GasTree m_plain;
    GasCompressedTree m_compressed;
};

inline void build(EitherTree& either, const std::vector<naive::Box>& boxes,
                  naive::Split split = naive::Split::sah_fast,
                  const std::vector<unsigned>& indices = {}) {
    either.visit([&](auto& tree) { build(tree, boxes, split, indices); });
}
inline void fill_samples(EitherTree& either, const std::vector<std::vector<naive::Box>>& samples) {
    either.visit([&](auto& tree) { fill_samples(tree, samples); });
}
inline void trace(EitherTree& either, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                  bool single_leaf_shortcut = false, const CtxEval& eval = CtxEval()) {
    either.visit([&](auto& tree) { trace(tree, query, shader, rays, single_leaf_shortcut, eval); });
}

/// A class of trees and a query, as a test's parameter.
using ClassAndQuery = std::tuple<TreeClass, RayQuery>;

inline const auto all_classes_and_queries =
    testing::Combine(testing::ValuesIn(both_tree_classes), testing::ValuesIn(all_ray_queries));

inline std::string name_class_and_query(const testing::TestParamInfo<ClassAndQuery>& info) {
    return std::string(name(std::get<TreeClass>(info.param))) + "_" +
           name(std::get<RayQuery>(info.param));
}

} // namespace support
