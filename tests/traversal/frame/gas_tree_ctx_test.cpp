// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <utility>
#include <vector>

#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/allocation_counter.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace {

using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

static_assert(sizeof(GasStackEntry) == 20);
static_assert(offsetof(GasStackEntry, node) == 0);
static_assert(offsetof(GasStackEntry, entry_distance) == 4);
static_assert(offsetof(GasStackEntry, first_ray) == 8);
static_assert(offsetof(GasStackEntry, last_ray) == 12);
static_assert(offsetof(GasStackEntry, extra) == 16);

/// Whether the offsets ascend strictly.
constexpr bool ascend(std::initializer_list<std::size_t> offsets) {
    return std::adjacent_find(offsets.begin(), offsets.end(), std::greater_equal<>()) ==
           offsets.end();
}

static_assert(std::is_standard_layout_v<GasTreeCtx>);
static_assert(offsetof(GasTreeCtx, stack) == 0);
static_assert(ascend({offsetof(GasTreeCtx, stack), offsetof(GasTreeCtx, stack_capacity),
                      offsetof(GasTreeCtx, stack_size), offsetof(GasTreeCtx, decoded_boxes),
                      offsetof(GasTreeCtx, decoded_box_capacity), offsetof(GasTreeCtx, node_states),
                      offsetof(GasTreeCtx, node_state_capacity),
                      offsetof(GasTreeCtx, index_capacity), offsetof(GasTreeCtx, counters),
                      offsetof(GasTreeCtx, indices), offsetof(GasTreeCtx, all_hits_cache),
                      offsetof(GasTreeCtx, nearest_cache), offsetof(GasTreeCtx, found),
                      offsetof(GasTreeCtx, children), offsetof(GasTreeCtx, child_hits),
                      offsetof(GasTreeCtx, child_entry_distances),
                      offsetof(GasTreeCtx, scratch_distances), offsetof(GasTreeCtx, current),
                      offsetof(GasTreeCtx, next)}),
              "the fields stand in their order");
static_assert(GasTreeCtx::cache_slot_count == 6);

void expect_fresh(const GasTreeCtx& ctx) {
    EXPECT_EQ(ctx.stack, nullptr);
    EXPECT_EQ(ctx.stack_capacity, 0u);
    EXPECT_EQ(ctx.decoded_boxes, nullptr);
    EXPECT_EQ(ctx.decoded_box_capacity, 0u);
    EXPECT_EQ(ctx.node_states, nullptr);
    EXPECT_EQ(ctx.node_state_capacity, 0u);
    EXPECT_EQ(ctx.index_capacity, 0u);
    EXPECT_EQ(ctx.indices, nullptr);
    for (unsigned slot = 0; slot < GasTreeCtx::cache_slot_count; ++slot) {
        EXPECT_EQ(ctx.all_hits_cache[slot].tree, nullptr);
        EXPECT_EQ(ctx.nearest_cache[slot].tree, nullptr);
    }
    EXPECT_EQ(ctx.next, nullptr);
}

/// How many rays go by until what the slot says of them is `coherent`; `end(ray)` is where each
/// ends.
template <typename End> unsigned count_until(GasRayCoherence& rays, bool coherent, const End& end) {
    unsigned count = 0;
    while (rays.is_coherent() != coherent && count < 10000)
        rays.end_ray(nullptr, end(++count));
    return count;
}

TEST(GasRayCoherence, TellsRaysThatEndWhereTheOneBeforeDid) {
    GasRayCoherence rays;
    EXPECT_TRUE(rays.is_coherent());
    EXPECT_LT(count_until(rays, false, [](unsigned ray) { return ray; }), 80u);
    EXPECT_LT(count_until(rays, true, [](unsigned) { return 5u; }), 8u);
    for (unsigned ray = 0; ray < 1000; ++ray)
        rays.end_ray(nullptr, 5);
    EXPECT_LT(count_until(rays, false, [](unsigned ray) { return ray; }), 120u);
}

TEST(GasRayCoherence, FollowsTheShareOfThoseThatEndThere) {
    // One ray in `period` ends where the one before did.
    for (const unsigned period : {2u, 6u, 12u, 40u}) {
        GasRayCoherence rays;
        unsigned node = 1;
        for (unsigned ray = 0; ray < 50 * period; ++ray)
            rays.end_ray(nullptr, ray % period == 0 ? node : ++node);
        EXPECT_EQ(rays.is_coherent(), period < 20) << period;
    }
}

