#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using Access = GasTraversalAccess;

class TraversalAccess : public testing::Test {
  protected:
    GasTree tree;
    GasTreeCtx ctx;
};

TEST_F(TraversalAccess, LeavesBelowTheLeafCountAreValid) {
    support::build(tree, support::row_of_boxes(5));
    for (const unsigned leaf : {0u, 1u, 4u})
        EXPECT_TRUE(Access::is_leaf_valid(tree, ctx, leaf)) << leaf;
    for (const unsigned leaf : {5u, 6u, 0xffffffffu})
        EXPECT_FALSE(Access::is_leaf_valid(tree, ctx, leaf)) << leaf;
    tree.clear();
    EXPECT_FALSE(Access::is_leaf_valid(tree, ctx, 0u));
}

TEST_F(TraversalAccess, NodesGiveTheirChildrenOrTheirLeafPosition) {
    const std::vector<unsigned> indices = {70, 60, 50, 40, 30, 20, 10};
    support::build(tree, support::row_of_boxes(7), naive::Split::sah, indices);
    std::vector<unsigned> leaves(7, 0);
    std::vector<unsigned> reached(tree.get_node_count(), 0);
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        if (Access::is_node_a_leaf(tree, ctx, node)) {
            const unsigned leaf = Access::get_leaf_value(tree, ctx, node);
            ASSERT_LT(leaf, 7u);
            ++leaves[leaf];
            continue;
        }
        unsigned first = 0;
        unsigned second = 0;
        Access::get_node_children(tree, ctx, node, first, second);
        EXPECT_EQ(first, tree.get_nodes()[node].index);
        EXPECT_EQ(second, first + 1);
        ASSERT_LT(second, tree.get_node_count());
        ++reached[first];
        ++reached[second];
    }
    EXPECT_EQ(leaves, std::vector<unsigned>(7, 1));
    EXPECT_EQ(reached[0], 0u);
    for (unsigned node = 1; node < tree.get_node_count(); ++node)
        EXPECT_EQ(reached[node], 1u);
}

TEST_F(TraversalAccess, TheOrderFollowsTheSignAlongTheAxisThatSeparates) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const bool first_is_above : {false, true}) {
            Box low = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
            Box high = low;
            high.min[axis] = 5.0f;
            high.max[axis] = 6.0f;
            // Two items are never reordered: the first one is the first child.
            support::build(tree, first_is_above ? std::vector<Box>{high, low}
                                                : std::vector<Box>{low, high});
            for (unsigned signs = 0; signs < 8; ++signs) {
                const GMathBasicRay ray(
                    {0.0, 0.0, 0.0},
                    {signs & 1 ? -1.0 : 1.0, signs & 2 ? -1.0 : 1.0, signs & 4 ? -1.0 : 1.0});
                const bool is_negative = (signs >> axis & 1) != 0;
                EXPECT_EQ(Access::get_node_traversal_order(tree, ctx, 0u, ray),
                          is_negative != first_is_above ? 1u : 0u)
                    << "axis " << axis << ", signs " << signs << ", first above " << first_is_above;
            }
            for (const double zero : {0.0, -0.0}) {
                const GMathBasicRay ray({0.0, 0.0, 0.0}, {zero, zero, zero});
                EXPECT_EQ(Access::get_node_traversal_order(tree, ctx, 0u, ray),
                          first_is_above ? 1u : 0u);
            }
        }
    }
}

/// Both forms of a box must agree and have zeros, of positive sign, in their fourth lanes.
void expect_box(const GasBbox& bbox, const SimdF& min, const SimdF& max, const Box& expected) {
    const GasBbox all_forms[2] = {bbox,
                                  {{min.get(0), min.get(1), min.get(2), min.get(3)},
                                   {max.get(0), max.get(1), max.get(2), max.get(3)}}};
    for (const GasBbox& form : all_forms) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_EQ(form.min[axis], expected.min[axis]);
            EXPECT_EQ(form.max[axis], expected.max[axis]);
        }
        const float zero = 0.0f;
        EXPECT_EQ(std::memcmp(&form.min[3], &zero, sizeof zero), 0);
        EXPECT_EQ(std::memcmp(&form.max[3], &zero, sizeof zero), 0);
    }
}

