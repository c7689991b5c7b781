// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <tests/naive/naive_crossing.h>
#include <tests/nasty/nasty_rays.h>
#include <tests/nasty/nasty_subject.h>
#include <tests/support/raw_rays.h>
#include <tests/support/test_shader.h>

// What rays report, for every box set, ray, tree, way and query. Of well-formed boxes it is what
// brute force finds by the box test; of all others it is what the plain walk of the naive tree
// finds, whose boxes follow the union rule.

namespace {

using namespace nasty;
using support::is_motion;
using support::is_nearest;
using support::LeafEvent;
using support::RawRays;

naive::Ray to_naive_ray(const RaySpec& spec) {
    naive::Ray ray;
    for (unsigned axis = 0; axis < 3; ++axis) {
        ray.origin[axis] = spec.origin[axis];
        ray.direction[axis] = spec.direction[axis];
        ray.inverse[axis] = naive::inverse_component(spec.direction[axis]);
    }
    ray.near_distance = spec.near_distance;
    ray.far_distance = ray.hit_distance = spec.far_distance;
    ray.hit_flag = spec.is_hit_before;
    ray.time = spec.time;
    ray.cache_slot = spec.cache_slot;
    return ray;
}

/// Leaf calls by ray, each list in the order of the calls.
using Items = std::vector<std::vector<unsigned>>;

/// Traces the rays of a set through one subject, and writes down what is reported.
class Tracer {
  public:
    Tracer(Subject& subject, const std::vector<RaySpec>& rays) : m_subject(subject), m_rays(rays) {
        subject.get().set_callbacks(receive<RayQuery::hit_static>, receive<RayQuery::hit_motion>,
                                    receive<RayQuery::nearest_static>,
                                    receive<RayQuery::nearest_motion>, this);
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;

    /// Does something for a call's ray.
    using React = std::function<void(unsigned item, unsigned ray, GeometryRaytraceCtx& rays)>;

    /// The calls in their order, with frames that hold nothing of an earlier batch: of a range that
    /// goes together the ends depend on it.
    std::vector<LeafEvent> trace(RayQuery query, Handing handing, RawRays& batch,
                                 React react = nullptr) {
        m_react = std::move(react);
        m_events.clear();
        support::TestShader shader;
        shader.set_motion_blur(m_subject.get_motion());
        const int last = static_cast<int>(m_rays.size()) - 1;
        if (handing == Handing::alone) {
            for (int ray = 0; ray <= last; ++ray) {
                batch.get_data().set_range(ray, ray);
                m_subject.get().trace(query, shader, batch.get_ctx());
            }
        } else {
            batch.get_data().set_range(0, last);
            if (handing == Handing::stream)
                m_subject.get().trace_stream(query, shader, batch.get_ctx());
            else
                m_subject.get().trace(query, shader, batch.get_ctx());
        }
        return std::move(m_events);
    }

    /// The calls of the naive walks, of each ray alone or of all together.
    std::vector<LeafEvent> trace_naive(RayQuery query, Handing handing) {
        std::vector<LeafEvent> events;
        naive::Frames frames;
        naive::Batch batch;
        for (const RaySpec& ray : m_rays)
            batch.rays.push_back(to_naive_ray(ray));
        const auto trace = [&](int first, int last) {
            batch.first = first;
            batch.last = last;
            m_subject.get().trace_reference(
                query, frames, batch, support::to_naive(m_subject.get_motion()),
                [&](naive::Query received, unsigned item, int from, int to) {
                    events.push_back({0, static_cast<RayQuery>(received), item, from, to});
                });
        };
        const int last = static_cast<int>(m_rays.size()) - 1;
        if (handing == Handing::together)
            trace(0, last);
        else
            for (int ray = 0; ray <= last; ++ray)
                trace(ray, ray);
        return events;
    }

  private:
    template <RayQuery callback>
    static void receive(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                        GeometryRaytraceCtx& rays) {
        Tracer& self = *static_cast<Tracer*>(user);
        self.m_events.push_back({0, callback, item, rays.get_first_ray(), rays.get_last_ray()});
        if (self.m_react)
            support::for_each_ray(rays, [&](unsigned ray) { self.m_react(item, ray, rays); });
    }

    Subject& m_subject;
    const std::vector<RaySpec>& m_rays;
    std::vector<LeafEvent> m_events;
    React m_react;
};

Items sort_by_ray(const std::vector<LeafEvent>& events, std::size_t ray_count) {
    Items items(ray_count);
    for (const LeafEvent& event : events) {
        for (int ray = event.first_ray; ray <= event.last_ray; ++ray)
            items[static_cast<std::size_t>(ray)].push_back(event.item);
    }
    return items;
}

/// The items whose boxes the ray crosses, ascending.
std::vector<unsigned> find_crossed(const std::vector<Box>& boxes, const RaySpec& spec) {
    const naive::FloatRay ray = naive::round_ray(to_naive_ray(spec));
    std::vector<unsigned> items;
    for (unsigned item = 0; item < boxes.size(); ++item) {
        if (naive::cross(boxes[item], ray, static_cast<float>(spec.far_distance)).hit)
            items.push_back(item);
    }
    return items;
}

struct Totals {
    std::size_t calls = 0;
    std::size_t crossed = 0;
    std::size_t brute = 0;
    std::size_t hits = 0;
};

class NastyHits : public testing::TestWithParam<Kind> {
  protected:
    /// Calls `check(tracer, set, rays)` for every tree, with a trace of what it is.
    template <typename Check> void for_each_tree(const Check& check) {
        for_each_build([&](const BoxSet& set, naive::Split split) {
            SCOPED_TRACE(set.name + ", " + support::name(split));
            subject.build(set.boxes, split, {set.boxes, moved(set.boxes), set.boxes});
            const RayTable table(set.boxes);
            Tracer tracer(subject, table.rays);
            check(tracer, set, table.rays);
            ++turn;
        });
    }

