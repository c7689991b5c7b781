#include <gtest/gtest.h>

#include <tests/naive/naive_compressed.h>
#include <tests/naive/naive_expansion.h>
#include <tests/naive/naive_rays.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>

namespace {

using naive::Box;
using naive::build_compressed;
using naive::Cache;
using naive::CompressedTree;
using naive::expand;
using naive::far_away;
using naive::make_ray;
using naive::Ray;
using naive::shorten;
using naive::Split;
using naive::three_in_a_row;
using naive::TimeSpan;
using naive::Tree;
using Items = std::vector<unsigned>;

Ray along_x() { return make_ray({-1, 0.5, 0.5}, {1, 0, 0}); }

/// Calls of each of the four queries, in one list.
Items all_queries(const CompressedTree& tree, const Ray& ray) {
    Cache cache;
    Items order;
    const auto record = [&](unsigned item, Ray&) { order.push_back(item); };
    Ray rays[4] = {ray, ray, ray, ray};
    naive::ray_hit_static(tree, cache, rays[0], record);
    naive::ray_hit_motion(tree, cache, rays[1], {0, 0.5f}, record);
    naive::ray_hit_nearest_static(tree, cache, rays[2], record);
    naive::ray_hit_nearest_motion(tree, cache, rays[3], {0, 0.5f}, record);
    return order;
}

TEST(NaiveCompressedRays, EmptyTreesCallNothing) {
    EXPECT_EQ(all_queries(CompressedTree(), along_x()), Items());
}

TEST(NaiveCompressedRays, OneItemIsCalledWhateverTheRay) {
    const Ray away = make_ray({-1, 5, 5}, {-1, 0, 0});
    EXPECT_EQ(all_queries(build_compressed({three_in_a_row[0]}, Split::sah), away),
              (Items{0, 0, 0, 0}));
    EXPECT_EQ(all_queries(build_compressed({three_in_a_row[0]}, Split::sah, {42}), away),
              (Items{42, 42, 42, 42}));
}

TEST(NaiveCompressedRays, SecondChildFirstWhenEquallyNear) {
    const Box box = {{0, 0, 0}, {1, 1, 1}};
    EXPECT_EQ(all_queries(build_compressed({box, box}, Split::sah), along_x()),
              (Items{1, 0, 1, 0, 1, 0, 1, 0}));
}

TEST(NaiveCompressedRays, FewerThanTwoSamplesWalkTheStaticBoxes) {
    CompressedTree tree = build_compressed(three_in_a_row, Split::sah, {5, 6, 7});
    const Items expected = {5, 6, 7, 5, 6, 7, 5, 6, 7, 5, 6, 7};
    EXPECT_EQ(all_queries(tree, along_x()), expected);
    naive::set_sample_count(tree, 1);
    EXPECT_EQ(all_queries(tree, along_x()), expected);
}

TEST(NaiveCompressedRays, TheFractionTurnsOneSampleIntoTheNext) {
    CompressedTree tree = build_compressed(three_in_a_row, Split::sah);
    naive::set_sample_count(tree, 2);
    std::vector<Box> above = three_in_a_row;
    for (Box& box : above) {
        box.min[1] += 10.0f;
        box.max[1] += 10.0f;
    }
    ASSERT_TRUE(naive::refit_sample(tree, three_in_a_row, 0));
    ASSERT_TRUE(naive::refit_sample(tree, above, 1));
    const auto calls_at = [&](double y, float fraction) {
        Items order;
        Cache cache;
        Ray ray = make_ray({-1, y, 0.5}, {1, 0, 0});
        naive::ray_hit_motion(tree, cache, ray, {0, fraction},
                              [&](unsigned item, Ray&) { order.push_back(item); });
        naive::ray_hit_nearest_motion(tree, cache, ray, {0, fraction},
                                      [&](unsigned item, Ray&) { order.push_back(item); });
        return order.size();
    };
    EXPECT_EQ(calls_at(0.5, 0.0f), 6u);
    EXPECT_EQ(calls_at(0.5, 0.5f), 0u);
    EXPECT_EQ(calls_at(5.5, 0.5f), 6u);
    EXPECT_EQ(calls_at(10.5, 0.5f), 0u);
    EXPECT_EQ(calls_at(10.5, 1.0f), 6u);
    EXPECT_EQ(calls_at(0.5, 1.0f), 0u);
}

TEST(NaiveCompressedRays, StaleCacheEntriesAreTried) {
    const CompressedTree plain = build_compressed(three_in_a_row, Split::sah);
    const CompressedTree mapped = build_compressed(three_in_a_row, Split::sah, {5, 6, 7});
    for (const CompressedTree* tree : {&plain, &mapped}) {
        Cache cache;
        cache.all_hits[0] = cache.nearest[0] = {tree, 9};
        Items order;
        Ray ray = along_x();
        ray.hit_flag = true;
        naive::ray_hit_static(*tree, cache, ray,
                              [&](unsigned item, Ray&) { order.push_back(item); });
        // A ray whose flag is set stops here, whether the position has an item to call or not.
        EXPECT_EQ(order, tree == &plain ? Items{9} : Items());
        EXPECT_EQ(cache.all_hits[0].leaf, 9u);

        order.clear();
        ray = along_x();
        naive::ray_hit_static(*tree, cache, ray,
                              [&](unsigned item, Ray&) { order.push_back(item); });
        EXPECT_EQ(order, tree == &plain ? (Items{9, 0, 1, 2}) : (Items{5, 6, 7}));
        EXPECT_EQ(cache.all_hits[0].tree, nullptr);

        order.clear();
        ray = along_x();
        naive::ray_hit_nearest_static(*tree, cache, ray,
                                      [&](unsigned item, Ray&) { order.push_back(item); });
        EXPECT_EQ(order, tree == &plain ? (Items{9, 0, 1, 2}) : (Items{5, 6, 7}));
        EXPECT_EQ(cache.nearest[0].tree, nullptr);
    }
}

TEST(NaiveCompressedRays, NodeAtExactlyTheHitDistanceIsSkipped) {
    const CompressedTree tree =
        build_compressed({{{0, 0, 0}, {100, 1, 1}}, {{101, 0, 0}, {255, 1, 1}}}, Split::sah);
    // The second box starts a step lower than it was, from the ray's origin at -1: at 101.
    ASSERT_EQ(naive::decoded_boxes(tree)[2].min[0], 100.0f);
    for (const double distance : {101.0, 101.25}) {
        Cache cache;
        Items order;
        Ray ray = along_x();
        naive::ray_hit_nearest_static(tree, cache, ray, [&](unsigned item, Ray& current) {
            order.push_back(item);
            shorten(current, distance);
        });
        EXPECT_EQ(order, distance == 101.0 ? Items{0} : (Items{0, 1}));
    }
}

/// A callback that ends or shortens some rays, by item and round, and writes down what it was told.
struct Script {
    unsigned round;
    Items order = {};