TEST(GasRayCoherence, DoesNotCountRaysThatReachNothingBelowTheRoot) {
    GasRayCoherence rays;
    for (unsigned ray = 0; ray < 1000; ++ray)
        rays.end_ray(nullptr, ray);
    EXPECT_FALSE(rays.is_coherent());
    for (unsigned ray = 0; ray < 1000; ++ray)
        rays.end_ray(nullptr, 0);
    EXPECT_FALSE(rays.is_coherent());
}

TEST(GasRayCoherence, DoesNotCompareRaysOfDifferentTrees) {
    const char trees[2] = {};
    GasRayCoherence rays;
    for (unsigned ray = 1; ray < 1000; ++ray)
        rays.end_ray(&trees[ray % 2], ray);
    EXPECT_TRUE(rays.is_coherent()) << "as at the start";
    for (unsigned ray = 1; ray < 1000; ++ray)
        rays.end_ray(&trees[0], ray);
    EXPECT_FALSE(rays.is_coherent());
    for (unsigned ray = 1; ray < 1000; ++ray)
        rays.end_ray(&trees[ray % 2], 5);
    EXPECT_FALSE(rays.is_coherent()) << "equal references of different trees";
}

TEST(GasTreeCtx, CreatingGivesOneFreshFrameOfEachChain) {
    CtxShader shader;
    GasObject::create_ctx(shader);
    expect_fresh(*static_cast<GasTreeCtx*>(shader.tree_ctx_slot));
    const GasRaytraceFrame& frame = *static_cast<GasRaytraceFrame*>(shader.ray_frame_slot);
    EXPECT_EQ(frame.next, nullptr);
    EXPECT_EQ(frame.packets, nullptr);
    EXPECT_EQ(frame.packet_capacity, 0u);
    GasObject::destroy_ctx(shader);
}

TEST(GasTreeCtx, DestroyingEmptiesTheSlotsAndIsSafeOnEmptySlots) {
    CtxShader shader;
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(shader.tree_ctx_slot, nullptr);
    EXPECT_EQ(shader.ray_frame_slot, nullptr);

    GasObject::create_ctx(shader);
    GasObject::destroy_ctx(shader);
    EXPECT_EQ(shader.tree_ctx_slot, nullptr);
    EXPECT_EQ(shader.ray_frame_slot, nullptr);
    GasObject::destroy_ctx(shader);

    GasObject::create_ctx(shader);
    EXPECT_NE(shader.tree_ctx_slot, nullptr);
    EXPECT_NE(shader.ray_frame_slot, nullptr);
    GasObject::destroy_ctx(shader);
}

TEST(GasTreeCtx, DestroyingFreesOneChainWithoutTheOther) {
    for (const bool keep_ctx : {true, false}) {
        CtxShader shader;
        GasObject::create_ctx(shader);
        CtxShader other;
        if (keep_ctx)
            std::swap(other.ray_frame_slot, shader.ray_frame_slot);
        else
            std::swap(other.tree_ctx_slot, shader.tree_ctx_slot);
        GasObject::destroy_ctx(shader);
        EXPECT_EQ(shader.tree_ctx_slot, nullptr);
        EXPECT_EQ(shader.ray_frame_slot, nullptr);
        GasObject::destroy_ctx(other);
    }
}

TEST(GasTreeCtx, ALeaseTakesTheFrameAndGivesItBack) {
    TestShader shader;
    GasTreeCtx* const outer = &shader.get_tree_ctx();
    {
        const GasTreeCtxLease lease(shader, 7);
        EXPECT_EQ(&lease.get(), outer);
        EXPECT_EQ(shader.tree_ctx_slot, outer->next);
        ASSERT_NE(outer->next, nullptr);
        expect_fresh(*outer->next);
        EXPECT_EQ(outer->stack_capacity, 7u);
        {
            const GasTreeCtxLease nested(shader, 3);
            EXPECT_EQ(&nested.get(), outer->next);
            EXPECT_EQ(nested.get().stack_capacity, 3u);
            EXPECT_EQ(shader.tree_ctx_slot, outer->next->next);
        }
        EXPECT_EQ(shader.tree_ctx_slot, outer->next);
    }
    EXPECT_EQ(shader.tree_ctx_slot, outer);
    EXPECT_NE(outer->next, nullptr);
}

