// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include <tests/easy/spheres.h>

namespace {

using easy::intersect;
using easy::Sphere;

/// A scene as lists: what it holds, for tries of everything.
struct ListedScene {
    struct Instance {
        const std::vector<Sphere>* spheres;
        const ListedScene* scene;
        std::vector<gas::Transform> motion;
        bool spheres_move = false;
    };

    std::vector<Instance> instances;
};

gas::Transform get_transform(const std::vector<gas::Transform>& motion, double time) {
    if (motion.size() == 1)
        return motion[0];
    const double place = time * static_cast<double>(motion.size() - 1);
    const std::size_t span = std::min(static_cast<std::size_t>(place), motion.size() - 2);
    return blend(motion[span], motion[span + 1], place - static_cast<double>(span));
}

void try_all(const ListedScene& scene, const gas::Ray& ray, std::vector<std::uint32_t>& path,
             gas::SceneHit& hit) {
    for (std::uint32_t number = 0; number < scene.instances.size(); ++number) {
        const ListedScene::Instance& instance = scene.instances[number];
        const gas::Transform inverse = invert(get_transform(instance.motion, ray.time));
        gas::Ray local = ray;
        local.origin = transform_point(inverse, ray.origin);
        local.direction = transform_direction(inverse, ray.direction);
        path.push_back(number);
        if (instance.scene)
            try_all(*instance.scene, local, path, hit);
        for (std::uint32_t item = 0; instance.spheres && item < instance.spheres->size(); ++item) {
            const Sphere& sphere = (*instance.spheres)[item];
            const double distance =
                intersect(sphere.at(instance.spheres_move ? ray.time : 0.0), local);
            if (ray.holds(distance) && distance < hit.distance)
                hit = {distance, item, path};
        }
        path.pop_back();
    }
}

gas::SceneHit try_all(const ListedScene& scene, const gas::Ray& ray) {
    std::vector<std::uint32_t> path;
    gas::SceneHit hit;
    try_all(scene, ray, path, hit);
    return hit;
}

gas::Transform make_transform(support::SeededRandom& random, double spread) {
    const auto number = [&] { return 2.0 * random.uniform_double() - 1.0; };
    const double x = number(), y = number(), z = number(), angle = 3.0 * number();
    const double dx = spread * number(), dy = spread * number(), dz = spread * number();
    const double sx = 1.0 + 0.5 * number(), sy = 1.0 + 0.5 * number(), sz = -1.0;
    return gas::translation({dx, dy, dz}) * gas::rotation({x, y, z}, angle) *
           gas::scaling({sx, sy, sz});
}

/// The intersection function of scenes whose trees all hold the same spheres.
auto get_function(const std::vector<Sphere>& spheres, bool moves = false) {
    return [&spheres, moves](const gas::Place& place, const gas::Ray& ray) {
        return intersect(spheres[place.item].at(moves ? ray.time : 0.0), ray);
    };
}

void expect_same(const gas::SceneHit& hit, const gas::SceneHit& expected) {
    EXPECT_EQ(hit.distance, expected.distance);
    EXPECT_EQ(hit.item, expected.item);
    EXPECT_EQ(hit.instances, expected.instances);
}

void expect_all_found(const gas::Scene& scene, const ListedScene& listed,
                      const std::vector<Sphere>& spheres, const std::vector<gas::Ray>& rays,
                      bool moves = false) {
    gas::Context context;
    const auto function = get_function(spheres, moves);
    const std::vector<gas::SceneHit> batch = scene.closest_hits(rays, function);
    const std::vector<bool> shadows = scene.any_hits(rays, function);
    unsigned hit_count = 0;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const gas::SceneHit expected = try_all(listed, rays[i]);
        hit_count += expected ? 1 : 0;
        expect_same(scene.closest_hit(rays[i], function), expected);
        expect_same(scene.closest_hit(context, rays[i], function), expected);
        expect_same(batch[i], expected);
        EXPECT_EQ(scene.any_hit(context, rays[i], function), static_cast<bool>(expected));
        EXPECT_EQ(shadows[i], static_cast<bool>(expected));
        bool is_listed = false;
        scene.all_hits(rays[i], [&](const gas::Place& place, const gas::Ray&) {
            is_listed |= place.item == expected.item &&
                         std::vector<std::uint32_t>(
                             place.instances, place.instances + place.depth) == expected.instances;
        });
        EXPECT_EQ(is_listed, static_cast<bool>(expected));
    }
    EXPECT_GE(hit_count, 5u);
}

TEST(EasyScene, FindsWhatTryingEverythingFinds) {
    const std::vector<Sphere> spheres = easy::make_spheres(60, 1, 3.0);
    for (const gas::Kind kind : {gas::Kind::plain, gas::Kind::compressed, gas::Kind::grid}) {
        gas::Options options;
        options.kind = kind;
        gas::Scene scene;
        ListedScene listed;
        support::SeededRandom random(2);
        {
            const gas::Tree tree(easy::get_boxes(spheres), options);
            for (std::uint32_t i = 0; i < 30; ++i) {
                const gas::Transform transform = make_transform(random, 10.0);
                EXPECT_EQ(scene.add(tree, transform), i);
                listed.instances.push_back({&spheres, nullptr, {transform}});
            }
        } // The scene keeps what it needs of the tree.
        scene.build(options);
        EXPECT_EQ(scene.size(), 30u);
        expect_all_found(scene, listed, spheres, easy::make_rays(100, 3));
        expect_all_found(scene, listed, spheres, easy::make_rays(60, 4, 10.0, {}, 1e4));
    }
}

