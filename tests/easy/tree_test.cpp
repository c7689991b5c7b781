// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <mutex>
#include <set>
#include <thread>
#include <utility>

#include <tests/easy/spheres.h>

namespace {

using easy::operator*;
using easy::operator-;
using easy::find_closest;
using easy::intersect;
using easy::Sphere;

constexpr gas::Kind all_kinds[] = {gas::Kind::plain, gas::Kind::compressed, gas::Kind::grid};

void expect_found(const gas::Tree& tree, const std::vector<Sphere>& spheres) {
    for (const gas::Ray& ray : easy::make_rays(50, 5)) {
        const gas::Hit hit = tree.closest_hit(ray, [&](std::uint32_t item, const gas::Ray& asked) {
            return intersect(spheres[item], asked);
        });
        EXPECT_EQ(hit.item, find_closest(spheres, ray).item);
    }
}

gas::Options of_kind(gas::Kind kind) {
    gas::Options options;
    options.kind = kind;
    return options;
}

TEST(EasyTree, ThatIsEmptyFindsNothing) {
    gas::Tree trees[2] = {gas::Tree(), gas::Tree(std::vector<gas::Box>())};
    for (gas::Tree& tree : trees) {
        EXPECT_TRUE(tree.is_empty());
        EXPECT_EQ(tree.depth(), 0u);
        EXPECT_EQ(tree.motion_sample_count(), 0u);
        const auto hit = [](std::uint32_t, const gas::Ray&) { return 1.0; };
        const gas::Ray ray = {{}, {1.0, 0.0, 0.0}};
        EXPECT_FALSE(tree.closest_hit(ray, hit));
        EXPECT_FALSE(tree.any_hit(ray, hit));
        EXPECT_FALSE(tree.closest_hits({ray}, hit)[0]);
        EXPECT_FALSE(tree.any_hits({ray}, hit)[0]);
        EXPECT_TRUE(tree.items_in({{-9.0, -9.0, -9.0}, {9.0, 9.0, 9.0}}).empty());
        EXPECT_TRUE(tree.nearest_boxes({}, 3).empty());
        tree.refit({});
        tree.set_motion(std::vector<std::vector<gas::Box>>());
        EXPECT_THROW(tree.refit({gas::Box()}), gas::Error);
    }
}

TEST(EasyTree, KnowsItsSizeAndBounds) {
    const std::vector<gas::Box> boxes = {{{-3.0, 1.0, 2.0}, {-2.0, 4.0, 5.0}},
                                         {{7.0, -1.0, 0.0}, {8.0, 0.0, 1.0}},
                                         {{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}}};
    for (const gas::Kind kind : all_kinds) {
        const gas::Tree tree(boxes, of_kind(kind));
        EXPECT_EQ(tree.size(), 3u);
        EXPECT_GE(tree.depth(), 1u);
        EXPECT_GT(tree.memory_size(), 0u);
        const gas::Box bounds = tree.bounds();
        constexpr double padding = 2.0 * 8.0 / (1 << 19) * 1.01;
        const double mins[] = {bounds.min.x + 3.0, bounds.min.y + 1.0, bounds.min.z};
        const double maxs[] = {bounds.max.x - 8.0, bounds.max.y - 4.0, bounds.max.z - 5.0};
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_LT(mins[axis], 0.0);
            EXPECT_GT(mins[axis], -padding);
            EXPECT_GT(maxs[axis], 0.0);
            EXPECT_LT(maxs[axis], padding);
        }
    }
}

TEST(EasyTree, TakesBoxesInBraces) {
    const gas::Box box = {{0, 0, 0}, {1, 1, 1}};
    EXPECT_EQ(gas::Tree({box}).size(), 1u);
    EXPECT_EQ(gas::Tree({box, box}, gas::Options()).size(), 2u);
    EXPECT_EQ(gas::Tree(std::vector{box, box, box}).size(), 3u);
    const std::vector<gas::Box> boxes(4, box);
    EXPECT_EQ(gas::Tree{boxes}.size(), 4u);
    EXPECT_TRUE(gas::Tree{}.is_empty());
}

