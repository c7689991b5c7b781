#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include <tests/naive/naive_rays.h>
#include <tests/naive/naive_tree.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>

namespace {

using naive::Box;
using naive::Cache;
using naive::far_away;
using naive::Ray;
using naive::shorten;
using naive::Split;
using naive::TimeSpan;
using naive::Tree;

/// From anywhere within `reach` to somewhere near one of the boxes, without zero components.
Ray random_ray(support::SeededRandom& random, const std::vector<Box>& boxes, double reach) {
    const Box& target = boxes[random.below(static_cast<unsigned>(boxes.size()))];
    double origin[3];
    double direction[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double low = static_cast<double>(target.min[axis]);
        const double high = static_cast<double>(target.max[axis]);
        origin[axis] = (random.uniform_double() * 2.0 - 1.0) * reach;
        const double aim = low + (high - low) * (random.uniform_double() * 2.0 - 0.5);
        direction[axis] = aim - origin[axis];
    }
    return naive::make_ray(origin, direction);
}

/// Whether the ray crosses a box, in floats, for rays without zero components.
bool crosses(const Ray& ray, const Box& box, float far_distance) {
    float entry = static_cast<float>(ray.near_distance);
    float exit = far_distance;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float origin = static_cast<float>(ray.origin[axis]);
        const float inverse = static_cast<float>(ray.inverse[axis]);
        const float low = ray.direction[axis] < 0.0 ? box.max[axis] : box.min[axis];
        const float high = ray.direction[axis] < 0.0 ? box.min[axis] : box.max[axis];
        entry = std::max(entry, (low - origin) * inverse);
        exit = std::min(exit, (high - origin) * inverse);
    }
    return entry <= exit;
}

/// The items whose own box and all of whose ancestors' boxes are crossed, the root's left out.
std::multiset<unsigned> reachable(const Tree& tree, const std::vector<Box>& node_boxes,
                                  const Ray& ray) {
    std::vector<bool> reached(tree.nodes.size(), false);
    reached[0] = true;
    std::multiset<unsigned> result;
    for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
        if (!reached[i]) {
            continue;
        }
        const naive::Node& node = tree.nodes[i];
        if (node.leaf) {
            result.insert(node.index);
            continue;
        }
        for (const unsigned child : {node.index, node.index + 1}) {
            reached[child] = crosses(ray, node_boxes[child], static_cast<float>(ray.far_distance));
        }
    }
    return result;
}

std::vector<Box> node_boxes_of(const Tree& tree) {
    std::vector<Box> boxes;
    for (const naive::Node& node : tree.nodes) {
        boxes.push_back(node.box);
    }
    return boxes;
}

std::vector<Box> blended(const std::vector<Box>& before, const std::vector<Box>& after, float f) {
    std::vector<Box> boxes(before.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            boxes[i].min[axis] = after[i].min[axis] * f + before[i].min[axis] * (1.0f - f);
            boxes[i].max[axis] = after[i].max[axis] * f + before[i].max[axis] * (1.0f - f);
        }
    }
    return boxes;
}

double reach_of(scenes::Kind kind) {
    switch (kind) {
    case scenes::Kind::huge:
        return 1e30;
    case scenes::Kind::tiny:
        return 1e-12;
    default:
        return 60.0;
    }
}

TEST(NaiveRaySearch, AllHitsCallsEveryLeafUnderCrossedBoxesOnce) {
    support::SeededRandom random(11);
    std::size_t called_in_all = 0;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {1u, 2u, 7u, 60u, 200u}) {
            const std::vector<Box> boxes = scenes::make(kind, count, count);
            for (const Split split : naive::all_splits) {
                const Tree tree = naive::build(boxes, split);
                const std::vector<Box> node_boxes = node_boxes_of(tree);
                Cache cache;
                for (unsigned i = 0; i < 20; ++i) {
                    Ray ray = random_ray(random, boxes, reach_of(kind));
                    std::multiset<unsigned> called;
                    naive::ray_hit_static(tree, cache, ray,
                                          [&](unsigned item, Ray&) { called.insert(item); });
                    EXPECT_EQ(called, reachable(tree, node_boxes, ray)) << scenes::name(kind);
                    called_in_all += called.size();
                }
            }
        }
    }
    EXPECT_GT(called_in_all, 10000u);
}