TEST(EasyScene, IsNestedToAnyDepth) {
    const std::vector<Sphere> spheres = easy::make_spheres(60, 11, 4.0);
    const gas::Tree tree(easy::get_boxes(spheres));
    std::vector<gas::Scene> scenes(6);
    std::vector<ListedScene> listed(6);
    support::SeededRandom random(12);
    for (std::size_t level = 0; level < scenes.size(); ++level) {
        for (unsigned i = 0; i < 3; ++i) {
            const gas::Transform transform = make_transform(random, 5.0);
            // A tree beside instances of the scene below.
            if (level == 0 || i == 0) {
                scenes[level].add(tree, transform);
                listed[level].instances.push_back({&spheres, nullptr, {transform}});
            } else {
                scenes[level].add(scenes[level - 1], transform);
                listed[level].instances.push_back({nullptr, &listed[level - 1], {transform}});
            }
        }
        scenes[level].build();
        expect_all_found(scenes[level], listed[level], spheres, easy::make_rays(300, 13));
    }
    gas::Scene last = std::move(scenes.back());
    scenes.clear();
    expect_all_found(last, listed.back(), spheres, easy::make_rays(300, 14));
}

TEST(EasyScene, IsBuiltInTimeWhereManyScenesAreNested) {
    // Counted one by one there would be 10^40 trees.
    const gas::Tree tree(std::vector<gas::Box>(1, gas::Box{{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}}));
    gas::Scene scene;
    scene.add(tree);
    scene.build();
    for (unsigned level = 0; level < 40; ++level) {
        gas::Scene outer;
        for (unsigned i = 0; i < 10; ++i)
            outer.add(scene, gas::translation({static_cast<double>(i), 0.0, 0.0}));
        outer.build();
        scene = std::move(outer);
    }
    EXPECT_NEAR(scene.bounds().min.x, 0.0, 1e-5);
    EXPECT_NEAR(scene.bounds().max.x, 361.0, 1e-5);
}

TEST(EasyScene, MovesItsInstancesAndWhatTheyHold) {
    const std::vector<Sphere> spheres = easy::make_spheres(40, 21, 3.0);
    gas::Tree moving(easy::get_boxes(spheres));
    moving.set_motion({easy::get_boxes(spheres), easy::get_boxes(spheres, 1.0)});
    for (const bool trees_move : {false, true}) {
        const gas::Tree still(easy::get_boxes(spheres));
        gas::Scene inner;
        gas::Scene scene;
        ListedScene listed_inner;
        ListedScene listed;
        support::SeededRandom random(22);
        const auto add = [&](gas::Scene& to, ListedScene& list, std::size_t count) {
            std::vector<gas::Transform> motion;
            const gas::Transform first = make_transform(random, 8.0);
            for (std::size_t i = 0; i < count; ++i) {
                const double x = static_cast<double>(i);
                motion.push_back(first * gas::translation({x, 0.5 * x, -x}) *
                                 gas::rotation({1.0, 0.0, 1.0}, 0.3 * x));
            }
            to.add(trees_move ? moving : still, motion);
            list.instances.push_back({&spheres, nullptr, motion, trees_move});
        };
        for (const std::size_t count : {1u, 2u, 3u, 4u}) {
            add(inner, listed_inner, count);
            add(scene, listed, count);
        }
        inner.build();
        const std::vector<gas::Transform> motion = {gas::translation({1.0, 2.0, 3.0}),
                                                    gas::translation({-3.0, 2.0, 0.0})};
        scene.add(inner, motion);
        listed.instances.push_back({nullptr, &listed_inner, motion});
        scene.build();
        expect_all_found(scene, listed, spheres, easy::make_rays(400, 23), trees_move);
    }
}

TEST(EasyScene, FollowsNewTransforms) {
    const std::vector<Sphere> spheres = easy::make_spheres(40, 31, 3.0);
    const gas::Tree tree(easy::get_boxes(spheres));
    gas::Scene scene;
    scene.add(tree);
    scene.build();
    ListedScene listed = {{{&spheres, nullptr, {gas::Transform()}}}};
    expect_all_found(scene, listed, spheres, easy::make_rays(300, 32, 3.0));
    const gas::Transform moved = gas::translation({50.0, 0.0, 0.0});
    scene.set_transform(0, moved);
    const gas::Ray ray = {{}, {1.0, 0.0, 0.0}};
    EXPECT_THROW(scene.closest_hit(ray, get_function(spheres)), gas::Error);
    EXPECT_THROW(scene.any_hits({ray}, get_function(spheres)), gas::Error);
    scene.build();
    listed.instances[0].motion = {moved};
    expect_all_found(scene, listed, spheres, easy::make_rays(300, 33, 3.0, {50.0, 0.0, 0.0}));
    EXPECT_GT(scene.bounds().min.x, 45.0);
}

