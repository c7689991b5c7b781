#include <gtest/gtest.h>

#include <cstdio>
#include <numeric>
#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/ray_maker.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>

// The library and the naive implementation side by side, rays alone and in small batches: the exact
// sequence of leaf callbacks, nested queries included, what callbacks left in the rays, and the
// cached leaves of every frame.

namespace {

using naive::Box;
using support::Mirror;
using support::MirroredPlainTree;
using support::MirroredTree;
using support::RayMaker;
using support::RayQuery;
using support::RaySpec;
using support::SeededRandom;

#ifdef NDEBUG
constexpr unsigned groups_per_tree = 100;
constexpr unsigned largest_of_all = 64;
const std::vector<unsigned> larger_counts = {65, 100, 129, 300};
constexpr unsigned large_count = 3000;
#else
constexpr unsigned groups_per_tree = 8;
constexpr unsigned largest_of_all = 9;
const std::vector<unsigned> larger_counts = {17, 64, 150};
constexpr unsigned large_count = 600;
#endif

constexpr unsigned tree_count = 2;

struct Totals {
    unsigned trees = 0;
    unsigned rays = 0;
    unsigned nested_rays = 0;
    std::size_t leaf_calls = 0;
};

/// Builds both trees of a scene with the same boxes, indices and motion-blur samples.
void build_both(MirroredTree& tree, SeededRandom& random, scenes::Kind kind, unsigned count,
                naive::Split split) {
    const std::uint64_t seed = random.next();
    std::vector<unsigned> indices;
    if (random.below(2)) {
        for (unsigned i = 0; i < count; ++i)
            indices.push_back(random.next());
    }
    std::vector<std::vector<Box>> samples(random.below(6));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = scenes::make(kind, count, seed + i * (1 + random.below(2)));
    tree.build(scenes::make(kind, count, seed), split, indices, samples);
}

/// Traces rays of one scene, alone and in batches, through one shader that keeps its caches.
void compare_scene(scenes::Kind kind, unsigned count, naive::Split split, bool wide,
                   Totals& totals) {
    SeededRandom random(std::uint64_t{count} * 1000 + static_cast<unsigned>(kind) * 10 +
                        static_cast<unsigned>(split));
    MirroredPlainTree trees[tree_count];
    for (MirroredPlainTree& tree : trees)
        tree.get_library().set_wide_nodes(wide);
    build_both(trees[0], random, kind, count, split);
    build_both(trees[1], random, kind, 1 + count / 3, split);
    const std::vector<Box> boxes = trees[0].get_boxes();
    const float open = random.below(2) ? 0.0f : -1.5f;
    const float close = random.below(8) ? 1.0f : open;
    Mirror mirror({&trees[0], &trees[1]}, CtxMotionBlur(open, close, 0));
    RayMaker maker(random, boxes);
    for (unsigned group = 0; group < groups_per_tree; ++group) {
        std::vector<RaySpec> rays(random.below(2) ? 1 : 1 + random.below(6));
        for (RaySpec& ray : rays)
            ray = maker.make(open, close);
        const RayQuery query = support::all_ray_queries[random.below(4)];
        const std::string difference =
            mirror.compare(support::make_batch(rays), query, random.below(5) == 0 ? 1 : 0);
        ASSERT_EQ(difference, "") << scenes::name(kind) << ", " << count << " boxes, split "
                                  << static_cast<unsigned>(split) << ", group " << group;
        totals.rays += static_cast<unsigned>(rays.size());
    }
    totals.trees += tree_count;
    totals.nested_rays += mirror.get_nested_ray_count();
    totals.leaf_calls += mirror.get_leaf_call_count();
}

class RayWalkOracle : public testing::TestWithParam<bool> {};

TEST_P(RayWalkOracle, CallbacksRaysAndCachesAreThoseOfTheNaiveWalks) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const naive::Split split : support::all_splits) {
            std::vector<unsigned> counts(largest_of_all);
            std::iota(counts.begin(), counts.end(), 1u);
            counts.insert(counts.end(), larger_counts.begin(), larger_counts.end());
            for (const unsigned count : counts) {
                compare_scene(kind, count, split, GetParam(), totals);
                if (HasFatalFailure())
                    return;
            }
        }
        compare_scene(kind, large_count, naive::Split::sah_fast, GetParam(), totals);
        if (HasFatalFailure())
            return;
    }
    std::printf("compared %u trees, %u rays and %u nested ones, %zu leaf calls\n", totals.trees,
                totals.rays, totals.nested_rays, totals.leaf_calls);
    EXPECT_GT(totals.rays, 1000u);
    EXPECT_GT(totals.nested_rays, 1000u);
    EXPECT_GT(totals.leaf_calls, 10000u);
}

INSTANTIATE_TEST_SUITE_P(Nodes, RayWalkOracle, testing::Bool(),
                         [](const auto& wide) { return wide.param ? "wide" : "binary"; });

} // namespace
