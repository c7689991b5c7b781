// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include <tests/easy/spheres.h>

namespace {

using easy::operator*;
using easy::find_closest;
using easy::intersect;
using easy::Sphere;

constexpr gas::Kind all_kinds[] = {gas::Kind::plain, gas::Kind::compressed, gas::Kind::grid};

gas::Options get_options(gas::Kind kind) {
    gas::Options options;
    options.kind = kind;
    options.items_per_cell = 20;
    return options;
}

/// Asks for the rays' hits in all ways, and compares them with the spheres tried one by one.
void expect_all_found(const gas::Tree& tree, const std::vector<Sphere>& spheres,
                      const std::vector<gas::Ray>& rays, bool moves = false) {
    const auto distance = [&](std::uint32_t item, const gas::Ray& ray) {
        return intersect(spheres[item].at(moves ? ray.time : 0.0), ray);
    };
    gas::Context context;
    const std::vector<gas::Hit> batch = tree.closest_hits(rays, distance);
    const std::vector<bool> shadows = tree.any_hits(rays, distance);
    std::vector<std::vector<std::uint32_t>> crossed(rays.size());
    tree.all_hits(rays, [&](std::uint32_t item, const gas::Ray&, std::size_t index) {
        crossed[index].push_back(item);
    });
    unsigned hit_count = 0;
    for (std::size_t i = 0; i < rays.size(); ++i) {
        const gas::Hit expected = find_closest(spheres, rays[i], moves);
        hit_count += expected ? 1 : 0;
        const gas::Hit hit = tree.closest_hit(context, rays[i], distance);
        ASSERT_EQ(hit.item, expected.item) << i;
        ASSERT_EQ(hit.distance, expected.distance) << i;
        ASSERT_EQ(batch[i].item, expected.item) << i;
        ASSERT_EQ(batch[i].distance, expected.distance) << i;
        const bool is_hit = static_cast<bool>(expected);
        ASSERT_EQ(tree.any_hit(rays[i], distance), is_hit) << i;
        ASSERT_EQ(shadows[i], is_hit) << i;
        std::vector<std::uint32_t> single;
        tree.all_hits(context, rays[i],
                      [&](std::uint32_t item, const gas::Ray&) { single.push_back(item); });
        for (std::uint32_t item = 0; item < spheres.size(); ++item) {
            if (!rays[i].holds(distance(item, rays[i])))
                continue;
            ASSERT_EQ(std::count(single.begin(), single.end(), item), 1) << i;
            ASSERT_EQ(std::count(crossed[i].begin(), crossed[i].end(), item), 1) << i;
        }
    }
    if (spheres.size() > 50) {
        EXPECT_GT(hit_count, rays.size() / 20);
    }
}

TEST(EasyRays, FindWhatTryingEveryItemFinds) {
    for (const gas::Kind kind : all_kinds) {
        for (const unsigned count : {1u, 2u, 3u, 7u, 400u}) {
            const std::vector<Sphere> spheres = easy::make_spheres(count, count);
            const gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
            EXPECT_EQ(tree.kind(), kind);
            EXPECT_EQ(tree.size(), count);
            expect_all_found(tree, spheres, easy::make_rays(150, 7));
        }
    }
}

TEST(EasyRays, FindTheSameWithEveryOption) {
    const std::vector<Sphere> spheres = easy::make_spheres(300, 3);
    const std::vector<gas::Box> boxes = easy::get_boxes(spheres);
    for (const gas::Kind kind : all_kinds) {
        for (const gas::Method method :
             {gas::Method::median, gas::Method::hybrid, gas::Method::sah_fast, gas::Method::sah}) {
            gas::Options options = get_options(kind);
            options.method = method;
            options.wide_nodes = method != gas::Method::hybrid;
            options.threads = method == gas::Method::median ? 1 : 0;
            options.reach = method == gas::Method::sah ? 50.0 : 0.0;
            expect_all_found(gas::Tree(boxes, options), spheres, easy::make_rays(60, 8));
        }
    }
}

TEST(EasyRays, LoseNoHitInScenesOfAnySizeAndPlace) {
    const double sizes[] = {1e-20, 1e-6, 1.0, 1e3, 1e12, 1e25};
    for (const gas::Kind kind : all_kinds) {
        for (const double size : sizes) {
            for (const double offset : {0.0, 300.0}) {
                const gas::Vector center = {size * offset, 0.0, -size * offset};
                const std::vector<Sphere> spheres = easy::make_spheres(200, 11, size, center);
                const gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
                expect_all_found(tree, spheres, easy::make_rays(60, 12, size, center));
            }
        }
    }
}

TEST(EasyRays, LoseNoHitFromFarAway) {
    const std::vector<Sphere> spheres = easy::make_spheres(300, 21);
    for (const gas::Kind kind : all_kinds) {
        const gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
        for (const double distance : {3.0, 100.0, 1e5, 1e7}) {
            std::vector<gas::Ray> rays = easy::make_rays(200, 22, 10.0, {}, distance);
            expect_all_found(tree, spheres, rays);
            // Away from the scene.
            for (gas::Ray& ray : rays)
                ray.direction = ray.direction * -1.0;
            for (const gas::Ray& ray : rays)
                EXPECT_EQ(tree.closest_hit(ray,
                                           [&](std::uint32_t item, const gas::Ray& asked) {
                                               return intersect(spheres[item], asked);
                                           })
                              .item,
                          find_closest(spheres, ray).item);
        }
    }
}

TEST(EasyRays, SeeBoxesInMotion) {
    const std::vector<Sphere> spheres = easy::make_spheres(300, 31);
    for (const gas::Kind kind : all_kinds) {
        gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
        for (const std::size_t sample_count : {2u, 5u}) {
            std::vector<std::vector<gas::Box>> samples;
            for (std::size_t sample = 0; sample < sample_count; ++sample)
                samples.push_back(easy::get_boxes(
                    spheres, static_cast<double>(sample) / static_cast<double>(sample_count - 1)));
            tree.set_motion(samples);
            EXPECT_EQ(tree.motion_sample_count(), sample_count);
            expect_all_found(tree, spheres, easy::make_rays(150, 32), true);
        }
        tree.set_motion(std::vector<std::vector<gas::Box>>());
        EXPECT_EQ(tree.motion_sample_count(), 0u);
        expect_all_found(tree, spheres, easy::make_rays(150, 33));
    }
}

TEST(EasyRays, AskAFunctionForTheBoxesOfAGrid) {
    const std::vector<Sphere> spheres = easy::make_spheres(500, 41);
    const auto get_box = [spheres](std::uint32_t item, double time) {
        return easy::get_box(spheres[item].at(time));
    };
    gas::Tree tree(spheres.size(), get_box, get_options(gas::Kind::plain));
    EXPECT_EQ(tree.kind(), gas::Kind::grid);
    expect_all_found(tree, spheres, easy::make_rays(100, 42));
    tree.set_motion(3);
    expect_all_found(tree, spheres, easy::make_rays(100, 43), true);
}

TEST(EasyRays, MayBeNestedWithOneContextOrNone) {
    const std::vector<Sphere> spheres = easy::make_spheres(200, 51);
    const std::vector<gas::Box> boxes = easy::get_boxes(spheres);
    const std::vector<gas::Ray> rays = easy::make_rays(40, 52);
    gas::Tree moving(boxes, get_options(gas::Kind::plain));
    moving.set_motion({boxes, boxes, boxes});
    const gas::Tree still(boxes, get_options(gas::Kind::compressed));
    gas::Context own;
    const auto distance = [&](std::uint32_t item, const gas::Ray& ray) {
        return intersect(spheres[item], ray);
    };
    for (gas::Context* const context : {&own, static_cast<gas::Context*>(nullptr)}) {
        const auto trace = [&](const gas::Tree& tree, const gas::Ray& ray, const auto& call) {
            return context ? tree.closest_hit(*context, ray, call) : tree.closest_hit(ray, call);
        };
        for (const gas::Ray& ray : rays) {
            const gas::Hit hit = trace(moving, ray, [&](std::uint32_t item, const gas::Ray& asked) {
                // Another tree of other samples, a batch within the query, and the same tree again.
                const gas::Hit inner = trace(still, asked, distance);
                const std::vector<gas::Hit> batch = moving.closest_hits(rays, distance);
                EXPECT_EQ(batch[0].item, find_closest(spheres, rays[0]).item);
                EXPECT_EQ(trace(moving, asked, distance).item, inner.item);
                return distance(item, asked);
            });
            EXPECT_EQ(hit.item, find_closest(spheres, ray).item);
        }
    }
}

TEST(EasyRays, PassOnWhatTheFunctionThrows) {
    const std::vector<Sphere> spheres = easy::make_spheres(100, 61);
    const std::vector<gas::Ray> rays = easy::make_rays(60, 62);
    for (const gas::Kind kind : all_kinds) {
        const gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
        const auto fail = [](std::uint32_t, const gas::Ray&) -> double {
            throw std::runtime_error("no");
        };
        EXPECT_THROW(tree.closest_hits(rays, fail), std::runtime_error);
        EXPECT_THROW(tree.any_hits(rays, fail), std::runtime_error);
        expect_all_found(tree, spheres, rays);
    }
}

TEST(EasyRays, OfManyThreadsFindTheSame) {
    const std::vector<Sphere> spheres = easy::make_spheres(500, 71);
    for (const gas::Kind kind : all_kinds) {
        const gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < 4; ++i)
            threads.emplace_back([&tree, &spheres, i] {
                expect_all_found(tree, spheres, easy::make_rays(60, 72 + i));
            });
        for (std::thread& thread : threads)
            thread.join();
    }
}