TEST(GasTreeCtx, AStackGrowsOnceAndNeverShrinks) {
    TestShader shader;
    GasTreeCtx& ctx = shader.get_tree_ctx();
    for (const unsigned count : {0u, 5u, 4u, 5u, 0u}) {
        const GasTreeCtxLease lease(shader, count);
        EXPECT_EQ(ctx.stack_capacity, count == 0 && !ctx.stack ? 0u : 5u);
    }
    const GasStackEntry* const stack = ctx.stack;
    { const GasTreeCtxLease lease(shader, 5); }
    EXPECT_EQ(ctx.stack, stack);
    { const GasTreeCtxLease lease(shader, 6); }
    EXPECT_EQ(ctx.stack_capacity, 6u);
}

TEST(GasTreeCtx, AStackTooLargeFailsAndLeavesTheFrameInPlace) {
    TestShader shader;
    GasTreeCtx& ctx = shader.get_tree_ctx();
    EXPECT_THROW(GasTreeCtxLease(shader, std::size_t{1} << 40), std::bad_alloc);
    EXPECT_EQ(shader.tree_ctx_slot, &ctx);
    { const GasTreeCtxLease lease(shader, 4); }
    EXPECT_EQ(ctx.stack_capacity, 4u);
}

TEST(GasTreeCtx, DecodedBoxesGrowAlignedAndNeverShrink) {
    GasTreeCtx ctx;
    ctx.reserve_decoded_boxes(0);
    EXPECT_EQ(ctx.decoded_boxes, nullptr);
    ctx.reserve_decoded_boxes(5);
    EXPECT_EQ(ctx.decoded_box_capacity, 5u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(ctx.decoded_boxes) % 16, 0u);
    const GasBbox* const boxes = ctx.decoded_boxes;
    ctx.reserve_decoded_boxes(3);
    ctx.reserve_decoded_boxes(5);
    EXPECT_EQ(ctx.decoded_boxes, boxes);
    EXPECT_EQ(ctx.decoded_box_capacity, 5u);
    ctx.reserve_decoded_boxes(6);
    EXPECT_EQ(ctx.decoded_box_capacity, 6u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(ctx.decoded_boxes) % 16, 0u);
    // Nothing else was asked for.
    EXPECT_EQ(ctx.stack, nullptr);
    EXPECT_EQ(ctx.node_states, nullptr);
    EXPECT_EQ(ctx.indices, nullptr);
}

TEST(GasTreeCtx, SlotBuffersGrowToTheStackAndNeverShrink) {
    GasTreeCtx ctx;
    ctx.reserve_slots(); // for no stack
    EXPECT_EQ(ctx.decoded_boxes, nullptr);
    EXPECT_EQ(ctx.node_states, nullptr);
    EXPECT_EQ(ctx.indices, nullptr);
    ctx.reserve_decoded_boxes(40); // as a motion ray may have done
    const GasBbox* const boxes = ctx.decoded_boxes;
    ctx.reserve_stack(20);
    EXPECT_EQ(ctx.node_states, nullptr);
    ctx.reserve_slots();
    EXPECT_EQ(ctx.decoded_boxes, boxes);
    EXPECT_EQ(ctx.decoded_box_capacity, 40u);
    EXPECT_EQ(ctx.node_state_capacity, 20u);
    EXPECT_EQ(ctx.index_capacity, 20u);
    const void* const states = ctx.node_states;
    const unsigned* const indices = ctx.indices;
    ctx.reserve_slots();
    EXPECT_EQ(ctx.node_states, states);
    EXPECT_EQ(ctx.indices, indices);
    ctx.reserve_stack(50);
    ctx.reserve_slots();
    EXPECT_EQ(ctx.decoded_box_capacity, 50u);
    EXPECT_EQ(ctx.node_state_capacity, 50u);
    EXPECT_EQ(ctx.index_capacity, 50u);
}

