#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <tests/support/ray_batches.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>

// Batches that go together through compressed trees, by the library and by the naive
// implementation: the exact sequence of leaf callbacks with their ranges, nested batches through
// trees of either class included, and what callbacks left in the rays. One shader and one set of
// naive packets live through all batches of a scene, rebuilt trees included.

namespace {

using naive::Box;
using support::BatchMaker;
using support::BatchSpec;
using support::Mirror;
using support::MirroredCompressedTree;
using support::MirroredPlainTree;
using support::MirroredTree;
using support::RayQuery;
using support::SeededRandom;

#ifdef NDEBUG
constexpr unsigned batches_per_scene = support::is_sanitized ? 10 : 80;
const std::vector<unsigned> counts = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 33, 64, 150, 400};
#else
constexpr unsigned batches_per_scene = 10;
const std::vector<unsigned> counts = {1, 2, 5, 8, 16, 70};
#endif

struct Totals {
    unsigned batches = 0;
    unsigned rays = 0;
    unsigned nested_rays = 0;
    unsigned frustums = 0;
    unsigned shallow_trees = 0;
    unsigned deep_trees = 0;
    unsigned rebuilds = 0;
    std::size_t leaf_calls = 0;
    naive::PacketCounts packets;
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

void compare_scene(scenes::Kind kind, unsigned count, naive::Split split, Totals& totals) {
    SeededRandom random(std::uint64_t{count} * 4000 + static_cast<unsigned>(kind) * 10 +
                        static_cast<unsigned>(split));
    MirroredCompressedTree first;
    MirroredCompressedTree moving;
    MirroredPlainTree plain;
    build_first(first, random, kind, count, split);
    build_moving(moving, random, kind, count);
    build_first(plain, random, kind, count, split);
    ++(first.get_depth() < 4 ? totals.shallow_trees : totals.deep_trees);
    Mirror mirror({&first, &moving, &plain}, CtxMotionBlur(0.0f, 1.0f, 0));
    const std::vector<Box> boxes = first.get_boxes();
    BatchMaker maker(random, boxes);
    for (unsigned i = 0; i < batches_per_scene; ++i) {
        if (random.below(20) == 0) {
            build_first(first, random, kind, random.below(count + 2), split);
            ++totals.rebuilds;
        }
        BatchSpec batch = random.below(2) ? maker.make_coherent() : maker.make_incoherent();
        if (random.below(2))
            maker.narrow(batch);
        if (random.below(40) == 0)
            batch.last_ray = batch.first_ray - 1;
        if (random.below(3) == 0)
            batch.planes.clear();
        else if (random.below(4) == 0)
            batch.planes = maker.make_planes();
        const unsigned tree = random.below(6) == 0 ? 1 + random.below(2) : 0;
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

TEST(CompressedPacketsOracle, CallbacksRangesAndRaysAreThoseOfTheNaiveWalk) {
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
                "shallow and %u deep trees, %u of them rebuilt: %u nodes, %u of them dropped by a "
                "frustum, %zu leaf calls\n",
                totals.batches, totals.frustums, totals.rays, totals.nested_rays,
                totals.shallow_trees, totals.deep_trees, totals.rebuilds, totals.packets.nodes,
                totals.packets.culled_by_frustum, totals.leaf_calls);
    EXPECT_GT(totals.rays, 20000u);
    EXPECT_GT(totals.nested_rays, 1000u);
    EXPECT_GT(totals.shallow_trees, 50u);
    EXPECT_GT(totals.deep_trees, 50u);
    EXPECT_GT(totals.packets.culled_by_frustum, 100u);
    EXPECT_GT(totals.leaf_calls, 10000u);
}
