// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_part_trees.h>

#include <numeric>

#include <apps/common/tree_calls.h>

namespace gas_bench {

template <typename Tree> PartTrees<Tree>::PartTrees(const Scene& scene, bool may_move) {
    unsigned first = 0;
    for (const Scene& part : scene.parts) {
        std::vector<unsigned> items(part.boxes.get_count());
        std::iota(items.begin(), items.end(), first);
        first += part.boxes.get_count();
        m_trees.push_back(std::make_unique<Tree>());
        create_traced_tree(*m_trees.back(), part, may_move, items.data());
    }
}

template <typename Tree> void PartTrees<Tree>::set_callbacks(const LeafCallbacks& callbacks) {
    for (const std::unique_ptr<Tree>& tree : m_trees)
        callbacks.set(*tree);
}

template <typename Tree> LeafCallbacks PartTrees<Tree>::get_callbacks() {
    return {trace_part<GasRayCall::hit_static>, trace_part<GasRayCall::hit_motion>,
            trace_part<GasRayCall::nearest_static>, trace_part<GasRayCall::nearest_motion>, this};
}

template <typename Tree> std::size_t PartTrees<Tree>::get_size(bool in_motion) const {
    std::size_t size = 0;
    for (const std::unique_ptr<Tree>& tree : m_trees)
        size += get_traced_size(*tree, in_motion);
    return size;
}

template <typename Tree>
template <GasRayCall call>
void PartTrees<Tree>::trace_part(void* user, const unsigned& part, const CtxEval& eval,
                                 CtxShader& shader, GeometryRaytraceCtx& ctx) {
    const PartTrees& self = *static_cast<const PartTrees*>(user);
    const Tree& tree = *self.m_trees[part];
    if (!self.m_counts)
        gas_app::call_tree(tree, call, GasRayWay::query, eval, shader, ctx);
    else
        TreeKind<Tree>::ask([&](const auto&... flags) {
            gas_counted_rays(tree, call, GasRayWay::query, eval, shader, ctx, flags...,
                             *self.m_counts);
        });
}

template class PartTrees<GasTree>;
template class PartTrees<GasCompressedTree>;
template class PartTrees<GasGridTree>;

} // namespace gas_bench
