// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/allocation_attempts.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace {

using support::RayQuery;

/// Callbacks that stream rays of their own through another tree, and from there again.
struct Nested {
    const GasTree& tree;
    GeometryRayBatch (&batches)[3];
    unsigned depth = 0;
    unsigned calls[3] = {0, 0, 0};

    void stream(CtxShader& with) {
        for (unsigned ray = 0; ray < batches[depth].get_ray_count(); ++ray)
            batches[depth].set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        support::trace_stream(tree, RayQuery::hit_static, with, batches[depth].get_ctx());
    }
    static void call(void* user, const unsigned&, const CtxEval&, CtxShader& with,
                     GeometryRaytraceCtx& rays) {
        Nested& self = *static_cast<Nested*>(user);
        ++self.calls[self.depth];
        if (self.depth < 2 && support::get_only_ray(rays) % 16 == 1) {
            ++self.depth;
            self.stream(with);
            --self.depth;
        }
    }
};

class NestedRayStream : public testing::TestWithParam<std::tuple<RayQuery, bool>> {};

TEST_P(NestedRayStream, UsesTheSameShaderAndGrownFramesAreEnough) {
    const RayQuery query = std::get<RayQuery>(GetParam());
    constexpr unsigned ray_count = 70;
    const std::vector<naive::Box> boxes = support::row_of_boxes(9);
    GasTree tree;
    tree.set_wide_nodes(std::get<bool>(GetParam()));
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes});
    support::RecordingCallbacks calls(tree);
    support::TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    GeometryRayBatch batch(ray_count);
    for (unsigned ray = 0; ray < ray_count; ++ray)
        batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    const auto run = [&] { support::trace_stream(tree, query, shader, batch.get_ctx()); };
    GasTree inner;
    GeometryRayBatch batches[] = {GeometryRayBatch(40), GeometryRayBatch(33), GeometryRayBatch(3)};
    inner.set_wide_nodes(std::get<bool>(GetParam()));
    support::build(inner, support::row_of_boxes(4));
    Nested nested = {inner, batches};
    inner.set_leaf_raytrace_callbacks(Nested::call, Nested::call, &nested);
    calls.react = [&](unsigned item, CtxShader& with, GeometryRaytraceCtx& rays) {
        if (item == 4 && support::get_only_ray(rays) % 35 == 0)
            nested.stream(with);
    };
    run();
    EXPECT_EQ(calls.take_ray_count(), 9 * ray_count);
    EXPECT_EQ(nested.calls[0], 2u * 40 * 4);
    EXPECT_EQ(nested.calls[1], 2u * 3 * 4 * 33 * 4);
    EXPECT_EQ(nested.calls[2], 2u * 3 * 4 * 2 * 4 * 3 * 4);

    calls.calls.reserve(9 * ray_count);
    EXPECT_EQ(support::count_allocations(run), 0u);
    EXPECT_EQ(calls.take_ray_count(), 9 * ray_count);
}

INSTANTIATE_TEST_SUITE_P(Queries, NestedRayStream,
                         testing::Combine(testing::ValuesIn(support::all_ray_queries),
                                          testing::Bool()),
                         [](const auto& way) { return support::name(way.param); });

} // namespace