    /// Calls `check(way)` for all ways and instruction sets.
    template <typename Check> void for_each_way(const Check& check) {
        for_each_instruction_set(turn, [&] {
            for (const Way& way : all_ways) {
                if (!subject.has_way(way))
                    continue;
                subject.set_wide(way.is_wide);
                check(way);
            }
        });
        subject.set_wide(false);
    }

    static std::vector<Box> moved(const std::vector<Box>& boxes) {
        return transform(boxes, 1.0f, 0.5f);
    }

    /// What brute force says of the calls of each ray alone.
    void compare_with_brute_force(const BoxSet& set, const std::vector<RaySpec>& rays,
                                  const Items& found) {
        // A lone leaf's box is not tested.
        if (set.boxes.size() < 2)
            return;
        const bool is_exact = GetParam() != Kind::grid && are_ordered(set.boxes);
        const bool holds_all = GetParam() == Kind::plain || are_in_range(set.boxes);
        const std::vector<Box> seen = subject.get_leaf_boxes();
        for (std::size_t ray = 0; ray < rays.size(); ++ray) {
            if (!is_plain(rays[ray]))
                continue;
            std::vector<unsigned> sorted = found[ray];
            std::sort(sorted.begin(), sorted.end());
            if (is_exact) {
                ASSERT_EQ(sorted, find_crossed(seen, rays[ray])) << "ray " << ray;
                ++totals.brute;
            }
            if (!are_ordered(set.boxes) || !holds_all)
                continue;
            std::vector<unsigned> crossed = find_crossed(set.boxes, rays[ray]);
            // A grid leaves out boxes whose centre is not finite.
            if (GetParam() == Kind::grid)
                std::erase_if(crossed, [&](unsigned item) { return !is_finite(set.boxes[item]); });
            ASSERT_TRUE(std::includes(sorted.begin(), sorted.end(), crossed.begin(), crossed.end()))
                << "ray " << ray;
            totals.crossed += crossed.size();
        }
    }

