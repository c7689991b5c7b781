#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/ray_batches.h>
#include <tests/support/scenes.h>

// Batches that go together, through the library and through the naive implementation: the exact
// sequence of leaf callbacks with their ranges, nested batches included, and what callbacks left in
// the rays. One shader and one set of naive packets live through all batches of a scene, so that
// lanes keep what earlier batches put into them.

namespace {

using naive::Box;
using support::BatchMaker;
using support::BatchSpec;
using support::Mirror;
using support::MirroredPlainTree;
using support::RayQuery;
using support::SeededRandom;

#ifdef NDEBUG
constexpr unsigned batches_per_scene = 60;
const std::vector<unsigned> counts = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 33, 64, 150, 400};
#else
constexpr unsigned batches_per_scene = 5;
const std::vector<unsigned> counts = {1, 2, 5, 8, 16, 70};
#endif

struct Totals {
    unsigned batches = 0;
    unsigned rays = 0;
    unsigned nested_rays = 0;
    unsigned frustums = 0;
    unsigned shallow_trees = 0;
    unsigned deep_trees = 0;
    std::size_t leaf_calls = 0;
    naive::PacketCounts packets;
};

RayQuery choose_query(SeededRandom& random) {
    const unsigned dice = random.below(16);
    if (dice == 0)
        return support::all_ray_queries[random.below(4)];
    return dice < 4 ? RayQuery::nearest_motion : RayQuery::nearest_static;
}

/// A second tree for nested batches has the motion samples that the first one lacks.
void build_trees(MirroredPlainTree (&trees)[2], SeededRandom& random, scenes::Kind kind,
                 unsigned count, naive::Split split) {
    const std::uint64_t seed = random.next();
    const std::vector<Box> boxes = scenes::make(kind, count, seed);
    std::vector<unsigned> indices;
    if (random.below(2)) {
        for (unsigned i = 0; i < count; ++i)
            indices.push_back(random.next());
    }
    std::vector<std::vector<Box>> one_sample;
    if (random.below(2))
        one_sample.push_back(scenes::make(kind, count, seed + 1));
    trees[0].build(boxes, split, indices, one_sample);
    trees[1].build(boxes, naive::Split::median, {}, {boxes, scenes::make(kind, count, seed + 1)});
}

void compare_scene(scenes::Kind kind, unsigned count, naive::Split split, Totals& totals) {
    SeededRandom random(std::uint64_t{count} * 2000 + static_cast<unsigned>(kind) * 10 +
                        static_cast<unsigned>(split));
    MirroredPlainTree trees[2];
    build_trees(trees, random, kind, count, split);
    ++(trees[0].get_depth() < 4 ? totals.shallow_trees : totals.deep_trees);
    Mirror mirror({&trees[0], &trees[1]}, CtxMotionBlur(0.0f, 1.0f, 0));
    BatchMaker maker(random, trees[0].get_boxes());
    for (unsigned i = 0; i < batches_per_scene; ++i) {
        BatchSpec batch = random.below(2) ? maker.make_coherent() : maker.make_incoherent();
        if (random.below(2))
            maker.narrow(batch);
        if (random.below(3) == 0)
            batch.planes.clear();
        else if (random.below(4) == 0)
            batch.planes = maker.make_planes();
        const unsigned tree = random.below(8) == 0 ? 1 : 0;
        const std::string difference = mirror.compare(batch, choose_query(random), tree);
        ASSERT_EQ(difference, "") << scenes::name(kind) << ", " << count << " boxes, split "
                                  << static_cast<unsigned>(split) << ", batch " << i;
        ++totals.batches;
        totals.rays += static_cast<unsigned>(batch.last_ray - batch.first_ray + 1);
        totals.frustums += !batch.planes.empty();
    }
    totals.nested_rays += mirror.get_nested_ray_count();
    totals.leaf_calls += mirror.get_leaf_call_count();
    totals.packets.nodes += mirror.get_packet_counts().nodes;
    totals.packets.culled_by_frustum += mirror.get_packet_counts().culled_by_frustum;
}

} // namespace

TEST(PacketWalkOracle, CallbacksRangesAndRaysAreThoseOfTheNaiveWalk) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const naive::Split split : support::all_splits) {
            for (const unsigned count : counts) {
                compare_scene(kind, count, split, totals);
                if (HasFatalFailure())
                    return;
            }
        }
    }
    std::printf("compared %u batches (%u with a frustum), %u rays and %u nested ones, over %u "
                "shallow and %u deep trees: %u nodes, %u of them dropped by a frustum, %zu leaf "
                "calls\n",
                totals.batches, totals.frustums, totals.rays, totals.nested_rays,
                totals.shallow_trees, totals.deep_trees, totals.packets.nodes,
                totals.packets.culled_by_frustum, totals.leaf_calls);
    EXPECT_GT(totals.rays, 20000u);
    EXPECT_GT(totals.nested_rays, 1000u);
    EXPECT_GT(totals.shallow_trees, 50u);
    EXPECT_GT(totals.deep_trees, 50u);
    EXPECT_GT(totals.packets.culled_by_frustum, 100u);
    EXPECT_GT(totals.leaf_calls, 10000u);
}
