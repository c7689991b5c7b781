// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <numeric>
#include <string>
#include <type_traits>
#include <vector>

#include <tests/mirror/mirror_totals.h>
#include <tests/support/ray_maker.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>
#include <tests/support/tree_kinds.h>

// The library and the naive implementation side by side, rays alone and in small batches: the exact
// sequence of leaf callbacks, what callbacks left in the rays, and the cached leaves of every
// frame. Callbacks trace on, through trees of the other class as well, and trees are rebuilt at
// their place while cached leaves still name them.

namespace {

using naive::Box;
using support::Mirror;
using support::MirroredTree;
using support::MirroredTreeOf;
using support::RayMaker;
using support::RayQuery;
using support::RaySpec;
using support::SeededRandom;
using support::TreeKind;

#ifdef NDEBUG
constexpr unsigned largest_of_all = 64;
const std::vector<unsigned> larger_counts = {65, 100, 129, 300};
constexpr unsigned large_count = 3000;
unsigned get_group_count(unsigned item_count) {
    return support::scale_when_whole(item_count <= 20 ? 150 : 100, 60);
}
#else
constexpr unsigned largest_of_all = 9;
const std::vector<unsigned> larger_counts = {17, 64, 150};
constexpr unsigned large_count = 600;
unsigned get_group_count(unsigned) { return 30; }
#endif

struct Totals {
    unsigned trees = 0;
    unsigned rebuilds = 0;
    unsigned other_rays = 0;
    support::MirrorTotals mirrored;

    void print() const {
        std::printf("compared %u trees (%u built in place of others), %u rays through trees of the "
                    "other class, in all ",
                    trees, rebuilds, other_rays);
        mirrored.print();
    }
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

/// A tree class, and whether its trees have wide nodes.
template <typename ComparedTree, bool has_wide_nodes> struct Nodes {
    using Tree = ComparedTree;
    static constexpr bool wide = has_wide_nodes;
};
struct NodesNames {
    template <typename Of> static std::string GetName(int) {
        return std::string(TreeKind<typename Of::Tree>::name) + (Of::wide ? "_wide" : "");
    }
};

/// Two trees of the class, one of a third of the items, and one of the other class.
template <typename Of> struct Scene {
    using Tree = typename Of::Tree;
    using Other = std::conditional_t<support::is_compressed<Tree>, GasTree, GasCompressedTree>;

    Scene() {
        if constexpr (Of::wide) {
            large.get_library().set_wide_nodes(true);
            small.get_library().set_wide_nodes(true);
        }
    }

    std::vector<MirroredTree*> list() { return {&large, &small, &other}; }

    MirroredTreeOf<Tree, typename TreeKind<Tree>::Naive> large;
    MirroredTreeOf<Tree, typename TreeKind<Tree>::Naive> small;
    MirroredTreeOf<Other, typename TreeKind<Other>::Naive> other;
};

/// Builds a tree anew at its place, mostly over fewer items than it had, sometimes over none.
void rebuild(MirroredTree& tree, SeededRandom& random, const Build& build, Totals& totals) {
    Build next = build;
    next.count = random.below(4) == 0 ? random.below(3) : random.below(build.count + 2);
    next.split = support::all_splits[random.below(4)];
    build_tree(tree, random, next, totals);
    ++totals.rebuilds;
}

/// Traces rays of one scene, alone and in batches, through one shader that keeps its caches.
template <typename Of> void compare_scene(const Build& build, Totals& totals) {
    SeededRandom random(std::uint64_t{build.count} * 3000 + static_cast<unsigned>(build.kind) * 10 +
                        static_cast<unsigned>(build.split) + (build.is_spoiled ? 1000000u : 0u));
    Scene<Of> scene;
    const Build smaller = {build.kind, 1 + build.count / 3, build.split, build.is_spoiled};
    build_tree(scene.large, random, build, totals);
    build_tree(scene.small, random, smaller, totals);
    build_tree(scene.other, random, smaller, totals);
    const std::vector<Box> boxes = scenes::make(build.kind, build.count, random.next());
    const float open = random.below(2) ? 0.0f : -1.5f;
    const float close = random.below(8) ? 1.0f : open;
    Mirror mirror(scene.list(), CtxMotionBlur(open, close, 0));
    RayMaker maker(random, boxes);
    for (unsigned group = 0; group < get_group_count(build.count); ++group) {
        if (random.below(20) == 0)
            rebuild(*scene.list()[random.below(3)], random, build, totals);
        std::vector<RaySpec> rays(random.below(2) ? 1 : 1 + random.below(6));
        for (RaySpec& ray : rays)
            ray = maker.make(open, close);
        const RayQuery query = support::all_ray_queries[random.below(4)];
        const unsigned tree = random.below(5) == 0 ? 1 + random.below(2) : 0;
        const support::BatchSpec batch = support::make_batch(rays);
        const std::string difference = mirror.compare(batch, query, tree);
        ASSERT_EQ(difference, "") << scenes::name(build.kind) << ", " << build.count
                                  << " boxes, split " << static_cast<unsigned>(build.split)
                                  << ", group " << group << ", " << support::name(query);
        totals.mirrored.add_rays(batch);
        totals.other_rays += tree == 2 ? static_cast<unsigned>(rays.size()) : 0;
    }
    totals.mirrored.add(mirror);
}

template <typename Of> class TreesRaysOracle : public testing::Test {};
using AllNodes =
    testing::Types<Nodes<GasTree, false>, Nodes<GasTree, true>, Nodes<GasCompressedTree, false>>;
TYPED_TEST_SUITE(TreesRaysOracle, AllNodes, NodesNames);

} // namespace

TYPED_TEST(TreesRaysOracle, CallbacksRaysAndCachesAreThoseOfTheNaiveWalks) {
    std::vector<unsigned> counts(largest_of_all);
    std::iota(counts.begin(), counts.end(), 1u);
    counts.insert(counts.end(), larger_counts.begin(), larger_counts.end());
    Totals totals;
    support::for_each_build(counts, [&](scenes::Kind kind, naive::Split split, unsigned count) {
        compare_scene<TypeParam>({kind, count, split, false}, totals);
    });
    for (const scenes::Kind kind : scenes::all_kinds()) {
        if (this->HasFatalFailure())
            return;
        compare_scene<TypeParam>({kind, large_count, naive::Split::sah_fast, false}, totals);
    }
    totals.print();
    EXPECT_GT(totals.mirrored.rays, 1000u);
    EXPECT_GT(totals.mirrored.nested_rays, 1000u);
    EXPECT_GT(totals.mirrored.leaf_calls, 10000u);
}

TYPED_TEST(TreesRaysOracle, SpecialValuesInBoxesMakeNoDifference) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 5u, 20u, 70u}) {
            compare_scene<TypeParam>({kind, count, naive::Split::hybrid, true}, totals);
            if (this->HasFatalFailure())
                return;
        }
    }
    totals.print();
    EXPECT_GT(totals.mirrored.leaf_calls, 1000u);
}
