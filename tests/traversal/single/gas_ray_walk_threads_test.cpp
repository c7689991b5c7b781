#include <gtest/gtest.h>

#include <gas/tree/gas_tree.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/threaded_rays.h>

namespace {

using support::RayQuery;
using support::ThreadedRays;

class RayWalkThreads : public testing::Test {
  protected:
    RayWalkThreads() {
        const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, 500, 1);
        tree.set_wide_nodes(true);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, scenes::make(scenes::Kind::random, 500, 2)});
        ThreadedRays::attach(tree);
    }

    GasTree tree;
};

TEST_F(RayWalkThreads, ThreadsThatShareATreeFindWhatOneThreadFinds) {
    const auto query = [&](RayQuery kind, CtxShader& shader, GeometryRaytraceCtx& rays,
                           const CtxEval& eval) {
        support::trace(tree, kind, shader, rays, false, eval);
    };
    ThreadedRays(16).expect_same(query, query);
    tree.set_wide_nodes(false);
    ThreadedRays(16).expect_same(query, query);
}

TEST_F(RayWalkThreads, StreamsOfThreadsThatShareATreeFindWhatOneThreadsDo) {
    const auto stream = [&](RayQuery kind, CtxShader& shader, GeometryRaytraceCtx& rays,
                            const CtxEval& eval) {
        support::trace_stream(tree, kind, shader, rays, eval, false);
    };
    ThreadedRays(160).expect_same(stream, stream);
    tree.set_wide_nodes(false);
    ThreadedRays(160).expect_same(stream, stream);
}

} // namespace
