// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include <tests/support/counted_trace.h>
#include <tests/support/grid_items.h>
#include <tests/support/raw_rays.h>
#include <tests/support/ray_maker.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

// A counted walk is the walk that is run: the same calls in the same sequence, whichever tree,
// query and way.

namespace {

using naive::Box;
using support::LeafCall;
using support::RayQuery;
using support::RaySpec;
using support::RecordingCallbacks;
using support::TestShader;

enum class Kind { binary, wide, compressed, grid };
enum class Handing { single, batch, stream };

/// A tree over a scene that moves.
template <typename Tree> struct Moving {
    Moving(Kind kind, const std::vector<Box>& boxes, const std::vector<Box>& later) {
        if constexpr (std::is_same_v<Tree, GasTree>)
            tree.set_wide_nodes(kind == Kind::wide);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, later});
    }
    Tree tree;
};

template <> struct Moving<GasGridTree> {
    Moving(Kind, const std::vector<Box>& boxes, const std::vector<Box>&) : items(boxes) {
        items.speeds.assign(boxes.size(), 0.5f);
        items.build(tree, 20);
        tree.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }
    support::GridItems items;
    GasGridTree tree;
};

/// Sizes of batches; under sanitizers half of them, in turns.
std::vector<unsigned> get_batch_sizes([[maybe_unused]] unsigned turn) {
    const std::vector<unsigned> sizes = {2, 50, 700, support::scale_when_whole(2500, 1200)};
    const std::vector<unsigned> halves[] = {{2, 200}, {50, 500}};
    return support::scale(1, 0) ? sizes : halves[turn % 2];
}

/// Callbacks that hit, shorten, lengthen and stop, as ray and item say.
void react(const std::vector<RaySpec>& specs, unsigned item, GeometryRaytraceCtx& rays) {
    support::for_each_ray(rays, [&](unsigned ray) {
        support::SeededRandom dice(specs[ray].seed + item);
        const unsigned kind = dice.below(8);
        if (kind < 2)
            rays.record_nearest_hit(ray, dice.uniform_double() * specs[ray].scale, item);
        else if (kind == 2 && dice.below(4) == 0)
            rays.get_data().get_intersection_map()->get_path(ray).set_hit_distance(
                specs[ray].scale * 2.0);
    });
}

template <typename Tree, typename... Shortcut>
void trace_plain(const Tree& tree, RayQuery query, Handing handing, CtxShader& shader,
                 GeometryRaytraceCtx& rays, Shortcut... shortcut) {
    if (handing == Handing::stream)
        support::trace_stream(tree, query, shader, rays, shortcut...);
    else
        support::trace(tree, query, shader, rays, shortcut...);
}

template <typename Tree, typename... Shortcut>
void trace_counting(const Tree& tree, RayQuery query, Handing handing, CtxShader& shader,
                    GeometryRaytraceCtx& rays, GasWalkCounts& counts, Shortcut... shortcut) {
    if (handing == Handing::stream)
        support::trace_counted_stream(tree, query, shader, rays, counts, shortcut...);
    else
        support::trace_counted(tree, query, shader, rays, counts, shortcut...);
}

class CountedCalls : public testing::TestWithParam<std::tuple<Kind, RayQuery, Handing>> {
  protected:
    static Kind get_kind() { return std::get<Kind>(GetParam()); }
    static RayQuery get_query() { return std::get<RayQuery>(GetParam()); }
    static Handing get_handing() { return std::get<Handing>(GetParam()); }

    /// Without what differs between any two runs.
    using Event = std::tuple<RayQuery, unsigned, int, int>;
    static std::vector<Event> take_events(RecordingCallbacks& calls) {
        std::vector<Event> events;
        for (const LeafCall& call : calls.calls)
            events.emplace_back(call.callback, call.item, call.first_ray, call.last_ray);
        calls.calls.clear();
        return events;
    }

    /// Traces batches by two shaders, one of them counting.
    template <typename Tree, typename... Shortcut>
    void compare(const std::vector<Box>& boxes, const std::vector<Box>& later,
                 Shortcut... shortcut) {
        const Moving<Tree> plain(get_kind(), boxes, later);
        Moving<Tree> counted(get_kind(), boxes, later);
        compare_trees(const_cast<Tree&>(plain.tree), counted.tree, boxes, shortcut...);
    }

