// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gas/diagnostics/gas_validate.h>
#include <gas/object/gas_shader_frames.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <tests/memory/failed_allocations.h>
#include <tests/memory/tree_bytes.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>

// All that can be done with plain and compressed trees where memory runs out.

namespace {

using support::Leaves;
using support::Operation;
using support::RayQuery;
using support::to_boxes;
using Boxes = CoreArray<GMathBbox3<float>>;

constexpr unsigned item_count = 150;
constexpr unsigned ray_count = 40;

const Boxes& get_boxes(unsigned which) {
    static const Boxes boxes[] = {
        to_boxes(scenes::make(scenes::Kind::random, item_count, 1)),
        to_boxes(scenes::make(scenes::Kind::clustered, item_count, 2)),
        to_boxes(scenes::make(scenes::Kind::random, item_count, 3)),
    };
    return boxes[which];
}

/// A tree with samples, of which the last is not filled; wide nodes where it may have some; a
/// shader whose frames have not grown yet; and what rays find.
template <typename Tree> struct TreeState {
    TreeState() : batch(ray_count) {
        if constexpr (!support::is_compressed<Tree>)
            tree.set_wide_nodes(true);
        support::create(tree, get_boxes(0), items().data());
        tree.set_motion_blur_sample_count(3);
        for (unsigned sample = 0; sample < 2; ++sample)
            tree.refit_motion_blur_sample(get_boxes(sample), sample);
        support::create(other, get_boxes(2));
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        tree.set_leaf_raytrace_callbacks(see, see, this);
        other.set_leaf_raytrace_callbacks(see, see, this);
    }
    TreeState(const TreeState&) = delete;
    TreeState& operator=(const TreeState&) = delete;
    ~TreeState() {
        // One of those that share nodes releases them.
        if (copy.get_leaf_count() != 0)
            copy = Tree();
    }

    static const std::vector<unsigned>& items() {
        static const std::vector<unsigned> all(item_count, 5);
        return all;
    }
    static void see(void* user, const unsigned& item, const CtxEval&, CtxShader& shader,
                    GeometryRaytraceCtx& ctx) {
        TreeState& self = *static_cast<TreeState*>(user);
        ++self.call_count;
        self.calls = self.calls * 31 + item * 7 + static_cast<unsigned>(ctx.get_first_ray());
        if (self.nested_query != nullptr && self.call_count % 4 == 1) {
            const auto query = std::exchange(self.nested_query, nullptr);
            query(self, shader);
            self.nested_query = query;
        }
    }

    /// One query or stream of all rays; what was found before is forgotten.
    void trace_rays(RayQuery query, int last, bool is_stream) {
        calls = 0;
        call_count = 0;
        for (unsigned i = 0; i < ray_count; ++i)
            batch.set_ray(i, {-2.0, 0.02 * i, 0.3}, {1.0, 0.002 * i, 0.05}, 0.0, 1000.0,
                          static_cast<float>(i) / ray_count, static_cast<int>(i % 5));
        batch.reset_hits();
        batch.get_data().set_range(0, last);
        if (is_stream)
            support::trace_stream(tree, query, shader, batch.get_ctx());
        else
            support::trace(tree, query, shader, batch.get_ctx());
        done = calls;
    }

    std::string describe() const {
        support::Bytes bytes;
        support::add_tree(tree, bytes);
        support::add_tree(other, bytes);
        support::add_tree(copy, bytes);
        bytes.add(done);
        return bytes.get();
    }
    /// The tree alone is empty.
    std::string describe_empty() const {
        support::Bytes bytes;
        support::add_tree(Tree(), bytes);
        support::add_tree(other, bytes);
        support::add_tree(copy, bytes);
        bytes.add(done);
        return bytes.get();
    }
    std::vector<std::string> find_flaws() const {
        std::vector<std::string> flaws;
        for (const Tree* const each : {&tree, &other, &copy}) {
            for (const std::string& flaw : gas_validate(*each))
                flaws.push_back(flaw);
        }
        return flaws;
    }

    Tree tree;
    Tree other;
    Tree copy;
    CtxShader shader;
    GasShaderFrames frames{shader};
    GeometryRayBatch batch;
    void (*nested_query)(TreeState&, CtxShader&) = nullptr;
    std::uint64_t calls = 0;
    std::uint64_t done = 0;
    unsigned call_count = 0;
};

template <typename Tree> class MemoryTrees : public testing::Test {};

TYPED_TEST_SUITE(MemoryTrees, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(MemoryTrees, BuildsLeaveAnEmptyTree) {
    using State = TreeState<TypeParam>;
    std::vector<Operation<State>> all;
    SysThreadTaskManager manager(nullptr);
    for (const GasBuildMethod method : support::all_build_methods) {
        const std::string name = "method " + std::to_string(static_cast<unsigned>(method));
        const auto build = [method](State& state) {
            state.tree.create(get_boxes(1), state.items().data(), method);
        };
        const auto build_on_threads = [method, &manager](State& state) {
            state.tree.create(get_boxes(1), nullptr, method, manager, 3u);
        };
        all.push_back({name, build, Leaves::empty});
        all.push_back({name + " on threads", build_on_threads, Leaves::empty});
    }
    support::QuietProgress progress(3u);
    const auto build_with_bar = [&progress](State& state) {
        support::create(state.tree, get_boxes(1), state.items().data(), &progress.bar);
    };
    const auto build_of_doubles = [](State& state) {
        static const CoreArray<GMathBbox3<double>> boxes(item_count);
        state.tree.create(boxes, state.items().data(), GasBuildMethod::sah);
    };
    const auto build_of_nans = [](State& state) {
        static const Boxes boxes = [] {
            Boxes spoiled = get_boxes(1);
            spoiled[40].min.x = std::numeric_limits<float>::quiet_NaN();
            return spoiled;
        }();
        state.tree.create(boxes, state.items().data(), GasBuildMethod::sah);
    };
    const auto build_one = [](State& state) {
        support::create_of(state.tree, get_boxes(1).get_items(), 1u, state.items().data());
    };
    all.push_back({"with a bar", build_with_bar, Leaves::empty});
    all.push_back({"over doubles", build_of_doubles, Leaves::empty});
    all.push_back({"over a NaN", build_of_nans, Leaves::empty});
    all.push_back({"over one item", build_one, Leaves::empty});
    support::fail_each_allocation(all);
}

TYPED_TEST(MemoryTrees, ChangesAreMadeOrNot) {
    using State = TreeState<TypeParam>;
    std::vector<Operation<State>> all = {
        {"copy", [](State& state) { state.copy = TypeParam(state.tree); }},
        {"assign", [](State& state) { state.copy = state.tree; }},
        {"move", [](State& state) { state.other = std::move(state.tree); }},
        {"more samples", [](State& state) { state.tree.set_motion_blur_sample_count(9); }},
        {"fewer samples", [](State& state) { state.tree.set_motion_blur_sample_count(1); }},
        {"no samples", [](State& state) { state.tree.set_motion_blur_sample_count(0); }},
        {"a new sample",
         [](State& state) { state.tree.refit_motion_blur_sample(get_boxes(2), 2); }},
        {"a sample again",
         [](State& state) { state.tree.refit_motion_blur_sample(get_boxes(2), 0); }},
        {"clear", [](State& state) { state.tree.clear(); }},
        {"print", [](State& state) {
             if constexpr (!support::is_compressed<TypeParam>)
                 state.tree.print();
         }}};
    if constexpr (!support::is_compressed<TypeParam>) {
        all.push_back({"refit", [](State& state) { state.tree.refit(get_boxes(2)); }});
        all.push_back({"wide nodes", [](State& state) { state.other.set_wide_nodes(true); }});
        all.push_back({"no wide nodes", [](State& state) { state.tree.set_wide_nodes(false); }});
    }
    core_main_log_handler().set_sink([](const std::string&) {});
    support::fail_each_allocation(all);
    core_main_log_handler().set_sink({});
}

TYPED_TEST(MemoryTrees, WhatThrowsNothingAllocatesNothing) {
    TreeState<TypeParam> state;
    EXPECT_EQ(support::count_allocations([&] {
                  TypeParam moved(std::move(state.tree));
                  state.tree = std::move(moved);
                  std::swap(state.tree, state.other);
                  static_cast<void>(state.tree.get_memory_size());
                  static_cast<void>(state.tree.get_bbox());
                  state.tree.clear();
              }),
              0u);
}

// Frames that have grown halfway serve the next query.
TYPED_TEST(MemoryTrees, QueriesMayBeRepeated) {
    using State = TreeState<TypeParam>;
    std::vector<Operation<State>> all;
    for (const RayQuery query : support::all_ray_queries) {
        const std::string name = support::name(query);
        all.push_back(
            {name + ", one ray", [query](State& state) { state.trace_rays(query, 0, false); }});
        all.push_back({name + ", a batch",
                       [query](State& state) { state.trace_rays(query, ray_count - 1, false); }});
        all.push_back({name + ", a stream",
                       [query](State& state) { state.trace_rays(query, ray_count - 1, true); }});
    }
    // What is thrown in a callback's query passes through all queries around it.
    const auto nest = [](State& state, CtxShader& shader) {
        GeometrySingleRay ray({-2.0, 0.1, 0.3}, {1.0, 0.01, 0.05}, 0.0, 1000.0);
        support::trace(state.other, RayQuery::nearest_static, shader, ray.get_ctx());
    };
    for (const bool is_stream : {false, true}) {
        all.push_back({is_stream ? "queries in a stream" : "queries in a query",
                       [nest, is_stream](State& state) {
                           state.nested_query = nest;
                           state.trace_rays(RayQuery::hit_static, ray_count - 1, is_stream);
                       }});
    }
    support::fail_each_allocation(all);
}

TYPED_TEST(MemoryTrees, SpatialQueriesMayBeRepeated) {
    using State = TreeState<TypeParam>;
    std::vector<Operation<State>> all;
    all.push_back({"closest item", [](State& state) {
                       GasTreeCtx ctx;
                       const auto measure = [](void*, const unsigned& item,
                                               const GMathVec3<double>&,
                                               const double&) { return 1.0 + item % 7; };
                       unsigned item = 0;
                       double distance = 0.0;
                       state.other.get_closest_item(ctx, {0.5, 0.5, 0.5}, 100.0, measure, nullptr,
                                                    item, distance);
                       state.done = item + 1;
                   }});
    if constexpr (!support::is_compressed<TypeParam>) {
        all.push_back({"leaves in a box", [](State& state) {
                           GasTreeCtx ctx;
                           CoreVector<unsigned> leaves;
                           state.tree.get_leaves_in_bbox(ctx, {{-9, -9, -9}, {9, 9, 9}}, leaves);
                           state.done = leaves.get_count();
                       }});
        all.push_back({"nearest leaves", [](State& state) {
                           GasTreeCtx ctx;
                           unsigned leaves[9];
                           float distances[9];
                           state.done = state.tree.get_nearest_leaves(ctx, {0.5f, 0.5f, 0.5f},
                                                                      100.0f, 9, leaves, distances);
                           state.done = state.done * 1000 + leaves[8];
                       }});
    }
    all.push_back({"validate", [](State& state) { gas_validate(state.tree); }});
    all.push_back({"frames", [](State&) {
                       CtxShader shader;
                       const GasShaderFrames frames(shader);
                   }});
    support::fail_each_allocation(all);
}