TEST(GasTreeCtx, BuffersThatCannotBeHadLeaveAFrameThatWorks) {
    GasTreeCtx ctx;
    ctx.reserve_stack(8);
    ctx.reserve_slots();
    EXPECT_THROW(ctx.reserve_decoded_boxes(std::size_t{1} << 40), std::bad_alloc);
    for (const unsigned nth : {0u, 1u, 2u}) {
        ctx.reserve_stack(100 * (nth + 1));
        {
            const support::FailingAllocation failing(nth);
            EXPECT_THROW(ctx.reserve_slots(), std::bad_alloc);
        }
        ctx.reserve_slots();
        EXPECT_EQ(ctx.decoded_box_capacity, ctx.stack_capacity);
        EXPECT_EQ(ctx.node_state_capacity, ctx.stack_capacity);
        EXPECT_EQ(ctx.index_capacity, ctx.stack_capacity);
    }
}

class GasTreeCtxQueries : public testing::Test {
  protected:
    GasTreeCtxQueries() : tree_calls(tree), batch(3) {
        support::build(tree, support::row_of_boxes(8));
        support::fill_samples(tree, {support::row_of_boxes(8), support::row_of_boxes(8)});
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        for (unsigned ray = 0; ray < 3; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        slots = {shader.tree_ctx_slot, shader.ray_frame_slot};
    }

    void expect_slots_as_before() const {
        EXPECT_EQ(shader.tree_ctx_slot, slots[0]);
        EXPECT_EQ(shader.ray_frame_slot, slots[1]);
    }

    GasTree tree;
    RecordingCallbacks tree_calls;
    TestShader shader;
    GeometryRayBatch batch;
    std::vector<const void*> slots;
};

TEST_F(GasTreeCtxQueries, EveryQueryGivesItsFramesBack) {
    for (const RayQuery query : support::all_ray_queries) {
        batch.reset_hits();
        trace(tree, query, shader, batch.get_ctx());
        expect_slots_as_before();
        EXPECT_EQ(tree_calls.take_ray_count(), 24u);
    }
}

TEST_F(GasTreeCtxQueries, StoppedRaysGiveTheirFramesBack) {
    tree_calls.react = [](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
        rays.set_hit(support::get_only_ray(rays));
    };
    for (unsigned repeat = 0; repeat < 2; ++repeat) { // the second time through the cached leaf
        for (const RayQuery query : {RayQuery::hit_static, RayQuery::hit_motion}) {
            batch.reset_hits();
            trace(tree, query, shader, batch.get_ctx());
            expect_slots_as_before();
            EXPECT_EQ(tree_calls.take_items().size(), 3u);
        }
    }
}

TEST_F(GasTreeCtxQueries, ThrowingCallbacksGiveTheFramesBack) {
    for (const RayQuery query : support::all_ray_queries) {
        batch.reset_hits();
        tree_calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx&) {
            if (item == 2)
                throw std::runtime_error("enough");
        };
        EXPECT_THROW(trace(tree, query, shader, batch.get_ctx()), std::runtime_error);
        expect_slots_as_before();
        EXPECT_EQ(tree_calls.take_items(), (std::vector<unsigned>{0, 1, 2}));

        tree_calls.react = nullptr;
        trace(tree, query, shader, batch.get_ctx());
        EXPECT_EQ(tree_calls.take_ray_count(), 24u);
    }
}

TEST_F(GasTreeCtxQueries, AnExceptionThroughNestedQueriesGivesAllFramesBack) {
    unsigned depth = 0;
    tree_calls.react = [&](unsigned, CtxShader& nested_shader, GeometryRaytraceCtx&) {
        if (++depth == 10)
            throw std::runtime_error("deep enough");
        GeometryRayBatch nested(2);
        for (unsigned ray = 0; ray < 2; ++ray)
            nested.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        trace(tree, RayQuery::nearest_static, nested_shader, nested.get_ctx());
    };
    EXPECT_THROW(trace(tree, RayQuery::hit_motion, shader, batch.get_ctx()), std::runtime_error);
    expect_slots_as_before();
}

