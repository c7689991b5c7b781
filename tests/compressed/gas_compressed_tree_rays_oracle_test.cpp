#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/ray_maker.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_build.h>

// Compressed trees of the library and of the naive implementation side by side, rays alone and in
// small batches: the exact sequence of leaf callbacks, what callbacks left in the rays, and the
// cached leaves of every frame. Callbacks trace on, through plain trees as well as compressed ones,
// and trees are rebuilt at their place while cached leaves still name them.

namespace {

using naive::Box;
using support::Mirror;
using support::MirroredCompressedTree;
using support::MirroredPlainTree;
using support::MirroredTree;
using support::RayMaker;
using support::RayQuery;
using support::RaySpec;
using support::SeededRandom;

#ifdef NDEBUG
constexpr unsigned groups_per_scene = support::is_sanitized ? 30 : 150;
const std::vector<unsigned> counts = {1,  2,  3,  4,  5,  6,  7,  8,  9,   10, 11,
                                      12, 13, 15, 17, 20, 33, 47, 64, 100, 300};
constexpr unsigned large_count = support::is_sanitized ? 800 : 3000;
#else
constexpr unsigned groups_per_scene = 30;
const std::vector<unsigned> counts = {1, 2, 3, 4, 5, 8, 17, 64, 150};
constexpr unsigned large_count = 600;
#endif

struct Totals {
    unsigned trees = 0;
    unsigned rebuilds = 0;
    unsigned rays = 0;
    unsigned compressed_rays = 0;
    unsigned nested_rays = 0;
    std::size_t leaf_calls = 0;
};

/// How a tree of a scene is built.
struct Build {
    scenes::Kind kind;
    unsigned count;
    naive::Split split;
    /// Whether some boxes have special values.
    bool is_spoiled;
};

/// Boxes, indices and samples are drawn anew each time.
void build_tree(MirroredTree& tree, SeededRandom& random, const Build& build, Totals& totals) {
    std::vector<Box> boxes = scenes::make(build.kind, build.count, random.next());
    if (build.is_spoiled)
        support::spoil(boxes, random, 20);
    std::vector<unsigned> indices;
    if (random.below(2)) {
        for (unsigned i = 0; i < build.count; ++i)
            indices.push_back(random.next());
    }
    std::vector<std::vector<Box>> samples(build.count == 0 ? 0 : random.below(6));
    for (std::vector<Box>& sample : samples)
        sample = random.below(2) ? boxes : scenes::make(build.kind, build.count, random.next());
    tree.build(boxes, build.split, indices, samples);
    ++totals.trees;
}

/// Two compressed trees, one of a third of the items, and a plain one.
struct Scene {
    MirroredCompressedTree large;
    MirroredCompressedTree small;
    MirroredPlainTree plain;

    std::vector<MirroredTree*> list() { return {&large, &small, &plain}; }
};

/// Builds a tree anew at its place, mostly over fewer items than it had, sometimes over none.
void rebuild_any(Scene& scene, SeededRandom& random, const Build& build, Totals& totals) {
    MirroredTree& tree = *scene.list()[random.below(3)];
    Build next = build;
    next.count = random.below(4) == 0 ? random.below(3) : random.below(build.count + 2);
    next.split = support::all_splits[random.below(4)];
    build_tree(tree, random, next, totals);
    ++totals.rebuilds;
}

/// Traces rays of one scene, alone and in batches, through one shader that keeps its caches.
void compare_scene(const Build& build, Totals& totals) {
    SeededRandom random(std::uint64_t{build.count} * 3000 + static_cast<unsigned>(build.kind) * 10 +
                        static_cast<unsigned>(build.split) + (build.is_spoiled ? 1000000u : 0u));
    Scene scene;
    const Build smaller = {build.kind, 1 + build.count / 3, build.split, build.is_spoiled};
    build_tree(scene.large, random, build, totals);
    build_tree(scene.small, random, smaller, totals);
    build_tree(scene.plain, random, smaller, totals);
    const std::vector<Box> boxes = scenes::make(build.kind, build.count, random.next());
    const float open = random.below(2) ? 0.0f : -1.5f;
    const float close = random.below(8) ? 1.0f : open;
    Mirror mirror(scene.list(), CtxMotionBlur(open, close, 0));
    RayMaker maker(random, boxes);
    for (unsigned group = 0; group < groups_per_scene; ++group) {
        if (random.below(20) == 0)
            rebuild_any(scene, random, build, totals);
        std::vector<RaySpec> rays(random.below(2) ? 1 : 1 + random.below(6));
        for (RaySpec& ray : rays)
            ray = maker.make(open, close);
        const RayQuery query = support::all_ray_queries[random.below(4)];
        const unsigned tree = random.below(5) == 0 ? 1 + random.below(2) : 0;
        const std::string difference = mirror.compare(support::make_batch(rays), query, tree);
        ASSERT_EQ(difference, "") << scenes::name(build.kind) << ", " << build.count
                                  << " boxes, split " << static_cast<unsigned>(build.split)
                                  << ", group " << group << ", " << support::name(query);
        totals.rays += static_cast<unsigned>(rays.size());
        totals.compressed_rays += tree < 2 ? static_cast<unsigned>(rays.size()) : 0;
    }
    totals.nested_rays += mirror.get_nested_ray_count();
    totals.leaf_calls += mirror.get_leaf_call_count();
}

void print(const Totals& totals) {
    std::printf("compared %u trees (%u built in place of others), %u rays, %u of them through "
                "compressed trees, and %u nested ones, %zu leaf calls\n",
                totals.trees, totals.rebuilds, totals.rays, totals.compressed_rays,
                totals.nested_rays, totals.leaf_calls);
}

} // namespace

TEST(CompressedRaysOracle, CallbacksRaysAndCachesAreThoseOfTheNaiveWalks) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const naive::Split split : support::all_splits) {
            for (const unsigned count : counts) {
                compare_scene({kind, count, split, false}, totals);
                if (HasFatalFailure())
                    return;
            }
        }
        compare_scene({kind, large_count, naive::Split::sah_fast, false}, totals);
        if (HasFatalFailure())
            return;
    }
    print(totals);
    EXPECT_GT(totals.rays, 1000u);
    EXPECT_GT(totals.nested_rays, 1000u);
    EXPECT_GT(totals.leaf_calls, 10000u);
}

TEST(CompressedRaysOracle, SpecialValuesInBoxesMakeNoDifference) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 5u, 20u, 70u}) {
            compare_scene({kind, count, naive::Split::hybrid, true}, totals);
            if (HasFatalFailure())
                return;
        }
    }
    print(totals);
    EXPECT_GT(totals.leaf_calls, 1000u);
}