TEST(EasyTree, Moves) {
    const std::vector<Sphere> spheres = easy::make_spheres(100, 1);
    for (const gas::Kind kind : all_kinds) {
        std::vector<gas::Tree> trees;
        for (unsigned i = 0; i < 5; ++i)
            trees.emplace_back(easy::get_boxes(spheres), of_kind(kind));
        std::swap(trees[0], trees[4]);
        gas::Tree taken = std::move(trees[2]);
        EXPECT_TRUE(trees[2].is_empty());
        trees.clear();
        expect_found(taken, spheres);
        taken = gas::Tree();
        EXPECT_TRUE(taken.is_empty());
    }
}

TEST(EasyTree, RefusesBoxesThatAreNone) {
    const double nan = std::nan("");
    const gas::Box good = {{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}};
    const gas::Box bad[] = {{{nan, 0.0, 0.0}, {1.0, 1.0, 1.0}},
                            {{0.0, 0.0, 0.0}, {1.0, nan, 1.0}},
                            {{0.0, 0.0, 2.0}, {1.0, 1.0, 1.0}},
                            {{0.0, 0.0, 0.0}, {gas::infinity, 1.0, 1.0}},
                            {{-2e30, 0.0, 0.0}, {1.0, 1.0, 1.0}}};
    for (const gas::Kind kind : all_kinds) {
        for (const gas::Box& box : bad) {
            const std::vector<gas::Box> boxes = {good, box, good, box};
            EXPECT_EQ(gas::find_bad_boxes(boxes), (std::vector<std::size_t>{1, 3}));
            try {
                const gas::Tree tree(boxes, of_kind(kind));
                ADD_FAILURE() << "a tree of such a box";
            } catch (const gas::Error& error) {
                EXPECT_STREQ(error.what(),
                             "the box of item 1 holds a NaN, has a min above its max, "
                             "or reaches beyond 1e30");
            }
            gas::Tree tree({good, good}, of_kind(kind));
            EXPECT_THROW(tree.refit({good, box}), gas::Error);
            EXPECT_THROW(tree.set_motion({{good, good}, {good, box}}), gas::Error);
            EXPECT_EQ(tree.size(), 2u);
            EXPECT_EQ(tree.motion_sample_count(), 0u);
        }
    }
    EXPECT_TRUE(gas::find_bad_boxes({good, good}).empty());
}

TEST(EasyTree, NamesTheLimitsOfCounts) {
    const gas::Box unit = {{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}};
    const auto give = [&](std::size_t, double) { return unit; };
    const auto get_complaint = [](const auto& call) -> std::string {
        try {
            call();
        } catch (const gas::Error& error) {
            return error.what();
        }
        return "";
    };
    constexpr std::size_t most = 0x7FFFFFFF;
    EXPECT_EQ(get_complaint([&] { gas::Tree(most + 1, give); }),
              "a tree holds up to 2147483647 items, not 2147483648");
    EXPECT_EQ(get_complaint([&] { gas::Tree(&unit, most + 1); }),
              "a tree holds up to 2147483647 items, not 2147483648");
    gas::Tree grid(3, give);
    EXPECT_EQ(get_complaint([&] { grid.set_motion(65536); }),
              "motion takes the boxes at 2 to 65535 times");
    EXPECT_EQ(get_complaint([&] { grid.set_motion(1); }),
              "motion takes the boxes at 2 to 65535 times");
    grid.set_motion(65535);
    EXPECT_EQ(grid.motion_sample_count(), 65535u);
}