TEST_F(GasTreeCtxQueries, CallbacksFindTheNextFramesInTheSlots) {
    GasTreeCtx* const outer_ctx = &shader.get_tree_ctx();
    GasRaytraceFrame* const outer_frame = &shader.get_ray_frame();
    unsigned nested_rays = 0;
    GasTree nested_tree;
    support::build(nested_tree, support::row_of_boxes(1));
    RecordingCallbacks nested(nested_tree);
    nested.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx& rays) {
        support::for_each_ray(rays, [&](unsigned) { ++nested_rays; });
        EXPECT_EQ(inside.tree_ctx_slot, outer_ctx->next->next);
        EXPECT_EQ(inside.ray_frame_slot, outer_frame->next->next);
    };
    tree_calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx&) {
        EXPECT_NE(inside.tree_ctx_slot, outer_ctx);
        EXPECT_EQ(inside.tree_ctx_slot, outer_ctx->next);
        EXPECT_EQ(inside.ray_frame_slot, outer_frame->next);
        GeometryRayBatch two(2);
        for (unsigned ray = 0; ray < 2; ++ray)
            two.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        trace(nested_tree, RayQuery::nearest_static, inside, two.get_ctx());
        EXPECT_EQ(inside.tree_ctx_slot, outer_ctx->next);
        EXPECT_EQ(inside.ray_frame_slot, outer_frame->next);
    };
    for (const RayQuery query : support::all_ray_queries) {
        batch.reset_hits();
        trace(tree, query, shader, batch.get_ctx());
        expect_slots_as_before();
    }
    // Two nested rays for each call: 24 of three single rays, 8 of the three together.
    EXPECT_EQ(nested_rays, (3u * 24u + 8u) * 2u);
}

TEST_F(GasTreeCtxQueries, ASingleRayTakesNoRayFrame) {
    batch.get_data().set_range(1, 1);
    tree_calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx&) {
        EXPECT_EQ(inside.ray_frame_slot, slots[1]);
    };
    trace(tree, RayQuery::hit_static, shader, batch.get_ctx());
    EXPECT_EQ(shader.get_ray_frame().next, nullptr);
    EXPECT_EQ(tree_calls.calls.size(), 8u);
}

TEST_F(GasTreeCtxQueries, TheStackHoldsTwiceTheDeepestTreeTraced) {
    GasTree deep;
    RecordingCallbacks deep_calls(deep);
    support::build(deep, support::row_of_boxes(100));
    ASSERT_GT(deep.get_depth(), tree.get_depth());
    GasTreeCtx& ctx = shader.get_tree_ctx();

    trace(tree, RayQuery::hit_static, shader, batch.get_ctx());
    EXPECT_EQ(ctx.stack_capacity, 2 * tree.get_depth());
    trace(deep, RayQuery::hit_static, shader, batch.get_ctx());
    EXPECT_EQ(ctx.stack_capacity, 2 * deep.get_depth());
    const GasStackEntry* const stack = ctx.stack;
    trace(tree, RayQuery::nearest_static, shader, batch.get_ctx());
    trace(deep, RayQuery::nearest_static, shader, batch.get_ctx());
    EXPECT_EQ(ctx.stack, stack);
    EXPECT_EQ(ctx.stack_capacity, 2 * deep.get_depth());
}

TEST_F(GasTreeCtxQueries, AThousandNestedQueriesLeaveAChainThatIsFreed) {
    constexpr unsigned deepest = 1000;
    GasTree one;
    support::build(one, support::row_of_boxes(1));
    RecordingCallbacks calls(one);
    unsigned depth = 0;
    calls.react = [&](unsigned, CtxShader& inside, GeometryRaytraceCtx&) {
        if (++depth == deepest)
            return;
        GeometryRayBatch two(2);
        two.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        // The second ray's near distance lies beyond its far distance: the root is skipped.
        trace(one, RayQuery::nearest_static, inside, two.get_ctx());
    };
    batch.get_data().set_range(0, 1);
    batch.set_ray(1, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 5.0, 1.0);
    trace(one, RayQuery::nearest_static, shader, batch.get_ctx());
    EXPECT_EQ(calls.calls.size(), deepest);
    expect_slots_as_before();

    unsigned ctx_count = 0;
    for (const GasTreeCtx* ctx = &shader.get_tree_ctx(); ctx; ctx = ctx->next)
        ++ctx_count;
    EXPECT_EQ(ctx_count, deepest + 1);
    unsigned frame_count = 0;
    for (const GasRaytraceFrame* frame = &shader.get_ray_frame(); frame; frame = frame->next)
        ++frame_count;
    EXPECT_EQ(frame_count, deepest + 1);
}

} // namespace
