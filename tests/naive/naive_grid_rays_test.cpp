#include <gtest/gtest.h>

#include <algorithm>

#include <tests/naive/naive_grid.h>
#include <tests/naive/naive_rays.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>

namespace {

using naive::Batch;
using naive::Box;
using naive::Frames;
using naive::GridTree;
using naive::Motion;
using naive::Query;
using naive::Ray;
using naive::Split;
using Items = std::vector<unsigned>;

constexpr Query all_queries[] = {Query::hit_static, Query::hit_motion, Query::nearest_static,
                                 Query::nearest_motion};
constexpr Motion three_samples = {3, 0.0, 0.5, 0.0f, 1.0f};

/// What a leaf callback was called with; `item` is a value of the cell's item list.
struct Call {
    Query callback;
    unsigned item;
    int first;
    int last;

    bool operator==(const Call&) const = default;
};
using Calls = std::vector<Call>;

bool is_nearest(Query query) {
    return query == Query::nearest_static || query == Query::nearest_motion;
}

/// Serves the boxes, which rise by 100 in a unit of time.
void set_source(GridTree& grid, const std::vector<Box>& boxes) {
    grid.source.box = [boxes](unsigned item) { return boxes[item]; };
    grid.source.box_at = [boxes](double time, unsigned item) {
        Box box = boxes[item];
        box.min[2] += 100.0f * static_cast<float>(time);
        box.max[2] += 100.0f * static_cast<float>(time);
        return box;
    };
}

/// Two unit boxes side by side along y in each of `cell_count` places ten apart along x: items 2k
/// and 2k + 1 in cell k.
void build_pairs(GridTree& grid, unsigned cell_count) {
    std::vector<Box> boxes;
    for (unsigned i = 0; i < 2 * cell_count; ++i) {
        const float x = 10.0f * static_cast<float>(i / 2);
        const float y = 1.5f * static_cast<float>(i % 2);
        boxes.push_back({{x, y, 0}, {x + 1.0f, y + 1.0f, 1}});
    }
    set_source(grid, boxes);
    // Target 1 would part the two boxes of a single place.
    naive::build_grid(grid, boxes, cell_count == 1 ? 0 : cell_count, Split::median);
    ASSERT_EQ(grid.cells.size(), cell_count);
}

/// Down through the middle of item 2 * `cell`.
Ray ray_into(unsigned cell) { return naive::make_ray({10.0 * cell + 0.5, 0.5, 50}, {0, 0, -1}); }

/// Along x through the first items of all cells.
Ray ray_along(double direction = 1.0) {
    return naive::make_ray({direction > 0.0 ? -5.0 : 1000.0, 0.5, 0.5}, {direction, 0, 0});
}

Calls trace(GridTree& grid, Query query, Frames& frames, Ray ray,
            const Motion& motion = three_samples, unsigned hit_item = 0xffffffff) {
    Calls calls;
    naive::trace_ray(grid, query, frames, ray, motion,
                     [&](Query callback, unsigned item, Ray& current) {
                         calls.push_back({callback, item, 0, 0});
                         if (item == hit_item) {
                             current.hit_distance *= 0.5;
                             current.hit_flag = true;
                         }
                     });
    EXPECT_EQ(frames.caches_in_use, 0u);
    EXPECT_EQ(frames.packets_in_use, 0u);
    return calls;
}

Calls trace(GridTree& grid, Query query, Frames& frames, Batch& batch) {
    Calls calls;
    naive::trace_batch(grid, query, frames, batch, three_samples,
                       [&](Query callback, unsigned item, int first, int last) {
                           calls.push_back({callback, item, first, last});
                       });
    EXPECT_EQ(frames.caches_in_use, 0u);
    EXPECT_EQ(frames.packets_in_use, 0u);
    return calls;
}

TEST(NaiveGridRays, AnEmptyGridCallsNothing) {
    GridTree grid;
    Frames frames;
    naive::build_grid(grid, {}, 8, Split::sah);
    naive::update_motion(grid, three_samples);
    for (const Query query : all_queries) {
        EXPECT_EQ(trace(grid, query, frames, ray_along()), Calls());
        Batch batch;
        batch.rays = {ray_along(), ray_along()};
        batch.last = 1;
        EXPECT_EQ(trace(grid, query, frames, batch), Calls());
    }
}

TEST(NaiveGridRays, BuildTheCellsThatTheyReach) {
    GridTree grid;
    Frames frames;
    build_pairs(grid, 5);
    EXPECT_EQ(trace(grid, Query::hit_static, frames, ray_into(3)),
              (Calls{{Query::hit_static, 6, 0, 0}}));
    EXPECT_EQ(grid.built, Items{3});
    EXPECT_EQ(trace(grid, Query::nearest_static, frames, ray_into(1)),
              (Calls{{Query::nearest_static, 2, 0, 0}}));
    EXPECT_EQ(trace(grid, Query::hit_static, frames, ray_into(3)).size(), 1u);
    EXPECT_EQ(grid.built, (Items{3, 1}));
    // Both walks go to the nearer cell first.
    EXPECT_EQ(trace(grid, Query::nearest_static, frames, ray_along(-1.0)).size(), 5u);
    EXPECT_EQ(grid.built, (Items{3, 1, 4, 2, 0}));
    EXPECT_TRUE(grid.updated.empty());
}

TEST(NaiveGridRays, AHitKeepsFarCellsUnbuilt) {
    for (const Query query : {Query::hit_static, Query::nearest_static}) {
        GridTree grid;
        Frames frames;
        build_pairs(grid, 5);
        Ray ray = ray_along();
        ray.far_distance = ray.hit_distance = 60.0;
        const Calls calls = trace(grid, query, frames, ray, three_samples, 2);
        // The nearest hit is at 30, behind cell 2 and before cell 3.
        const Items built = is_nearest(query) ? Items{0, 1, 2} : Items{0, 1};
        EXPECT_EQ(grid.built, built);
        EXPECT_EQ(calls.size(), built.size());
    }
}

TEST(NaiveGridRays, TheTopTakesTheFirstCacheAndCellsTheSecond) {
    GridTree grid;
    Frames frames;
    build_pairs(grid, 5);
    trace(grid, Query::hit_static, frames, ray_along(), three_samples, 2);
    ASSERT_EQ(frames.caches.size(), 2u);
    EXPECT_EQ(frames.caches[0].all_hits[0].tree, &grid.top);
    EXPECT_EQ(frames.caches[0].all_hits[0].leaf, 1u);
    EXPECT_EQ(frames.caches[1].all_hits[0].tree, &grid.cells[1].sub_tree->tree);
    // The next ray goes straight to that item, though it is nowhere near.
    EXPECT_EQ(trace(grid, Query::hit_static, frames, ray_into(4), three_samples, 2).size(), 1u);
    EXPECT_EQ(grid.built, (Items{0, 1}));
}

TEST(NaiveGridRays, ASingleCellIsReachedByEveryRayWithoutACache) {
    for (const Query query : all_queries) {
        GridTree grid;
        Frames frames;
        build_pairs(grid, 1);
        // The cell's tree does not test its root, but its children.
        EXPECT_EQ(trace(grid, query, frames, ray_into(7)), Calls());
        EXPECT_EQ(grid.built, Items{0});
        EXPECT_EQ(frames.caches.size(), 1u);
        const bool moves = query == Query::hit_motion || query == Query::nearest_motion;
        EXPECT_EQ(grid.updated.size(), moves ? 1u : 0u);
    }
}

TEST(NaiveGridRays, ASingleItemIsCalledWhateverTheRay) {
    for (const Query query : all_queries) {
        GridTree grid;
        Frames frames;
        naive::build_grid(grid, {Box()}, 8, Split::sah, {42});
        grid.source.box = [](unsigned) { return Box(); };
        grid.source.box_at = [](double, unsigned) { return Box(); };
        EXPECT_EQ(trace(grid, query, frames, ray_into(7)), (Calls{{query, 42, 0, 0}}));
        EXPECT_TRUE(frames.caches.empty());
        Batch batch;
        batch.rays = {ray_into(1), ray_into(2)};
        batch.last = 1;
        EXPECT_EQ(trace(grid, query, frames, batch), (Calls{{query, 42, 0, 1}}));
        EXPECT_TRUE(frames.packets.empty());
    }
}

TEST(NaiveGridRays, WithoutTopSamplesMotionIsStaticOnBothLevels) {
    GridTree grid;
    Frames frames;
    build_pairs(grid, 3);
    EXPECT_EQ(trace(grid, Query::hit_motion, frames, ray_into(1)),
              (Calls{{Query::hit_static, 2, 0, 0}}));
    EXPECT_EQ(trace(grid, Query::nearest_motion, frames, ray_into(1)),
              (Calls{{Query::nearest_static, 2, 0, 0}}));
    EXPECT_TRUE(grid.updated.empty());
}

TEST(NaiveGridMotion, CellsAreBroughtUpToDateByMotionRaysAlone) {
    GridTree grid;
    Frames frames;
    build_pairs(grid, 3);
    naive::update_motion(grid, three_samples);
    EXPECT_EQ(grid.top.samples.size(), 3u);
    EXPECT_TRUE(grid.built.empty());
    trace(grid, Query::hit_static, frames, ray_into(1));
    EXPECT_TRUE(grid.cells[1].sub_tree->pending);
    EXPECT_TRUE(grid.updated.empty());

    Ray ray = ray_along();
    ray.origin[2] = 50.5;
    ray.time = 0.5f;
    EXPECT_EQ(trace(grid, Query::hit_motion, frames, ray), (Calls{{Query::hit_motion, 0, 0, 0},
                                                                  {Query::hit_motion, 2, 0, 0},
                                                                  {Query::hit_motion, 4, 0, 0}}));
    EXPECT_EQ(grid.built, (Items{1, 0, 2}));
    EXPECT_EQ(grid.updated, (Items{0, 1, 2}));
    EXPECT_EQ(grid.cells[1].sub_tree->tree.samples.size(), 3u);
    EXPECT_EQ(grid.cells[1].sub_tree->tree.samples[2].root_box.min[2], 100.0f);

    // A second update makes the cells pending again, and the next motion ray ends that.
    naive::update_motion(grid, {2, 0.0, 1.0, 0.0f, 1.0f});
    EXPECT_TRUE(grid.cells[0].sub_tree->pending);
    trace(grid, Query::nearest_motion, frames, ray_into(0), {2, 0.0, 1.0, 0.0f, 1.0f});
    EXPECT_EQ(grid.updated, (Items{0, 1, 2, 0}));
    EXPECT_EQ(grid.cells[0].sub_tree->tree.samples.size(), 2u);
    EXPECT_EQ(grid.cells[1].sub_tree->tree.samples.size(), 3u);
    naive::update_motion(grid, Motion());
    EXPECT_TRUE(grid.top.samples.empty());
}

TEST(NaiveGridPackets, RaysGoTogetherThroughBothLevels) {
    GridTree grid;
    Frames frames;
    build_pairs(grid, 3);
    Batch batch;
    for (unsigned i = 0; i < 12; ++i)
        batch.rays.push_back(ray_into(i >= 3 && i <= 9 ? 1 : 7));
    batch.last = 11;
    EXPECT_EQ(trace(grid, Query::nearest_static, frames, batch),
              (Calls{{Query::nearest_static, 2, 3, 9}}));
    EXPECT_EQ(grid.built, Items{1});
    EXPECT_EQ(frames.caches.size(), 2u);
    EXPECT_EQ(frames.packets.size(), 2u);
    EXPECT_EQ(batch.first, 0);
    EXPECT_EQ(batch.last, 11);
    // The other queries go ray by ray.
    EXPECT_EQ(trace(grid, Query::hit_static, frames, batch).size(), 7u);
}

TEST(NaiveGridPackets, ALoneRayIsWalkedAlone) {
    GridTree grid;
    Frames frames;
    build_pairs(grid, 3);
    Batch batch;
    batch.rays = {ray_into(0), ray_into(2), ray_into(0)};
    batch.first = batch.last = 1;
    EXPECT_EQ(trace(grid, Query::nearest_static, frames, batch),
              (Calls{{Query::nearest_static, 4, 1, 1}}));
    EXPECT_TRUE(frames.packets.empty());
}

/// A ray from anywhere through the middle of the box.
Ray make_ray(support::SeededRandom& random, const Box& target) {
    double origin[3];
    double direction[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        origin[axis] = static_cast<double>(random.between(-60.0f, 60.0f));
        const double middle = 0.5 * static_cast<double>(target.min[axis] + target.max[axis]);
        direction[axis] = middle - origin[axis];
    }
    Ray ray = naive::make_ray(origin, direction);
    ray.cache_slot = static_cast<int>(random.below(6));
    return ray;
}

/// Hits a box half way between the ray's entry and exit: no rounding of boxes hides it.
void hit_inside(const Box& box, Ray& ray) {
    double entry = ray.near_distance;
    double exit = 1e6;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double at_min =
            (static_cast<double>(box.min[axis]) - ray.origin[axis]) * ray.inverse[axis];
        const double at_max =
            (static_cast<double>(box.max[axis]) - ray.origin[axis]) * ray.inverse[axis];
        entry = std::max(entry, std::min(at_min, at_max));
        exit = std::min(exit, std::max(at_min, at_max));
    }
    if (entry < exit)
        naive::shorten(ray, 0.5 * (entry + exit));
}

