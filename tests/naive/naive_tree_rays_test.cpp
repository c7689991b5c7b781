#include <gtest/gtest.h>

#include <limits>
#include <set>

#include <tests/naive/naive_rays.h>
#include <tests/naive/naive_tree.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using naive::Cache;
using naive::far_away;
using naive::make_ray;
using naive::Ray;
using naive::shorten;
using naive::Split;
using naive::three_in_a_row;
using naive::TimeSpan;
using naive::Tree;
using Items = std::vector<unsigned>;

TEST(NaiveRays, AxisParallelRaysInFacesMissNoTouchedBox) {
    std::vector<Box> boxes = scenes::make(scenes::Kind::grid, 64, 3);
    for (unsigned i = 0; i < 4; ++i) {
        const float x = static_cast<float>(i);
        boxes.push_back({{x, 2.0f, 0.0f}, {x + 1.0f, 2.0f, 4.0f}});
    }
    for (const Split split : naive::all_splits) {
        const Tree tree = naive::build(boxes, split);
        for (unsigned axis = 0; axis < 3; ++axis) {
            for (unsigned place = 0; place < 162; ++place) {
                const double sign = place % 2 == 0 ? 1.0 : -1.0;
                double origin[3];
                double direction[3] = {-0.0, 0.0, -0.0};
                origin[(axis + 1) % 3] = 0.5 * (place / 2 % 9);
                origin[(axis + 2) % 3] = 0.5 * (place / 18);
                origin[axis] = 2.0 - 3.0 * sign;
                direction[axis] = sign;
                Ray ray = make_ray(origin, direction);
                std::set<unsigned> called;
                Cache cache;
                naive::ray_hit_static(tree, cache, ray,
                                      [&](unsigned item, Ray&) { called.insert(item); });
                for (unsigned item = 0; item < boxes.size(); ++item) {
                    bool touched = true;
                    for (const unsigned other : {(axis + 1) % 3, (axis + 2) % 3}) {
                        touched = touched &&
                                  static_cast<double>(boxes[item].min[other]) <= origin[other] &&
                                  static_cast<double>(boxes[item].max[other]) >= origin[other];
                    }
                    EXPECT_TRUE(!touched || called.count(item) == 1);
                }
            }
        }
    }
}

TEST(NaiveRays, SecondChildFirstWhenEquallyNear) {
    const Box box = {{0, 0, 0}, {1, 1, 1}};
    const Tree tree = naive::build({box, box}, Split::sah);
    Ray ray = make_ray({-1, 0.5, 0.5}, {1, 0, 0});
    Cache cache;
    Items order;
    naive::ray_hit_static(tree, cache, ray, [&](unsigned item, Ray&) { order.push_back(item); });
    EXPECT_EQ(order, (Items{1, 0}));
    order.clear();
    naive::ray_hit_nearest_static(tree, cache, ray,
                                  [&](unsigned item, Ray&) { order.push_back(item); });
    EXPECT_EQ(order, (Items{1, 0}));
}

TEST(NaiveRays, LoneLeafIsCalledWithoutABoxTest) {
    const Tree tree = naive::build({{{0, 0, 0}, {1, 1, 1}}}, Split::sah, {42});
    Ray ray = make_ray({-1, 5, 5}, {-1, 0, 0});
    Cache cache;
    Items order;
    naive::ray_hit_static(tree, cache, ray, [&](unsigned item, Ray&) { order.push_back(item); });
    EXPECT_EQ(order, (Items{42}));
}

TEST(NaiveRays, AllHitsReadsAFarDistanceThatACallbackShortens) {
    const Tree tree = naive::build(three_in_a_row, Split::sah);
    ASSERT_FALSE(tree.nodes[2].leaf);
    Cache cache;
    Items order;
    Ray ray = make_ray({-1, 0.5, 0.5}, {1, 0, 0});
    naive::ray_hit_static(tree, cache, ray, [&](unsigned item, Ray& current) {
        order.push_back(item);
        current.far_distance = 1.5;
    });
    EXPECT_EQ(order, (Items{0}));
}

TEST(NaiveRays, NodeAtExactlyTheHitDistanceIsSkipped) {
    const Tree tree = naive::build(three_in_a_row, Split::sah);
    Cache cache;
    for (const double distance : {3.0, 3.25}) {
        Items order;
        Ray ray = make_ray({-1, 0.5, 0.5}, {1, 0, 0});
        naive::ray_hit_nearest_static(tree, cache, ray, [&](unsigned item, Ray& current) {
            order.push_back(item);
            shorten(current, distance);
        });
        EXPECT_EQ(order, distance == 3.0 ? Items{0} : (Items{0, 1}));
    }
}

TEST(NaiveRays, InfiniteInverseOfEitherSignLoadsAsPositive) {
    const Tree tree = naive::build(three_in_a_row, Split::sah);
    Cache cache;
    for (const double sign : {1.0, -1.0}) {
        Ray ray = make_ray({-1, 1.0, 0.0}, {1, 0, 0});
        ray.inverse[1] = ray.inverse[2] = sign * std::numeric_limits<double>::infinity();
        unsigned calls = 0;
        naive::ray_hit_static(tree, cache, ray, [&](unsigned, Ray&) { ++calls; });
        EXPECT_EQ(calls, 3u);
    }
}

TEST(NaiveRays, InverseComponents) {
    const double infinity = std::numeric_limits<double>::infinity();
    const double largest = static_cast<double>(std::numeric_limits<float>::max());
    EXPECT_EQ(naive::inverse_component(0.0), infinity);
    EXPECT_EQ(naive::inverse_component(-0.0), infinity);
    EXPECT_EQ(naive::inverse_component(-0.5), -2.0);
    EXPECT_EQ(naive::inverse_component(1e-60), largest);
    EXPECT_EQ(naive::inverse_component(-1e-320), -largest);
    EXPECT_EQ(naive::inverse_component(1e-38), 1.0 / 1e-38);
}

TEST(NaiveTime, ClampsToTheShutter) {
    const auto expect = [](const TimeSpan& span, unsigned sample, float fraction) {
        EXPECT_EQ(span.sample, sample);
        EXPECT_EQ(span.fraction, fraction);
    };
    const float not_a_number = std::numeric_limits<float>::quiet_NaN();
    const float infinity = std::numeric_limits<float>::infinity();
    expect(naive::time_span(0.0f, 0.0f, 1.0f, 5), 0, 0.0f);
    expect(naive::time_span(0.625f, 0.0f, 1.0f, 5), 2, 0.5f);
    expect(naive::time_span(1.0f, 0.0f, 1.0f, 5), 3, 1.0f);
    expect(naive::time_span(7.0f, 0.0f, 1.0f, 5), 3, 1.0f);
    expect(naive::time_span(infinity, 0.0f, 1.0f, 5), 3, 1.0f);
    expect(naive::time_span(-7.0f, 0.0f, 1.0f, 5), 0, 0.0f);
    expect(naive::time_span(not_a_number, 0.0f, 1.0f, 5), 0, 0.0f);
    expect(naive::time_span(0.5f, 0.0f, 1.0f, 2), 0, 0.5f);
    expect(naive::time_span(0.5f, 0.0f, 1.0f, 1), 0, 0.0f);
    expect(naive::time_span(0.5f, 0.0f, 1.0f, 0), 0, 0.0f);
    expect(naive::time_span(0.5f, 0.5f, 0.5f, 5), 0, 0.0f);
}

} // namespace