    template <typename Tree, typename... Shortcut>
    void compare_trees(Tree& plain, Tree& counted, const std::vector<Box>& boxes,
                       Shortcut... shortcut) {
        RecordingCallbacks calls;
        calls.attach(plain);
        RecordingCallbacks counted_calls;
        counted_calls.attach(counted);
        TestShader shader;
        TestShader counting_shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        counting_shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        support::SeededRandom random(17);
        support::RayMaker maker(random, boxes);
        for (const unsigned size : get_handing() == Handing::single ? std::vector<unsigned>(40, 1)
                                                                    : get_batch_sizes(turn++)) {
            std::vector<RaySpec> specs(size);
            for (RaySpec& spec : specs)
                spec = maker.make(0.0f, 1.0f);
            calls.react =
                counted_calls.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                    react(specs, item, rays);
                };
            support::RawRays batch(specs);
            trace_plain(plain, get_query(), get_handing(), shader, batch.get_ctx(), shortcut...);
            support::RawRays counted_batch(specs);
            GasWalkCounts counts;
            trace_counting(counted, get_query(), get_handing(), counting_shader,
                           counted_batch.get_ctx(), counts, shortcut...);
            EXPECT_EQ(counts.leaf_calls, calls.calls.size());
            call_count += calls.calls.size();
            visit_count += counts.visited_nodes;
            ASSERT_EQ(take_events(counted_calls), take_events(calls));
            for (unsigned ray = 0; ray < size; ++ray)
                ASSERT_EQ(counted_batch.get_data().get_arrays().hit_flags[ray],
                          batch.get_data().get_arrays().hit_flags[ray]);
        }
    }

    unsigned turn = 0;
    std::size_t call_count = 0;
    std::uint64_t visit_count = 0;
};

TEST_P(CountedCalls, AreThoseOfThePlainQuery) {
    for (const scenes::Kind kind : scenes::all_kinds()) {
        const std::vector<Box> boxes = scenes::make(kind, 150, 4);
        const std::vector<Box> later = scenes::make(kind, 150, 5);
        if (get_kind() == Kind::grid)
            compare<GasGridTree>(boxes, later);
        else if (get_kind() == Kind::compressed)
            compare<GasCompressedTree>(boxes, later);
        else
            compare<GasTree>(boxes, later, false);
    }
    EXPECT_GT(call_count, 200u);
    EXPECT_GT(visit_count, 200u);
}

std::string name(const std::tuple<Kind, RayQuery, Handing>& run) {
    constexpr const char* kinds[] = {"Binary", "Wide", "Compressed", "Grid"};
    constexpr const char* handings[] = {"Single", "Batch", "Stream"};
    return std::string(kinds[static_cast<unsigned>(std::get<0>(run))]) +
           support::name(std::get<1>(run)) + handings[static_cast<unsigned>(std::get<2>(run))];
}

INSTANTIATE_TEST_SUITE_P(
    Queries, CountedCalls,
    testing::Combine(testing::Values(Kind::binary, Kind::wide, Kind::compressed, Kind::grid),
                     testing::ValuesIn(support::all_ray_queries),
                     testing::Values(Handing::single, Handing::batch, Handing::stream)),
    [](const auto& run) { return name(run.param); });

/// Rays along a row of boxes that no callback stops or shortens.
class CountedRow : public testing::TestWithParam<RayQuery> {
  protected:
    CountedRow() { shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2)); }

    void aim(GeometryRayBatch& batch, double direction = 1.0) const {
        for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {direction, 0.0, 0.0}, 0.0, 1000.0, 0.5f);
    }

    GasWalkCounts stream(const GasTree& tree, unsigned ray_count) {
        GeometryRayBatch batch(ray_count);
        aim(batch);
        GasWalkCounts counts;
        support::trace_counted_stream(tree, GetParam(), shader, batch.get_ctx(), counts, false);
        return counts;
    }

    TestShader shader;
};

