// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

// What the traversal interfaces of both classes have in common, and the leaf dispatch: which
// callback an operation calls, for which item, with which user.

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using Access = GasTraversalAccess;
using Names = std::vector<RayQuery>;
constexpr RayQuery a = RayQuery::hit_static;
constexpr RayQuery b = RayQuery::hit_motion;
constexpr RayQuery c = RayQuery::nearest_static;
constexpr RayQuery d = RayQuery::nearest_motion;

template <typename Tree> class Traversal : public testing::Test {
  protected:
    /// Builds the tree and starts a walk at its root, which has number 0.
    void build(const std::vector<Box>& boxes) {
        support::build(tree, boxes);
        ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
        Access::init_traversal(tree, ctx);
    }

    Tree tree;
    GasTreeCtx ctx;
};

TYPED_TEST_SUITE(Traversal, support::BothTrees, support::TreeNames);

template <typename Tree> class LeafCallbacks : public testing::Test {
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

    static Names take_names(RecordingCallbacks& callbacks) {
        Names names;
        for (const support::LeafCall& call : callbacks.calls)
            names.push_back(call.callback);
        callbacks.calls.clear();
        return names;
    }

    Tree tree;
    GasTreeCtx ctx;
    CtxEval eval;
    CtxShader shader;
    GeometryRayBatch batch;
};

class CompressedLeafCallbacks : public LeafCallbacks<GasCompressedTree> {};

void* last_user;

void keep_user(void* user, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {
    last_user = user;
}

TYPED_TEST_SUITE(LeafCallbacks, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(Traversal, LeavesBelowTheLeafCountAreValid) {
    this->build(support::row_of_boxes(5));
    for (const unsigned leaf : {0u, 1u, 4u})
        EXPECT_TRUE(Access::is_leaf_valid(this->tree, this->ctx, leaf)) << leaf;
    for (const unsigned leaf : {5u, 6u, 0xffffffffu})
        EXPECT_FALSE(Access::is_leaf_valid(this->tree, this->ctx, leaf)) << leaf;
    this->tree.clear();
    EXPECT_FALSE(Access::is_leaf_valid(this->tree, this->ctx, 0u));
}

TYPED_TEST(Traversal, TheOrderFollowsTheSignAlongTheAxisThatSeparates) {
    const auto get_order = [&](const GMathVec3<double>& direction) {
        return Access::get_node_traversal_order(this->tree, this->ctx, 0u,
                                                GMathBasicRay({0.0, 0.0, 0.0}, direction));
    };
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const bool first_is_above : {false, true}) {
            const Box low = {{0.0f, 0.0f, 0.0f}, {1.0f, 1.0f, 1.0f}};
            Box high = low;
            high.min[axis] = 5.0f;
            high.max[axis] = 6.0f;
            // Two items are never reordered: the first one is the first child.
            if (first_is_above)
                this->build({high, low});
            else
                this->build({low, high});
            for (unsigned signs = 0; signs < 8; ++signs) {
                const bool is_negative = (signs >> axis & 1) != 0;
                EXPECT_EQ(get_order({signs & 1 ? -1.0 : 1.0, signs & 2 ? -1.0 : 1.0,
                                     signs & 4 ? -1.0 : 1.0}),
                          is_negative != first_is_above ? 1u : 0u)
                    << "axis " << axis << ", signs " << signs << ", first above " << first_is_above;
            }
            for (const double zero : {0.0, -0.0})
                EXPECT_EQ(get_order({zero, zero, zero}), first_is_above ? 1u : 0u);
        }
    }
}

TYPED_TEST(LeafCallbacks, WithoutIndicesTheLeafPositionIsTheItem) {
    support::build(this->tree, support::row_of_boxes(4));
    RecordingCallbacks callbacks(this->tree);
    for (unsigned leaf = 0; leaf < 4; ++leaf) {
        this->call_all(leaf);
        EXPECT_EQ(callbacks.take_items(), std::vector<unsigned>(8, leaf));
    }
}

TYPED_TEST(LeafCallbacks, WithIndicesTheEntryAtTheLeafPositionIsTheItem) {
    const std::vector<unsigned> indices = {7, 0xffffffffu, 7, 100};
    support::build(this->tree, support::row_of_boxes(4), naive::Split::sah_fast, indices);
    RecordingCallbacks callbacks(this->tree);
    for (unsigned leaf = 0; leaf < 4; ++leaf) {
        this->call_all(leaf);
        EXPECT_EQ(callbacks.take_items(), std::vector<unsigned>(8, indices[leaf]));
    }
}

TYPED_TEST(LeafCallbacks, EachOperationCallsItsOwnCallbackWithWhatItWasGiven) {
    for (const unsigned count : {1u, 4u}) {
        support::build(this->tree, support::row_of_boxes(count));
        RecordingCallbacks callbacks(this->tree);
        for (unsigned leaf = 0; leaf < count; ++leaf) {
            this->call_all(leaf);
            for (const support::LeafCall& call : callbacks.calls) {
                EXPECT_EQ(call.eval, &this->eval);
                EXPECT_EQ(call.shader, &this->shader);
                EXPECT_EQ(call.rays, &this->batch.get_ctx());
            }
            EXPECT_EQ(this->take_names(callbacks), (Names{a, b, c, d, a, b, c, d}));
        }
    }
}