    void operator()(unsigned item, Ray& ray) {
        order.push_back(item);
        const unsigned choice = (item * 7 + round * 3) % 11;
        if (choice == 0) {
            ray.hit_flag = true;
        } else if (choice < 4) {
            ray.far_distance *= 0.75;
            shorten(ray, ray.hit_distance * 0.5);
        }
    }
};

/// The same ray through both trees: the same calls, the same ray and cache afterwards. Returns how
/// many calls there were.
std::size_t compare_walks(const CompressedTree& compressed, const Tree& plain, const Ray& ray,
                          TimeSpan span, Cache (&caches)[2], unsigned round) {
    std::size_t calls = 0;
    for (unsigned query = 0; query < 4; ++query) {
        Ray rays[2] = {ray, ray};
        Script scripts[2] = {{round}, {round}};
        const auto run = [&](const auto& tree, unsigned side) {
            const auto call = [&](unsigned item, Ray& now) { scripts[side](item, now); };
            if (query == 0) {
                naive::ray_hit_static(tree, caches[side], rays[side], call);
            } else if (query == 1) {
                naive::ray_hit_motion(tree, caches[side], rays[side], span, call);
            } else if (query == 2) {
                naive::ray_hit_nearest_static(tree, caches[side], rays[side], call);
            } else {
                naive::ray_hit_nearest_motion(tree, caches[side], rays[side], span, call);
            }
        };
        run(compressed, 0);
        run(plain, 1);
        calls += scripts[0].order.size();
        EXPECT_EQ(scripts[0].order, scripts[1].order);
        EXPECT_EQ(rays[0].far_distance, rays[1].far_distance);
        EXPECT_EQ(rays[0].hit_distance, rays[1].hit_distance);
        EXPECT_EQ(rays[0].hit_flag, rays[1].hit_flag);
        const unsigned slot = static_cast<unsigned>(ray.cache_slot);
        EXPECT_EQ(caches[0].all_hits[slot].tree == nullptr,
                  caches[1].all_hits[slot].tree == nullptr);
        EXPECT_EQ(caches[0].nearest[slot].tree == nullptr, caches[1].nearest[slot].tree == nullptr);
    }
    return calls;
}

TEST(NaiveCompressedRays, WalkAsAPlainTreeOverTheDecodedBoxes) {
    support::SeededRandom random(3);
    std::size_t calls_in_all = 0;
    for (const scenes::Kind kind : {scenes::Kind::random, scenes::Kind::grid, scenes::Kind::flat,
                                    scenes::Kind::coincident, scenes::Kind::nested}) {
        for (const Split split : naive::all_splits) {
            SCOPED_TRACE(scenes::name(kind));
            const std::vector<Box> boxes = scenes::make(kind, 120, 17);
            CompressedTree tree = build_compressed(boxes, split);
            naive::set_sample_count(tree, 3);
            for (unsigned sample = 0; sample < 3; ++sample) {
                std::vector<Box> moved = boxes;
                for (Box& box : moved) {
                    box.min[sample] -= random.uniform();
                    box.max[sample] += random.uniform();
                }
                ASSERT_TRUE(naive::refit_sample(tree, moved, sample));
            }
            const Tree plain = expand(tree);
            Cache caches[2];
            for (unsigned round = 0; round < 60; ++round) {
                const Box& target = boxes[random.below(120)];
                double origin[3];
                double direction[3];
                for (unsigned axis = 0; axis < 3; ++axis) {
                    origin[axis] = static_cast<double>(random.between(-30.0f, 30.0f));
                    direction[axis] = static_cast<double>(target.max[axis]) - origin[axis];
                }
                Ray ray = make_ray(origin, direction);
                ray.cache_slot = static_cast<int>(random.below(6));
                const TimeSpan span = {random.below(2), random.uniform()};
                calls_in_all += compare_walks(tree, plain, ray, span, caches, round);
            }
        }
    }
    EXPECT_GT(calls_in_all, 20000u);
}

} // namespace