TEST(EasyTree, RefusesWhatDoesNotFit) {
    const std::vector<gas::Box> boxes(3, gas::Box{{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}});
    gas::Tree tree(boxes);
    EXPECT_THROW(tree.refit(std::vector<gas::Box>(2)), gas::Error);
    EXPECT_THROW(tree.set_motion({boxes}), gas::Error);
    EXPECT_THROW(tree.set_motion({boxes, std::vector<gas::Box>(4)}), gas::Error);
    EXPECT_THROW(tree.set_motion(2), gas::Error) << "it asks nobody for boxes";
    gas::Options options;
    options.items_per_cell = 0;
    EXPECT_THROW(gas::Tree(boxes, options), gas::Error);
    options = gas::Options();
    options.reach = -1.0;
    EXPECT_THROW(gas::Tree(boxes, options), gas::Error);
    EXPECT_THROW(gas::Tree(3, gas::BoxFunction()), gas::Error);
    for (const gas::Kind kind : {gas::Kind::compressed, gas::Kind::grid}) {
        gas::Tree other(boxes, of_kind(kind));
        EXPECT_THROW(other.items_in(boxes[0]), gas::Error);
        EXPECT_THROW(other.nearest_boxes({}, 1), gas::Error);
        const std::vector<gas::Box> far(3, gas::Box{{90.0, 0.0, 0.0}, {91.0, 1.0, 1.0}});
        EXPECT_THROW(other.set_motion({boxes, far}), gas::Error);
        options = of_kind(kind);
        options.reach = 100.0;
        gas::Tree roomy(boxes, options);
        roomy.set_motion({boxes, far});
        EXPECT_EQ(roomy.motion_sample_count(), 2u);
    }
}

TEST(EasyTree, RefitsToNewBoxes) {
    const std::vector<Sphere> spheres = easy::make_spheres(200, 2);
    std::vector<Sphere> moved = spheres;
    for (Sphere& sphere : moved) {
        sphere = sphere.at(3.0);
        sphere.center = sphere.center * 2.0;
    }
    for (const gas::Kind kind : all_kinds) {
        gas::Tree tree(easy::get_boxes(spheres), of_kind(kind));
        tree.set_motion({easy::get_boxes(spheres), easy::get_boxes(moved)});
        tree.refit(easy::get_boxes(moved));
        EXPECT_EQ(tree.motion_sample_count(), 0u);
        expect_found(tree, moved);
    }
    gas::Tree asking(3, [](std::uint32_t, double) { return gas::Box(); });
    EXPECT_THROW(asking.refit(std::vector<gas::Box>(3)), gas::Error);
}

TEST(EasyTree, TellsItsProgress) {
    const std::vector<gas::Box> boxes = easy::get_boxes(easy::make_spheres(20000, 3));
    for (const gas::Kind kind : all_kinds) {
        gas::Options options = of_kind(kind);
        std::vector<double> told;
        options.progress = [&told](double value) {
            told.push_back(value);
            return true;
        };
        const gas::Tree tree(boxes, options);
        ASSERT_GT(told.size(), 2u);
        EXPECT_TRUE(std::is_sorted(told.begin(), told.end()));
        EXPECT_GE(told.front(), 0.0);
        EXPECT_EQ(told.back(), 1.0);
        const std::size_t count = told.size();
        gas::Tree refitted(boxes, options);
        EXPECT_EQ(told.size(), 2 * count);
        refitted.refit(boxes);
        EXPECT_EQ(told.size(), 2 * count) << "the function may be gone";
    }
}

TEST(EasyTree, IsNotBuiltWhereProgressStopsIt) {
    const std::vector<gas::Box> boxes = easy::get_boxes(easy::make_spheres(20000, 4));
    for (const gas::Kind kind : all_kinds) {
        for (const unsigned threads : {1u, 2u}) {
            for (const double until : {0.0, 0.5, 1.0}) {
                gas::Options options = of_kind(kind);
                options.threads = threads;
                unsigned calls_after = 0;
                bool is_stopped = false;
                options.progress = [&](double value) {
                    calls_after += is_stopped ? 1 : 0;
                    is_stopped |= value >= until;
                    return !is_stopped;
                };
                EXPECT_THROW(gas::Tree(boxes, options), gas::Stopped);
                EXPECT_LE(calls_after, 1u) << "the bar may close";
            }
        }
    }
}