TEST(NaiveGridRays, NearestHitsAreThoseOfAFlatTree) {
    support::SeededRandom random(5);
    unsigned hits = 0;
    for (const unsigned target : {1u, 4u, 30u, 200u}) {
        const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 150, target);
        const naive::Tree flat = naive::build(boxes, Split::sah);
        GridTree grid;
        set_source(grid, boxes);
        naive::build_grid(grid, boxes, target, Split::sah);
        Frames frames;
        naive::Cache cache;
        for (unsigned round = 0; round < 40; ++round) {
            Batch batch;
            const unsigned ray_count = 1 + random.below(20);
            for (unsigned i = 0; i < ray_count; ++i)
                batch.rays.push_back(make_ray(random, boxes[random.below(150)]));
            batch.last = static_cast<int>(ray_count) - 1;
            const auto hit = [&](unsigned item, Ray& ray) { hit_inside(boxes[item], ray); };
            std::vector<Ray> alone = batch.rays;
            std::vector<Ray> plain = batch.rays;
            naive::trace_batch(grid, Query::nearest_static, frames, batch, Motion(),
                               [&](Query, unsigned item, int first, int last) {
                                   for (int i = first; i <= last; ++i)
                                       hit(item, batch.rays[static_cast<std::size_t>(i)]);
                               });
            for (unsigned i = 0; i < ray_count; ++i) {
                naive::trace_ray(grid, Query::nearest_static, frames, alone[i], Motion(),
                                 [&](Query, unsigned item, Ray& ray) { hit(item, ray); });
                naive::ray_hit_nearest_static(flat, cache, plain[i], hit);
                EXPECT_EQ(batch.rays[i].hit_distance, plain[i].hit_distance);
                EXPECT_EQ(alone[i].hit_distance, plain[i].hit_distance);
                hits += plain[i].hit_flag;
            }
        }
    }
    EXPECT_GT(hits, 1000u);
}

} // namespace