TEST_F(TraversalAccess, BoxesHaveZeroFourthLanesWhateverTheWordsHold) {
    support::build(tree, {{{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}}});
    auto& node = const_cast<GasTree::Node&>(tree.get_nodes()[0]);
    const GasTree::Node original = node;
    for (const unsigned word : {0u, 1u, 0x7fc00000u, 0x7f800000u, 0x80000000u, 0xffffffffu}) {
        node.index = word;
        node.flags = word;
        GasBbox bbox = {{9.0f, 9.0f, 9.0f, 9.0f}, {9.0f, 9.0f, 9.0f, 9.0f}};
        SimdF min(9.0f);
        SimdF max(9.0f);
        Access::get_node_bbox(tree, ctx, 0u, bbox);
        Access::get_node_bbox(tree, ctx, 0u, min, max);
        expect_box(bbox, min, max, {{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}});
    }
    node = original;
}

TEST_F(TraversalAccess, SampleBoxesHaveZeroFourthLanesUpToTheLastNode) {
    const std::vector<Box> boxes = support::row_of_boxes(3);
    const std::vector<Box> moved = support::row_of_boxes(3, 100.0f);
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, moved});
    for (unsigned sample = 0; sample < 2; ++sample) {
        for (unsigned node = 0; node < tree.get_node_count(); ++node) {
            GasBbox bbox = {{9.0f, 9.0f, 9.0f, 9.0f}, {9.0f, 9.0f, 9.0f, 9.0f}};
            SimdF min(9.0f);
            SimdF max(9.0f);
            Access::get_blurred_node_bbox(tree, ctx, node, sample, bbox);
            Access::get_blurred_node_bbox(tree, ctx, node, sample, min, max);
            const GasTree::Node& record = tree.get_nodes()[node];
            Box expected = support::from_corners(record.bbox_min, record.bbox_max);
            expected.min[0] += sample == 1 ? 100.0f : 0.0f;
            expected.max[0] += sample == 1 ? 100.0f : 0.0f;
            expect_box(bbox, min, max, expected);
        }
    }
}

TEST_F(TraversalAccess, EmptyOperationsLeaveTheFrameAlone) {
    support::build(tree, support::row_of_boxes(3));
    Access::init_traversal(tree, ctx);
    Access::free_node(tree, ctx, 0u);
    Access::deinit_traversal(tree, ctx);
    EXPECT_EQ(ctx.stack, nullptr);
    EXPECT_EQ(ctx.decoded_boxes, nullptr);
    EXPECT_EQ(ctx.node_states, nullptr);
    EXPECT_EQ(ctx.indices, nullptr);
}

class LeafCallbacks : public TraversalAccess {
  protected:
    LeafCallbacks() : batch(1) {}

    /// Calls all eight operations for `leaf`, those with a frame second.
    void call_all(unsigned leaf) {
        GeometryRaytraceCtx& rays = batch.get_ctx();
        Access::leaf_ray_hit_static(tree, leaf, eval, shader, rays);
        Access::leaf_ray_hit_motion(tree, leaf, eval, shader, rays);
        Access::leaf_ray_hit_nearest_static(tree, leaf, eval, shader, rays);
        Access::leaf_ray_hit_nearest_motion(tree, leaf, eval, shader, rays);
        Access::leaf_ray_hit_static(tree, ctx, leaf, eval, shader, rays);
        Access::leaf_ray_hit_motion(tree, ctx, leaf, eval, shader, rays);
        Access::leaf_ray_hit_nearest_static(tree, ctx, leaf, eval, shader, rays);
        Access::leaf_ray_hit_nearest_motion(tree, ctx, leaf, eval, shader, rays);
    }

    static std::vector<RayQuery> names(const RecordingCallbacks& callbacks) {
        std::vector<RayQuery> result;
        for (const support::LeafCall& call : callbacks.calls)
            result.push_back(call.callback);
        return result;
    }

    CtxEval eval;
    CtxShader shader;
    GeometryRayBatch batch;
};

using Names = std::vector<RayQuery>;
constexpr RayQuery a = RayQuery::hit_static;
constexpr RayQuery b = RayQuery::hit_motion;
constexpr RayQuery c = RayQuery::nearest_static;
constexpr RayQuery d = RayQuery::nearest_motion;

TEST_F(LeafCallbacks, WithoutIndicesTheLeafPositionIsTheItem) {
    support::build(tree, support::row_of_boxes(4));
    RecordingCallbacks callbacks(tree);
    for (unsigned leaf = 0; leaf < 4; ++leaf) {
        call_all(leaf);
        EXPECT_EQ(callbacks.take_items(), std::vector<unsigned>(8, leaf));
    }
}

TEST_F(LeafCallbacks, WithIndicesTheEntryAtTheLeafPositionIsTheItem) {
    const std::vector<unsigned> indices = {7, 0xffffffffu, 7, 100};
    support::build(tree, support::row_of_boxes(4), naive::Split::sah_fast, indices);
    RecordingCallbacks callbacks(tree);
    for (unsigned leaf = 0; leaf < 4; ++leaf) {
        call_all(leaf);
        EXPECT_EQ(callbacks.take_items(), std::vector<unsigned>(8, indices[leaf]));
    }
}