TEST(EasyTree, IsTheSameOnTheThreadsOfTheProgram) {
    const std::vector<Sphere> spheres = easy::make_spheres(60000, 6);
    const std::vector<gas::Box> boxes = easy::get_boxes(spheres);
    std::mutex mutex;
    std::set<std::thread::id> ids;
    unsigned calls = 0;
    const auto note = [&] {
        const std::lock_guard<std::mutex> guard(mutex);
        ids.insert(std::this_thread::get_id());
        ++calls;
    };
    const gas::ParallelFor ways[] = {
        [&](std::size_t count, const std::function<void(std::size_t)>& call) {
            for (std::size_t i = 0; i < count; ++i) {
                note();
                call(i);
            }
        },
        [&](std::size_t count, const std::function<void(std::size_t)>& call) {
            for (std::size_t i = count; i-- > 0;) {
                note();
                call(i);
            }
        },
        [&](std::size_t count, const std::function<void(std::size_t)>& call) {
            std::vector<std::thread> threads;
            for (std::size_t i = 0; i < count; ++i)
                threads.emplace_back([&note, &call, i] {
                    note();
                    call(i);
                });
            for (std::thread& thread : threads)
                thread.join();
        },
        [](std::size_t, const std::function<void(std::size_t)>&) {}};
    for (const gas::Kind kind : all_kinds) {
        for (const gas::ParallelFor& way : ways) {
            ids.clear();
            calls = 0;
            gas::Options options = of_kind(kind);
            options.threads = 3;
            options.parallel_for = way;
            const gas::Tree tree(boxes, options);
            EXPECT_EQ(calls, &way == &ways[3] ? 0u : 3u);
            EXPECT_EQ(ids.count(std::this_thread::get_id()), &way < &ways[2] ? 1u : 0u);
            const gas::Tree other(boxes, of_kind(kind));
            EXPECT_EQ(tree.depth(), other.depth());
            for (const gas::Ray& ray : easy::make_rays(20, 7)) {
                std::vector<std::uint32_t> items, other_items;
                tree.all_hits(ray,
                              [&](std::uint32_t item, const gas::Ray&) { items.push_back(item); });
                other.all_hits(
                    ray, [&](std::uint32_t item, const gas::Ray&) { other_items.push_back(item); });
                EXPECT_EQ(items, other_items);
            }
        }
    }
}

TEST(EasyTree, StopsOnTheThreadsOfTheProgram) {
    gas::Options options;
    options.threads = 2;
    options.parallel_for = [](std::size_t count, const std::function<void(std::size_t)>& call) {
        for (std::size_t i = 0; i < count; ++i)
            call(i);
    };
    options.progress = [](double value) { return value < 0.3; };
    EXPECT_THROW(gas::Tree(easy::get_boxes(easy::make_spheres(5000, 8)), options), gas::Stopped);
}

TEST(EasyTree, FindsItemsInABox) {
    const std::vector<Sphere> spheres = easy::make_spheres(400, 9);
    const gas::Tree tree(easy::get_boxes(spheres));
    const gas::Box box = {{-3.0, -4.0, 0.0}, {5.0, 2.0, 6.0}};
    std::vector<std::uint32_t> items = tree.items_in(box);
    std::sort(items.begin(), items.end());
    std::vector<std::uint32_t> expected;
    for (std::uint32_t item = 0; item < spheres.size(); ++item) {
        const gas::Box other = get_box(spheres[item]);
        if (other.min.x <= box.max.x && other.max.x >= box.min.x && other.min.y <= box.max.y &&
            other.max.y >= box.min.y && other.min.z <= box.max.z && other.max.z >= box.min.z)
            expected.push_back(item);
    }
    EXPECT_EQ(items, expected);
    EXPECT_GT(items.size(), 10u);
    EXPECT_LT(items.size(), 100u);
}

TEST(EasyTree, FindsTheNearestBoxes) {
    const std::vector<Sphere> spheres = easy::make_spheres(400, 10);
    const gas::Tree tree(easy::get_boxes(spheres));
    const gas::Vector point = {2.0, -3.0, 4.0};
    const std::vector<gas::NearItem> near = tree.nearest_boxes(point, 7);
    std::vector<double> expected;
    for (const Sphere& sphere : spheres)
        expected.push_back(easy::length(sphere.center - point));
    std::sort(expected.begin(), expected.end());
    ASSERT_EQ(near.size(), 7u);
    for (std::size_t i = 0; i < 7; ++i)
        EXPECT_NEAR(near[i].distance, expected[i], 1e-4);
    EXPECT_EQ(tree.nearest_boxes(point, 1000).size(), 400u);
    EXPECT_TRUE(tree.nearest_boxes({100.0, 0.0, 0.0}, 7, 50.0).empty());
}