TEST(NaiveRaySearch, MotionTestsBlendedBoxes) {
    support::SeededRandom random(12);
    const std::vector<Box> boxes = scenes::make(scenes::Kind::random, 150, 1);
    const std::vector<Box> moved = scenes::make(scenes::Kind::random, 150, 2);
    Tree tree = naive::build(boxes, Split::sah);
    naive::set_sample_count(tree, 3);
    naive::refit_sample(tree, moved, 0);
    naive::refit_sample(tree, boxes, 1);
    naive::refit_sample(tree, moved, 2);
    Cache cache;
    for (unsigned i = 0; i < 300; ++i) {
        Ray ray = random_ray(random, boxes, 60.0);
        const TimeSpan span = naive::time_span(random.uniform(), 0.0f, 1.0f, 3);
        const std::vector<Box> node_boxes =
            blended(tree.samples[span.sample], tree.samples[span.sample + 1], span.fraction);
        std::multiset<unsigned> called;
        naive::ray_hit_motion(tree, cache, ray, span,
                              [&](unsigned item, Ray&) { called.insert(item); });
        EXPECT_EQ(called, reachable(tree, node_boxes, ray));
    }
}

/// Entry distance into the item, a box again, in doubles; negative for a miss.
double item_distance(const Ray& ray, const Box& box) {
    double entry = ray.near_distance;
    double exit = static_cast<double>(far_away);
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double a =
            (static_cast<double>(box.min[axis]) - ray.origin[axis]) * ray.inverse[axis];
        const double b =
            (static_cast<double>(box.max[axis]) - ray.origin[axis]) * ray.inverse[axis];
        entry = std::max(entry, std::min(a, b));
        exit = std::min(exit, std::max(a, b));
    }
    return entry <= exit ? entry : -1.0;
}

/// Boxes wider than the items by more than the rounding of the box test.
std::vector<Box> padded(std::vector<Box> boxes) {
    for (Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] -= 0.01f;
            box.max[axis] += 0.01f;
        }
    }
    return boxes;
}

double nearest_by_trying_all(const std::vector<Box>& items, const Ray& ray) {
    double nearest = static_cast<double>(far_away);
    for (const Box& item : items) {
        const double distance = item_distance(ray, item);
        if (distance >= 0.0 && distance < nearest) {
            nearest = distance;
        }
    }
    return nearest;
}

TEST(NaiveRaySearch, NearestFindsWhatTryingAllItemsFinds) {
    support::SeededRandom random(13);
    unsigned hits = 0;
    for (const scenes::Kind kind : {scenes::Kind::random, scenes::Kind::flat, scenes::Kind::grid,
                                    scenes::Kind::nested, scenes::Kind::diagonal}) {
        const std::vector<Box> items = scenes::make(kind, 200, 5);
        for (const Split split : naive::all_splits) {
            Tree tree = naive::build(padded(items), split);
            naive::set_sample_count(tree, 2);
            naive::refit_sample(tree, padded(items), 0);
            naive::refit_sample(tree, padded(items), 1);
            Cache cache;
            for (unsigned i = 0; i < 200; ++i) {
                Ray ray = random_ray(random, items, 60.0);
                const double expected = nearest_by_trying_all(items, ray);
                std::multiset<unsigned> called;
                const naive::LeafCallback callback = [&](unsigned item, Ray& current) {
                    called.insert(item);
                    shorten(current, item_distance(current, items[item]));
                };
                if (i % 2 == 0) {
                    naive::ray_hit_nearest_static(tree, cache, ray, callback);
                } else {
                    naive::ray_hit_nearest_motion(tree, cache, ray, {0, 0.375f}, callback);
                }
                EXPECT_EQ(ray.hit_distance, expected);
                EXPECT_EQ(ray.hit_flag, expected < static_cast<double>(far_away));
                EXPECT_EQ(cache.nearest[0].tree == &tree, ray.hit_flag);
                for (const unsigned item : called) {
                    EXPECT_EQ(called.count(item), 1u);
                }
                hits += ray.hit_flag ? 1u : 0u;
            }
        }
    }
    EXPECT_GT(hits, 500u);
}

} // namespace
