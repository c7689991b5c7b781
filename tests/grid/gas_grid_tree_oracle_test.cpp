// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <vector>

#include <tests/mirror/mirror_totals.h>
#include <tests/mirror/mirrored_grid.h>
#include <tests/support/ray_batches.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/spoiled_boxes.h>

// Grids of the library and of the naive implementation side by side, bit by bit: cells, top trees,
// cells' trees, samples, the order in which queries build cells and bring them up to date, the
// exact sequence of leaf callbacks, what callbacks left in the rays, and the cached leaves of every
// frame.

namespace {

using naive::Box;
using support::BatchMaker;
using support::BatchSpec;
using support::Mirror;
using support::MirroredCompressedTree;
using support::MirroredGrid;
using support::RayQuery;
using support::SeededRandom;

#ifdef NDEBUG
constexpr unsigned batches_per_scene = support::scale(support::scale_when_whole(40, 20), 5);
constexpr unsigned lone_grids_per_kind = support::scale(600, 60);
#else
constexpr unsigned batches_per_scene = 8;
constexpr unsigned lone_grids_per_kind = 60;
#endif
const std::vector<unsigned> counts = {1, 2, 3, 5, 9, 33, 100, 350, 1200};

struct Totals {
    unsigned grids = 0;
    unsigned cells = 0;
    unsigned built_cells = 0;
    support::MirrorTotals mirrored;

    void add(const MirroredGrid& grid) {
        ++grids;
        cells += grid.get_cell_count();
        built_cells += grid.get_built_count();
    }
    void print() const {
        std::printf("compared %u grids with %u cells, %u of them built by ", grids, cells,
                    built_cells);
        mirrored.print();
    }
};

/// From one cell for all to many more than items.
unsigned choose_target(SeededRandom& random, unsigned count) {
    const unsigned targets[] = {random.below(3), 1 + count / 16, count, 8 * count,
                                1 + random.below(20000)};
    return targets[random.below(5)];
}

std::vector<unsigned> choose_indices(SeededRandom& random, unsigned count) {
    std::vector<unsigned> indices;
    if (random.below(2)) {
        for (unsigned i = 0; i < count; ++i)
            indices.push_back(1000 * i + random.below(1000));
    }
    return indices;
}

std::vector<std::vector<Box>> choose_samples(SeededRandom& random, scenes::Kind kind,
                                             unsigned count, unsigned sample_count) {
    std::vector<std::vector<Box>> samples(sample_count);
    const std::uint64_t seed = random.next();
    for (std::vector<Box>& sample : samples)
        sample = scenes::make(kind, count, seed + random.below(2));
    return samples;
}

void build_grid(MirroredGrid& grid, SeededRandom& random, scenes::Kind kind, unsigned count,
                naive::Split split) {
    grid.set_target(choose_target(random, count));
    grid.build(scenes::make(kind, count, random.next()), split, choose_indices(random, count),
               choose_samples(random, kind, count, random.below(5)));
}

/// Traces batches of all kinds through two grids and a tree, by way of their callbacks too.
void compare_scene(scenes::Kind kind, unsigned count, naive::Split split, Totals& totals) {
    SeededRandom random(std::uint64_t{count} * 5000 + static_cast<unsigned>(kind) * 10 +
                        static_cast<unsigned>(split));
    const float open = random.below(2) ? 0.0f : -1.5f;
    const CtxMotionBlur shutter(open, random.below(8) ? 1.0f : open, 0);
    MirroredGrid grids[] = {MirroredGrid(shutter), MirroredGrid(shutter)};
    MirroredCompressedTree tree;
    build_grid(grids[0], random, kind, count, split);
    build_grid(grids[1], random, kind, 1 + count / 3, split);
    tree.build(scenes::make(kind, 1 + count / 5, 1), split, {}, {});
    Mirror mirror({&grids[0], &grids[1], &tree}, shutter);
    BatchMaker maker(random, grids[0].get_boxes());
    for (unsigned i = 0; i < batches_per_scene; ++i) {
        if (random.below(10) == 0)
            grids[0].update_motion(choose_samples(random, kind, count, random.below(5)));
        BatchSpec batch = maker.make_any();
        if (random.below(3) == 0)
            batch.last_ray = batch.first_ray;
        maker.change_planes(batch);
        for (support::RaySpec& ray : batch.rays)
            ray.time = open + 2.5f * random.uniform();
        const RayQuery query = support::all_ray_queries[random.below(4)];
        const unsigned subject = random.below(6) == 0 ? 1 + random.below(2) : 0;
        ASSERT_EQ(mirror.compare(batch, query, subject), "")
            << scenes::name(kind) << ", " << count << " boxes, split "
            << static_cast<unsigned>(split) << ", batch " << i << ", " << name(query);
        totals.mirrored.add_rays(batch);
    }
    for (const MirroredGrid& grid : grids) {
        ASSERT_EQ(grid.find_tree_difference(), "") << scenes::name(kind) << " " << count;
        totals.add(grid);
    }
    totals.mirrored.add(mirror);
}

} // namespace

TEST(GridOracle, QueriesBuildAndCallWhatTheNaiveOnesDo) {
    Totals totals;
    support::for_each_build(counts, [&](scenes::Kind kind, naive::Split split, unsigned count) {
        compare_scene(kind, count, split, totals);
    });
    if (HasFatalFailure())
        return;
    totals.print();
    EXPECT_GT(totals.built_cells, 1000u);
    EXPECT_LT(totals.built_cells, totals.cells);
    totals.mirrored.expect_enough();
}

// Boxes with infinities, values that are no numbers, overflowing centres and corners the wrong way
// around; every cell is built.
TEST(GridOracle, GridsOverBoxesWithSpecialValuesAreThoseOfTheNaiveBuild) {
    Totals totals;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (unsigned i = 0; i < lone_grids_per_kind; ++i) {
            SeededRandom random(std::uint64_t{i} * 100 + static_cast<unsigned>(kind));
            const unsigned count = 1 + random.below(i % 10 == 0 ? 700 : 60);
            std::vector<Box> boxes = scenes::make(kind, count, random.next());
            if (i % 3 != 0)
                support::spoil(boxes, random, 5 + random.below(60));
            const std::vector<unsigned> indices = choose_indices(random, count);
            MirroredGrid grid{CtxMotionBlur(0.0f, 1.0f, 0)};
            grid.set_target(choose_target(random, count));
            std::vector<std::vector<Box>> samples =
                choose_samples(random, kind, count, random.below(4));
            for (std::vector<Box>& sample : samples)
                support::spoil(sample, random, 50);
            grid.build(boxes, support::all_splits[random.below(4)], indices, samples);
            ASSERT_EQ(grid.find_tree_difference(), "") << scenes::name(kind) << " " << i;
            grid.reach_all_cells();
            ASSERT_EQ(grid.find_tree_difference(), "") << scenes::name(kind) << " " << i;
            totals.add(grid);
        }
    }
    totals.print();
    EXPECT_EQ(totals.built_cells, totals.cells);
    EXPECT_GT(totals.cells, 5 * totals.grids);
}