TYPED_TEST(LeafCallbacks, FiveArgumentsReplaceOneByOne) {
    support::build(this->tree, support::row_of_boxes(1));
    RecordingCallbacks callbacks(this->tree);
    const auto replace = [&](GasLeafCallback hit_static, GasLeafCallback hit_motion,
                             GasLeafCallback nearest_static, GasLeafCallback nearest_motion) {
        this->tree.set_leaf_raytrace_callbacks(hit_static, hit_motion, nearest_static,
                                               nearest_motion, &callbacks);
        this->call_all(0);
        return this->take_names(callbacks);
    };
    EXPECT_EQ(replace(RecordingCallbacks::record<d>, nullptr, nullptr, nullptr),
              (Names{d, b, c, d, d, b, c, d}));
    EXPECT_EQ(
        replace(nullptr, RecordingCallbacks::record<c>, nullptr, RecordingCallbacks::record<a>),
        (Names{d, c, c, a, d, c, c, a}));
    EXPECT_EQ(replace(nullptr, nullptr, RecordingCallbacks::record<b>, nullptr),
              (Names{d, c, b, a, d, c, b, a}));
    EXPECT_EQ(
        replace(nullptr, RecordingCallbacks::record<a>, nullptr, RecordingCallbacks::record<d>),
        (Names{d, a, b, d, d, a, b, d}));
    EXPECT_EQ(
        replace(RecordingCallbacks::record<b>, nullptr, RecordingCallbacks::record<c>, nullptr),
        (Names{b, a, c, d, b, a, c, d}));
}

TYPED_TEST(LeafCallbacks, FiveArgumentsReplaceAllAtOnce) {
    support::build(this->tree, support::row_of_boxes(1));
    RecordingCallbacks callbacks;
    this->tree.set_leaf_raytrace_callbacks(
        RecordingCallbacks::record<d>, RecordingCallbacks::record<c>, RecordingCallbacks::record<b>,
        RecordingCallbacks::record<a>, &callbacks);
    this->call_all(0);
    EXPECT_EQ(this->take_names(callbacks), (Names{d, c, b, a, d, c, b, a}));
}

TYPED_TEST(LeafCallbacks, ThreeArgumentsReplaceInPairs) {
    support::build(this->tree, support::row_of_boxes(1));
    RecordingCallbacks callbacks(this->tree);
    this->tree.set_leaf_raytrace_callbacks(RecordingCallbacks::record<d>, nullptr, &callbacks);
    this->call_all(0);
    EXPECT_EQ(this->take_names(callbacks), (Names{d, d, c, d, d, d, c, d}));
    this->tree.set_leaf_raytrace_callbacks(nullptr, RecordingCallbacks::record<a>, &callbacks);
    this->call_all(0);
    EXPECT_EQ(this->take_names(callbacks), (Names{d, d, a, a, d, d, a, a}));
}

TYPED_TEST(LeafCallbacks, TheUserPointerIsAlwaysReplaced) {
    support::build(this->tree, support::row_of_boxes(1));
    RecordingCallbacks before(this->tree);
    RecordingCallbacks after;
    this->tree.set_leaf_raytrace_callbacks(RecordingCallbacks::record<a>, nullptr, &after);
    this->call_all(0);
    EXPECT_TRUE(before.calls.empty());
    EXPECT_EQ(this->take_names(after), (Names{a, a, c, d, a, a, c, d}));
    this->tree.set_leaf_raytrace_callbacks(nullptr, nullptr, nullptr, nullptr, &before);
    this->call_all(0);
    EXPECT_TRUE(after.calls.empty());
    EXPECT_EQ(this->take_names(before), (Names{a, a, c, d, a, a, c, d}));
}

TYPED_TEST(LeafCallbacks, ANullUserPointerReplacesToo) {
    support::build(this->tree, support::row_of_boxes(1));
    this->tree.set_leaf_raytrace_callbacks(keep_user, keep_user, &this->tree);
    this->call_all(0);
    EXPECT_EQ(last_user, &this->tree);
    this->tree.set_leaf_raytrace_callbacks(nullptr, nullptr, nullptr);
    this->call_all(0);
    EXPECT_EQ(last_user, nullptr);
}

TYPED_TEST(LeafCallbacks, CallbacksThatWereNeverSetDoNothing) {
    support::build(this->tree, support::row_of_boxes(2));
    this->call_all(0);
    EXPECT_FALSE(this->batch.is_hit(0));
    support::TestShader traced;
    this->batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    for (const RayQuery query : support::all_ray_queries)
        trace(this->tree, query, traced, this->batch.get_ctx());
    EXPECT_FALSE(this->batch.is_hit(0));
}

TYPED_TEST(LeafCallbacks, CallbacksSurviveClearAndRebuild) {
    support::build(this->tree, support::row_of_boxes(2));
    RecordingCallbacks callbacks(this->tree);
    this->tree.clear();
    support::build(this->tree, support::row_of_boxes(1));
    this->call_all(0);
    EXPECT_EQ(callbacks.calls.size(), 8u);
}

// A frame may remember a leaf of the tree that stood here before.
TEST_F(CompressedLeafCallbacks, PositionsBeyondTheIndicesAreNotCalled) {
    support::build(tree, support::row_of_boxes(3), naive::Split::sah_fast, {30, 31, 32});
    RecordingCallbacks callbacks(tree);
    for (const unsigned leaf : {3u, 4u, 1000u, 0xffffffffu})
        call_all(leaf);
    EXPECT_TRUE(callbacks.calls.empty());
    support::build(tree, support::row_of_boxes(3));
    call_all(1000);
    EXPECT_EQ(callbacks.take_items(), std::vector<unsigned>(8, 1000));
}