TEST(EasyTree, FindsTheClosestItem) {
    const std::vector<Sphere> spheres = easy::make_spheres(400, 11, 1e-4);
    for (const gas::Kind kind : {gas::Kind::plain, gas::Kind::compressed}) {
        const gas::Tree tree(easy::get_boxes(spheres), of_kind(kind));
        unsigned call_count = 0;
        for (const gas::Ray& ray : easy::make_rays(50, 12, 1e-4)) {
            const gas::Vector& point = ray.origin;
            const auto measure = [&](std::uint32_t item, const gas::Vector& from) {
                ++call_count;
                return std::max(easy::length(spheres[item].center - from) - spheres[item].radius,
                                0.0);
            };
            gas::NearItem expected;
            for (std::uint32_t item = 0; item < spheres.size(); ++item) {
                const double distance = measure(item, point);
                if (distance < expected.distance)
                    expected = {distance, item};
            }
            call_count -= 400;
            const gas::NearItem near = tree.closest_point(point, measure);
            EXPECT_EQ(near.item, expected.item);
            EXPECT_EQ(near.distance, expected.distance);
            gas::Context context;
            const auto bounded = [&](std::uint32_t item, const gas::Vector& from, double bound) {
                EXPECT_GE(bound, expected.distance);
                return measure(item, from);
            };
            EXPECT_EQ(tree.closest_point(context, point, bounded).item, expected.item);
            EXPECT_FALSE(tree.closest_point(point, measure, 0.5 * expected.distance - 1e-9));
        }
        EXPECT_LT(call_count, 50u * 40u) << "most are never asked";
    }
    const gas::Tree grid(easy::get_boxes(spheres), of_kind(gas::Kind::grid));
    const auto measure = [](std::uint32_t, const gas::Vector&) { return 0.0; };
    EXPECT_THROW(grid.closest_point({}, measure), gas::Error);
    EXPECT_FALSE(gas::Tree().closest_point({}, measure));
}

TEST(EasyTree, ShowsItsLevels) {
    const std::vector<Sphere> spheres = easy::make_spheres(100, 13);
    const std::vector<gas::Box> boxes = easy::get_boxes(spheres);
    for (const gas::Kind kind : {gas::Kind::plain, gas::Kind::compressed}) {
        const gas::Tree tree(boxes, of_kind(kind));
        EXPECT_TRUE(tree.validate().empty());
        ASSERT_EQ(tree.boxes_at_level(0).size(), 1u);
        EXPECT_EQ(tree.boxes_at_level(0)[0].min.x, tree.bounds().min.x);
        EXPECT_EQ(tree.boxes_at_level(1).size(), 2u);
        EXPECT_TRUE(tree.boxes_at_level(tree.depth()).empty());
        EXPECT_FALSE(tree.boxes_at_level(tree.depth() - 1).empty());
        // Two children to each node above.
        std::size_t count = 0;
        for (std::size_t level = 0; level < tree.depth(); ++level)
            count += tree.boxes_at_level(level).size();
        EXPECT_EQ(count, 199u);
        const gas::Tree lone(boxes.data(), 1, of_kind(kind));
        EXPECT_EQ(lone.boxes_at_level(0).size(), 1u);
        EXPECT_TRUE(lone.validate().empty());
    }
    const gas::Tree grid(boxes, of_kind(gas::Kind::grid));
    EXPECT_THROW(grid.boxes_at_level(0), gas::Error);
    EXPECT_TRUE(grid.validate().empty());
    EXPECT_TRUE(gas::Tree().boxes_at_level(0).empty());
    EXPECT_TRUE(gas::Tree().validate().empty());
}

} // namespace