TEST_P(CountedRow, AWideNodeIsOneHoweverManyBoxesItHolds) {
    GasTree tree;
    tree.set_wide_nodes(true);
    for (const auto& [count, nodes] : {std::pair{2u, 1u}, {3u, 1u}, {4u, 1u}, {16u, 5u}}) {
        const std::vector<Box> boxes = support::row_of_boxes(count);
        support::build(tree, boxes);
        support::fill_samples(tree, {boxes, boxes});
        GeometryRayBatch batch(1);
        aim(batch);
        GasWalkCounts counts;
        support::trace_counted(tree, GetParam(), shader, batch.get_ctx(), counts, false);
        EXPECT_EQ(counts.visited_nodes, nodes);
        EXPECT_EQ(counts.leaf_calls, count);
        for (const unsigned rays : {1u, 5u, 40u, 300u}) {
            counts = stream(tree, rays);
            EXPECT_EQ(counts.visited_nodes, nodes * rays);
            EXPECT_EQ(counts.leaf_calls, count * rays);
        }
    }
}

TEST_P(CountedRow, AStreamWithoutWideNodesCountsBinaryNodes) {
    GasTree tree;
    const std::vector<Box> boxes = support::row_of_boxes(16);
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes});
    EXPECT_EQ(stream(tree, 40).visited_nodes, 15u * 40);
}

TEST_P(CountedRow, AStreamOfACompressedTreeCountsEveryNodeOfARayOnce) {
    GasCompressedTree tree;
    const std::vector<Box> boxes = support::row_of_boxes(16);
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes});
    for (const unsigned ray_count : {1u, 5u, 12u, 33u, 300u}) {
        GeometryRayBatch batch(ray_count);
        aim(batch);
        GasWalkCounts counts;
        support::trace_counted_stream(tree, GetParam(), shader, batch.get_ctx(), counts);
        EXPECT_EQ(counts.visited_nodes, 15u * ray_count);
        EXPECT_EQ(counts.leaf_calls, 16u * ray_count);
    }
}

TEST_P(CountedRow, AResumedWalkIsCountedToo) {
    GasTree tree;
    tree.set_wide_nodes(true);
    const std::vector<Box> boxes = support::row_of_boxes(16);
    support::build(tree, boxes);
    support::fill_samples(tree, {boxes, boxes});
    RecordingCallbacks calls(tree);
    calls.react = [&](unsigned, CtxShader&, GeometryRaytraceCtx& rays) {
        // Either bound moves away, once.
        const unsigned ray = support::get_only_ray(rays);
        rays.get_data().get_arrays().far_distances[ray] = 2000.0;
        rays.get_data().get_intersection_map()->get_path(ray).set_hit_distance(2000.0);
    };
    GeometryRayBatch batch(1);
    aim(batch);
    GasWalkCounts counts;
    support::trace_counted(tree, GetParam(), shader, batch.get_ctx(), counts, false);
    EXPECT_EQ(counts.leaf_calls, 16u);
    EXPECT_GE(counts.visited_nodes, 2u + 15u);
    EXPECT_LE(counts.visited_nodes, 5u + 15u);
}

TEST_P(CountedRow, AGridCountsTheTreeOverItsCellsAndTheCells) {
    support::GridItems items(support::row_of_boxes(32));
    items.speeds.assign(32, 0.0f);
    GasGridTree grid;
    items.build(grid, 8);
    grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    ASSERT_GT(grid.get_cell_count(), 1u);
    GeometryRayBatch batch(1);
    aim(batch);
    EXPECT_TRUE(support::get_built_cells(grid).empty());
    GasWalkCounts counts;
    support::trace_counted(grid, GetParam(), shader, batch.get_ctx(), counts);
    EXPECT_EQ(support::get_built_cells(grid).size(), grid.get_cell_count());
    // Each binary tree has one inner node less than leaves.
    EXPECT_EQ(counts.visited_nodes, 31u);
    EXPECT_EQ(counts.leaf_calls, 32u);
    counts = {};
    support::trace_counted_stream(grid, GetParam(), shader, batch.get_ctx(), counts);
    EXPECT_EQ(counts.leaf_calls, 32u);
}

INSTANTIATE_TEST_SUITE_P(Queries, CountedRow, testing::ValuesIn(support::all_ray_queries),
                         [](const auto& query) { return support::name(query.param); });

} // namespace