TEST(EasyRays, CountHitsFromNearToFar) {
    const std::vector<Sphere> spheres = {{{5.0, 0.0, 0.0}, 1.0}};
    const gas::Tree tree(easy::get_boxes(spheres));
    const auto find = [&](double near, double far) {
        return tree.closest_hit(gas::Ray{{}, {2.0, 0.0, 0.0}, near, far},
                                [&](std::uint32_t item, const gas::Ray& ray) {
                                    EXPECT_EQ(ray.far, far);
                                    return intersect(spheres[item], ray);
                                });
    };
    EXPECT_EQ(find(0.0, gas::infinity).distance, 2.0);
    EXPECT_EQ(find(2.0, 2.5).distance, 2.0) << "the near distance counts";
    EXPECT_FALSE(find(0.0, 2.0)) << "the far distance does not";
    EXPECT_EQ(find(2.25, 4.0).distance, 3.0);
    EXPECT_FALSE(find(3.5, 4.0));
}

double find_front(std::uint32_t item, const gas::Ray& ray) {
    return 4.0 * item - 1.0 - ray.origin.x;
}
bool is_last(std::uint32_t item, const gas::Ray&) { return item == 1; }
unsigned called_count = 0;
void count_call(std::uint32_t, const gas::Ray&) { ++called_count; }
double measure_along(std::uint32_t item, const gas::Vector& point) {
    return std::fabs(4.0 * item - point.x) + 7.0;
}