TEST(EasyScene, RefusesWhatItCannotHold) {
    const gas::Tree tree(std::vector<gas::Box>(1, gas::Box{{}, {1.0, 1.0, 1.0}}));
    gas::Scene scene;
    EXPECT_THROW(scene.add(gas::Tree()), gas::Error);
    EXPECT_THROW(scene.add(gas::Scene()), gas::Error);
    EXPECT_THROW(scene.add(tree, gas::scaling({1.0, 0.0, 1.0})), gas::Error);
    EXPECT_THROW(scene.add(tree, gas::translation({std::nan(""), 0.0, 0.0})), gas::Error);
    EXPECT_THROW(scene.add(tree, std::vector<gas::Transform>()), gas::Error);
    EXPECT_THROW(scene.set_transform(0, gas::Transform()), gas::Error);
    EXPECT_TRUE(scene.is_empty());

    gas::Scene outer;
    scene.add(tree);
    outer.add(scene);
    EXPECT_THROW(scene.add(outer), gas::Error) << "that holds it";
    EXPECT_THROW(scene.add(scene), gas::Error);
    EXPECT_THROW(outer.build(), gas::Error) << "inner scenes come first";
    scene.build();
    outer.build();
    EXPECT_EQ(outer.size(), 1u);

    gas::Scene restless;
    restless.add(tree, std::vector<gas::Transform>(18));
    restless.add(tree, std::vector<gas::Transform>(20));
    EXPECT_THROW(restless.build(), gas::Error) << "17 and 19 have a large common multiple";
}

TEST(EasyScene, ThatIsEmptyFindsNothing) {
    gas::Scene scene;
    const auto hit = [](const gas::Place&, const gas::Ray&) { return 1.0; };
    const gas::Ray ray = {{}, {1.0, 0.0, 0.0}};
    EXPECT_FALSE(scene.closest_hit(ray, hit));
    EXPECT_FALSE(scene.any_hit(ray, hit));
    scene.build();
    EXPECT_FALSE(scene.closest_hits({ray}, hit)[0]);
    EXPECT_FALSE(scene.any_hits({ray}, hit)[0]);
}

TEST(EasyScene, KeepsItsWayWhereTheFunctionThrows) {
    const std::vector<Sphere> spheres = easy::make_spheres(40, 41, 5.0);
    const gas::Tree tree(easy::get_boxes(spheres));
    gas::Scene inner;
    inner.add(tree);
    inner.build();
    gas::Scene scene;
    scene.add(inner);
    scene.build();
    ListedScene listed_inner = {{{&spheres, nullptr, {gas::Transform()}}}};
    const ListedScene listed = {{{nullptr, &listed_inner, {gas::Transform()}}}};
    const std::vector<gas::Ray> rays = easy::make_rays(60, 42, 5.0);
    const auto fail = [](const gas::Place&, const gas::Ray&) -> double {
        throw std::runtime_error("no");
    };
    EXPECT_THROW(scene.closest_hits(rays, fail), std::runtime_error);
    EXPECT_THROW(scene.any_hits(rays, fail), std::runtime_error);
    expect_all_found(scene, listed, spheres, rays);
}

TEST(EasyTransform, IsInvertedAndMultiplied) {
    support::SeededRandom random(51);
    for (unsigned i = 0; i < 20; ++i) {
        const gas::Transform transform = make_transform(random, 100.0);
        const gas::Transform both = transform * invert(transform);
        for (unsigned row = 0; row < 3; ++row) {
            for (unsigned column = 0; column < 4; ++column)
                EXPECT_NEAR(both.rows[row][column], row == column ? 1.0 : 0.0, 1e-12);
        }
    }
}

TEST(EasyTransform, MovesPointsDirectionsAndBoxes) {
    const double quarter = std::acos(0.0);
    const gas::Transform transform =
        gas::translation({10.0, 0.0, 0.0}) * gas::rotation({0.0, 0.0, 2.0}, quarter);
    const gas::Vector point = transform_point(transform, {1.0, 2.0, 3.0});
    EXPECT_NEAR(point.x, 8.0, 1e-14);
    EXPECT_NEAR(point.y, 1.0, 1e-14);
    EXPECT_EQ(point.z, 3.0);
    const gas::Vector direction = transform_direction(transform, {1.0, 2.0, 3.0});
    EXPECT_NEAR(direction.x, -2.0, 1e-14);
    const gas::Box box = transform_box(transform, {{0.0, 0.0, 0.0}, {1.0, 2.0, 3.0}});
    EXPECT_NEAR(box.min.x, 8.0, 1e-14);
    EXPECT_NEAR(box.max.x, 10.0, 1e-14);
    EXPECT_NEAR(box.max.y, 1.0, 1e-14);
}

} // namespace