TEST_F(LeafCallbacks, EachOperationCallsItsOwnCallbackWithWhatItWasGiven) {
    support::build(tree, support::row_of_boxes(1));
    RecordingCallbacks callbacks(tree);
    call_all(0);
    EXPECT_EQ(names(callbacks), (Names{a, b, c, d, a, b, c, d}));
    for (const support::LeafCall& call : callbacks.calls) {
        EXPECT_EQ(call.eval, &eval);
        EXPECT_EQ(call.shader, &shader);
        EXPECT_EQ(call.rays, &batch.get_ctx());
    }
}

TEST_F(LeafCallbacks, FiveArgumentsReplaceOneByOne) {
    support::build(tree, support::row_of_boxes(1));
    RecordingCallbacks callbacks(tree);
    tree.set_leaf_raytrace_callbacks(RecordingCallbacks::record<d>, nullptr, nullptr, nullptr,
                                     &callbacks);
    call_all(0);
    EXPECT_EQ(names(callbacks), (Names{d, b, c, d, d, b, c, d}));
    callbacks.calls.clear();
    tree.set_leaf_raytrace_callbacks(nullptr, RecordingCallbacks::record<c>, nullptr,
                                     RecordingCallbacks::record<a>, &callbacks);
    call_all(0);
    EXPECT_EQ(names(callbacks), (Names{d, c, c, a, d, c, c, a}));
    callbacks.calls.clear();
    tree.set_leaf_raytrace_callbacks(nullptr, nullptr, RecordingCallbacks::record<b>, nullptr,
                                     &callbacks);
    call_all(0);
    EXPECT_EQ(names(callbacks), (Names{d, c, b, a, d, c, b, a}));
}

TEST_F(LeafCallbacks, ThreeArgumentsReplaceInPairs) {
    support::build(tree, support::row_of_boxes(1));
    RecordingCallbacks callbacks(tree);
    tree.set_leaf_raytrace_callbacks(RecordingCallbacks::record<d>, nullptr, &callbacks);
    call_all(0);
    EXPECT_EQ(names(callbacks), (Names{d, d, c, d, d, d, c, d}));
    callbacks.calls.clear();
    tree.set_leaf_raytrace_callbacks(nullptr, RecordingCallbacks::record<a>, &callbacks);
    call_all(0);
    EXPECT_EQ(names(callbacks), (Names{d, d, a, a, d, d, a, a}));
}

TEST_F(LeafCallbacks, TheUserPointerIsAlwaysReplaced) {
    support::build(tree, support::row_of_boxes(1));
    RecordingCallbacks before(tree);
    RecordingCallbacks after;
    tree.set_leaf_raytrace_callbacks(RecordingCallbacks::record<a>, nullptr, &after);
    call_all(0);
    EXPECT_TRUE(before.calls.empty());
    EXPECT_EQ(names(after), (Names{a, a, c, d, a, a, c, d}));
    after.calls.clear();
    tree.set_leaf_raytrace_callbacks(nullptr, nullptr, nullptr, nullptr, &before);
    call_all(0);
    EXPECT_TRUE(after.calls.empty());
    EXPECT_EQ(names(before), (Names{a, a, c, d, a, a, c, d}));
}

void* last_user;

void keep_user(void* user, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {
    last_user = user;
}

TEST_F(LeafCallbacks, ANullUserPointerReplacesToo) {
    support::build(tree, support::row_of_boxes(1));
    tree.set_leaf_raytrace_callbacks(keep_user, keep_user, &tree);
    call_all(0);
    EXPECT_EQ(last_user, &tree);
    tree.set_leaf_raytrace_callbacks(nullptr, nullptr, nullptr);
    call_all(0);
    EXPECT_EQ(last_user, nullptr);
}

TEST_F(LeafCallbacks, CallbacksThatWereNeverSetDoNothing) {
    support::build(tree, support::row_of_boxes(2));
    call_all(0);
    support::TestShader traced;
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    for (const RayQuery query : support::all_ray_queries)
        trace(tree, query, traced, batch.get_ctx());
    EXPECT_FALSE(batch.is_hit(0));
}

TEST_F(LeafCallbacks, CallbacksSurviveClearAndRebuild) {
    support::build(tree, support::row_of_boxes(2));
    RecordingCallbacks callbacks(tree);
    tree.clear();
    support::build(tree, support::row_of_boxes(1));
    call_all(0);
    EXPECT_EQ(callbacks.calls.size(), 8u);
}

} // namespace