TEST(EasyRays, CallPlainFunctions) {
    const gas::Tree tree({{{-1, -1, -1}, {1, 1, 1}}, {{3, -1, -1}, {5, 1, 1}}});
    const gas::Ray ray = {{-8, 0, 0}, {1, 0, 0}};
    const gas::Hit hit = tree.closest_hit(ray, find_front);
    EXPECT_EQ(hit.item, 0u);
    EXPECT_EQ(hit.distance, 7.0);
    EXPECT_TRUE(tree.any_hit(ray, is_last));
    called_count = 0;
    tree.all_hits(ray, count_call);
    EXPECT_EQ(called_count, 2u);
    EXPECT_EQ(tree.closest_hits({ray, ray}, find_front)[1].item, 0u);
    const gas::NearItem near = tree.closest_point({4.5, 0, 0}, &measure_along);
    EXPECT_EQ(near.item, 1u);
    EXPECT_EQ(near.distance, 7.5);
    EXPECT_EQ(tree.closest_point({4.5, 0, 0}, measure_along).item, 1u);
}

TEST(EasyRays, TakeNoAnswerThatIsNoDistance) {
    const std::vector<Sphere> spheres = {{{5.0, 0.0, 0.0}, 1.0}};
    const gas::Tree tree(easy::get_boxes(spheres));
    const gas::Ray ray = {{}, {1.0, 0.0, 0.0}, 1.0};
    for (const double answer : {std::nan(""), gas::miss, -gas::infinity, 0.5}) {
        const auto answered = [answer](std::uint32_t, const gas::Ray&) { return answer; };
        EXPECT_FALSE(tree.closest_hit(ray, answered)) << answer;
        EXPECT_FALSE(tree.any_hit(ray, answered)) << answer;
    }
    EXPECT_TRUE(tree.any_hit(ray, [](std::uint32_t, const gas::Ray&) { return true; }));
    EXPECT_FALSE(tree.any_hit(ray, [](std::uint32_t, const gas::Ray&) { return false; }));
}

TEST(EasyRays, WithANaNHitNothing) {
    const std::vector<Sphere> spheres = easy::make_spheres(100, 81);
    for (const gas::Kind kind : all_kinds) {
        const gas::Tree tree(easy::get_boxes(spheres), get_options(kind));
        for (unsigned place = 0; place < 8; ++place) {
            gas::Ray ray = {{0.0, 0.0, -30.0}, {0.0, 0.0, 1.0}};
            double* const values[] = {&ray.origin.x,    &ray.origin.y,    &ray.origin.z,
                                      &ray.direction.x, &ray.direction.y, &ray.direction.z,
                                      &ray.near,        &ray.far};
            *values[place] = std::nan("");
            const auto find = [&](std::uint32_t item, const gas::Ray& asked) {
                return intersect(spheres[item], asked);
            };
            EXPECT_FALSE(tree.closest_hit(ray, find)) << place;
            EXPECT_FALSE(tree.closest_hits({ray, ray}, find)[1]) << place;
            // Whatever a function says that does not look, of a lone item and of a cached one too.
            const gas::Tree lone(std::vector<gas::Box>(1, get_box(spheres[0])), get_options(kind));
            const auto hit = [](std::uint32_t, const gas::Ray&) { return 1.0; };
            for (const gas::Tree* const asked : {&tree, &lone}) {
                EXPECT_FALSE(asked->closest_hit(ray, hit)) << place;
                EXPECT_FALSE(asked->closest_hits({ray, ray}, hit)[1]) << place;
                EXPECT_FALSE(asked->any_hit(ray, hit)) << place;
            }
        }
    }
}

} // namespace