    Subject subject{GetParam()};
    Totals totals;
    unsigned turn = 0;
};

INSTANTIATE_TEST_SUITE_P(Trees, NastyHits, testing::ValuesIn(all_kinds),
                         [](const auto& kind) { return name(kind.param); });

} // namespace

TEST_P(NastyHits, AllWaysReportWhatBruteForceAndTheNaiveWalkDo) {
    for_each_tree([&](Tracer& tracer, const BoxSet& set, const std::vector<RaySpec>& rays) {
        RawRays batch(rays);
        for (const RayQuery query : support::all_ray_queries) {
            const std::vector<LeafEvent> alone = tracer.trace_naive(query, Handing::alone);
            const std::vector<LeafEvent> together = tracer.trace_naive(query, Handing::together);
            const Items expected = sort_by_ray(alone, rays.size());
            if (query == RayQuery::hit_static) {
                ASSERT_NO_FATAL_FAILURE(compare_with_brute_force(set, rays, expected));
            }
            for_each_way([&](const Way& way) {
                if (HasFatalFailure())
                    return;
                SCOPED_TRACE(std::string(way.name) + ", " + support::name(query) + ", " +
                             gas_get_instruction_set_name(gas_get_instruction_set()));
                const std::vector<LeafEvent> events = tracer.trace(query, way.handing, batch);
                totals.calls += events.size();
                if (way.handing == Handing::stream) {
                    ASSERT_EQ(sort_by_ray(events, rays.size()), expected);
                } else {
                    ASSERT_TRUE(events == (way.handing == Handing::alone ? alone : together));
                }
            });
        }
        // A range of rays that go together may hold others, and lacks none. A lone leaf's box is
        // tested for it alone.
        const Items alone =
            sort_by_ray(tracer.trace_naive(RayQuery::nearest_static, Handing::alone), rays.size());
        const Items together = sort_by_ray(
            tracer.trace_naive(RayQuery::nearest_static, Handing::together), rays.size());
        if (!are_ordered(set.boxes) || set.boxes.size() < 2)
            return;
        for (std::size_t ray = 0; ray < rays.size(); ++ray) {
            const std::vector<unsigned>& reached = together[ray];
            if (!is_plain(rays[ray]) || !has_number(rays[ray]))
                continue;
            for (const unsigned item : alone[ray])
                ASSERT_NE(std::find(reached.begin(), reached.end(), item), reached.end())
                    << "ray " << ray;
        }
    });
    std::printf("%zu calls, %zu rays by brute force, %zu boxes crossed\n", totals.calls,
                totals.brute, totals.crossed);
    EXPECT_GT(totals.calls, 50000u);
    EXPECT_GT(totals.crossed, 3000u);
    if (GetParam() != Kind::grid) {
        EXPECT_GT(totals.brute, 2000u);
    }
}

TEST_P(NastyHits, NearestHitsAreThoseOfTryingEveryItem) {
    for_each_tree([&](Tracer& tracer, const BoxSet& set, const std::vector<RaySpec>& rays) {
        const bool is_grid = GetParam() == Kind::grid;
        if (!are_ordered(set.boxes) || (GetParam() != Kind::plain && !are_in_range(set.boxes)))
            return;
        // The items are the boxes. Where a ray does not enter one it stays out of reach.
        std::vector<std::vector<double>> entries(rays.size());
        std::vector<double> nearest;
        for (std::size_t ray = 0; ray < rays.size(); ++ray) {
            const naive::FloatRay rounded = naive::round_ray(to_naive_ray(rays[ray]));
            const double far = rays[ray].far_distance;
            nearest.push_back(far);
            for (const Box& box : set.boxes) {
                const naive::Crossing crossing =
                    naive::cross(box, rounded, static_cast<float>(far));
                const bool is_left_out = is_grid && !is_finite(box);
                const double entry = crossing.hit && !is_left_out && is_plain(rays[ray])
                                         ? static_cast<double>(crossing.entry)
                                         : endless;
                entries[ray].push_back(entry);
                if (entry < nearest[ray])
                    nearest[ray] = entry;
            }
        }
        for_each_way([&](const Way& way) {
            if (HasFatalFailure())
                return;
            RawRays batch(rays);
            tracer.trace(RayQuery::nearest_static, way.handing, batch,
                         [&](unsigned item, unsigned ray, GeometryRaytraceCtx& ctx) {
                             ctx.record_nearest_hit(ray, entries[ray][item], item);
                         });
            batch.get_data().set_range(0, static_cast<int>(rays.size()) - 1);
            for (unsigned ray = 0; ray < rays.size(); ++ray) {
                if (!is_plain(rays[ray]) || !has_number(rays[ray]))
                    continue;
                ASSERT_EQ(batch.get_ctx().get_intersection_path(ray).get_hit_distance(),
                          nearest[ray])
                    << way.name << ", ray " << ray;
                totals.hits += nearest[ray] < rays[ray].far_distance;
            }
        });
    });
    EXPECT_GT(totals.hits, 3000u);
}
