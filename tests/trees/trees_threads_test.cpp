// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/threaded_rays.h>
#include <tests/support/tree_kinds.h>

// Threads that share a tree find what one thread finds.

namespace {

using support::RayQuery;
using support::ThreadedRays;

template <typename Tree> class TreesThreads : public testing::Test {
  protected:
    TreesThreads() {
        const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, 500, 1);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, scenes::make(scenes::Kind::random, 500, 2)});
        ThreadedRays::attach(tree);
    }

    Tree tree;
};

TYPED_TEST_SUITE(TreesThreads, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesThreads, QueriesThroughASharedTreeFindWhatOneThreadsDo) {
    const auto query = [&](RayQuery kind, CtxShader& shader, GeometryRaytraceCtx& rays,
                           const CtxEval& eval) {
        trace(this->tree, kind, shader, rays, false, eval);
    };
    support::for_each_walk(this->tree, [&] { ThreadedRays(16).expect_same(query, query); });
}

TYPED_TEST(TreesThreads, StreamsThroughASharedTreeFindWhatOneThreadsDo) {
    const auto stream = [&](RayQuery kind, CtxShader& shader, GeometryRaytraceCtx& rays,
                            const CtxEval& eval) {
        trace_stream(this->tree, kind, shader, rays, false, eval);
    };
    support::for_each_walk(this->tree, [&] { ThreadedRays(160).expect_same(stream, stream); });
}
