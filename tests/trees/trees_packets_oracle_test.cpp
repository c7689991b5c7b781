// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <type_traits>
#include <vector>

#include <tests/mirror/mirror_totals.h>
#include <tests/support/ray_batches.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>

// Batches that go together, by the library and by the naive implementation: the exact sequence of
// leaf callbacks with their ranges, nested batches through trees of either class included, and what
// callbacks left in the rays. One shader and one set of naive packets live through all batches of a
// scene, rebuilt trees included, so that lanes keep what earlier batches put into them.

namespace {

using naive::Box;
using support::BatchMaker;
using support::BatchSpec;
using support::Mirror;
using support::MirroredTree;
using support::MirroredTreeOf;
using support::RayQuery;
using support::SeededRandom;
using support::TreeKind;

#ifdef NDEBUG
constexpr unsigned batches_per_scene = support::scale(support::scale_when_whole(80, 40), 10);
const std::vector<unsigned> counts = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 33, 64, 150, 400};
#else
constexpr unsigned batches_per_scene = 10;
const std::vector<unsigned> counts = {1, 2, 5, 8, 16, 70};
#endif

struct Totals {
    unsigned batches = 0;
    unsigned frustums = 0;
    unsigned shallow_trees = 0;
    unsigned deep_trees = 0;
    unsigned rebuilds = 0;
    support::MirrorTotals mirrored;
};

RayQuery choose_query(SeededRandom& random) {
    const unsigned dice = random.below(16);
    if (dice == 0)
        return support::all_ray_queries[random.below(4)];
    return dice < 4 ? RayQuery::nearest_motion : RayQuery::nearest_static;
}

/// The tree that most batches go through: fewer than two samples, so that motion queries go
/// together as well.
void build_first(MirroredTree& tree, SeededRandom& random, scenes::Kind kind, unsigned count,
                 naive::Split split) {
    std::vector<unsigned> indices;
    if (random.below(2)) {
        for (unsigned i = 0; i < count; ++i)
            indices.push_back(random.next());
    }
    std::vector<std::vector<Box>> samples;
    if (count != 0 && random.below(2))
        samples.push_back(scenes::make(kind, count, random.next()));
    tree.build(scenes::make(kind, count, random.next()), split, indices, samples);
}

/// A tree with two samples for nested batches.
void build_moving(MirroredTree& tree, SeededRandom& random, scenes::Kind kind, unsigned count) {
    const std::vector<Box> boxes = scenes::make(kind, count, random.next());
    tree.build(boxes, naive::Split::median, {}, {boxes, scenes::make(kind, count, random.next())});
}

template <typename Tree>
void compare_scene(scenes::Kind kind, unsigned count, naive::Split split, Totals& totals) {
    using Other = std::conditional_t<support::is_compressed<Tree>, GasTree, GasCompressedTree>;
    SeededRandom random(std::uint64_t{count} * 4000 + static_cast<unsigned>(kind) * 10 +
                        static_cast<unsigned>(split));
    MirroredTreeOf<Tree, typename TreeKind<Tree>::Naive> first;
    MirroredTreeOf<Tree, typename TreeKind<Tree>::Naive> moving;
    MirroredTreeOf<Other, typename TreeKind<Other>::Naive> other;
    build_first(first, random, kind, count, split);
    build_moving(moving, random, kind, count);
    build_first(other, random, kind, count, split);
    ++(first.get_depth() < 4 ? totals.shallow_trees : totals.deep_trees);
    Mirror mirror({&first, &moving, &other}, CtxMotionBlur(0.0f, 1.0f, 0));
    const std::vector<Box> boxes = first.get_boxes();
    BatchMaker maker(random, boxes);
    for (unsigned i = 0; i < batches_per_scene; ++i) {
        if (random.below(20) == 0) {
            build_first(first, random, kind, random.below(count + 2), split);
            ++totals.rebuilds;
        }
        BatchSpec batch = maker.make_any();
        if (random.below(40) == 0)
            batch.last_ray = batch.first_ray - 1;
        maker.change_planes(batch);
        const unsigned tree = random.below(6) == 0 ? 1 + random.below(2) : 0;
        const std::string difference = mirror.compare(batch, choose_query(random), tree);
        ASSERT_EQ(difference, "") << scenes::name(kind) << ", " << count << " boxes, split "
                                  << static_cast<unsigned>(split) << ", batch " << i;
        ++totals.batches;
        totals.mirrored.add_rays(batch);
        totals.frustums += !batch.planes.empty();
    }
    totals.mirrored.add(mirror);
}

template <typename Tree> class TreesPacketsOracle : public testing::Test {};
TYPED_TEST_SUITE(TreesPacketsOracle, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(TreesPacketsOracle, CallbacksRangesAndRaysAreThoseOfTheNaiveWalk) {
    Totals totals;
    support::for_each_build(counts, [&](scenes::Kind kind, naive::Split split, unsigned count) {
        compare_scene<TypeParam>(kind, count, split, totals);
    });
    if (this->HasFatalFailure())
        return;
    std::printf("compared %u batches (%u with a frustum) over %u shallow and %u deep trees, %u of "
                "them rebuilt: ",
                totals.batches, totals.frustums, totals.shallow_trees, totals.deep_trees,
                totals.rebuilds);
    totals.mirrored.print();
    totals.mirrored.expect_enough();
    EXPECT_GT(totals.shallow_trees, 50u);
    EXPECT_GT(totals.deep_trees, 50u);
}
