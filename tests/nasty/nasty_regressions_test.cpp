// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <functional>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <tests/nasty/nasty_rays.h>
#include <tests/nasty/nasty_subject.h>
#include <tests/support/grid_items.h>
#include <tests/support/raw_rays.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/small_stack.h>
#include <tests/support/tree_kinds.h>

// The mistakes that trees of boxes are known for, each by its name.

namespace {

using namespace nasty;
using support::RecordingCallbacks;

/// Sets recording callbacks and traces rays by all ways, queries and instruction sets.
class AllWays {
  public:
    explicit AllWays(Subject& subject) : m_subject(subject) {
        subject.get().set_callbacks(RecordingCallbacks::record<RayQuery::hit_static>,
                                    RecordingCallbacks::record<RayQuery::hit_motion>,
                                    RecordingCallbacks::record<RayQuery::nearest_static>,
                                    RecordingCallbacks::record<RayQuery::nearest_motion>, &m_calls);
    }

    /// Calls `check(items of each ray, name of the way)`.
    template <typename Check> void trace(const std::vector<RaySpec>& rays, const Check& check) {
        for (unsigned set = 0; set < 2; ++set) {
            for_each_instruction_set(set, [&] {
                for (const Way& way : all_ways) {
                    if (!m_subject.has_way(way))
                        continue;
                    m_subject.set_wide(way.is_wide);
                    for (const RayQuery query : support::all_ray_queries)
                        check(trace(rays, way.handing, query),
                              std::string(way.name) + ", " + support::name(query));
                }
            });
        }
    }

  private:
    using Reached = std::vector<std::multiset<unsigned>>;

    Reached trace(const std::vector<RaySpec>& rays, Handing handing, RayQuery query) {
        support::RawRays batch(rays);
        support::TestShader shader;
        shader.set_motion_blur(m_subject.get_motion());
        const int last = static_cast<int>(rays.size()) - 1;
        if (handing == Handing::stream) {
            m_subject.get().trace_stream(query, shader, batch.get_ctx());
        } else if (handing == Handing::together) {
            m_subject.get().trace(query, shader, batch.get_ctx());
        } else {
            for (int ray = 0; ray <= last; ++ray) {
                batch.get_data().set_range(ray, ray);
                m_subject.get().trace(query, shader, batch.get_ctx());
            }
        }
        Reached reached(rays.size());
        for (const support::LeafCall& call : m_calls.calls) {
            for (int ray = call.first_ray; ray <= call.last_ray; ++ray)
                reached[static_cast<std::size_t>(ray)].insert(call.item);
        }
        m_calls.calls.clear();
        return reached;
    }

    Subject& m_subject;
    RecordingCallbacks m_calls;
};

/// Unit boxes that share their faces, around the origin.
std::vector<Box> make_lattice(int count) {
    std::vector<Box> boxes;
    for (int i = 0; i < count * count * count; ++i) {
        const int place[3] = {i % count, i / count % count, i / count / count};
        Box box;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = static_cast<float>(place[axis] - count / 2);
            box.max[axis] = box.min[axis] + 1.0f;
        }
        boxes.push_back(box);
    }
    return boxes;
}

RaySpec make_ray(const double (&origin)[3], const double (&direction)[3], double near, double far) {
    RaySpec ray;
    std::copy(origin, origin + 3, ray.origin);
    std::copy(direction, direction + 3, ray.direction);
    ray.near_distance = near;
    ray.far_distance = far;
    ray.time = 0.5f;
    return ray;
}

class NastyRegressions : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(Trees, NastyRegressions, testing::ValuesIn(all_kinds),
                         [](const auto& kind) { return name(kind.param); });

template <typename Tree> class NastyCopies : public testing::Test {};
TYPED_TEST_SUITE(NastyCopies, support::BothTrees, support::TreeNames);

} // namespace

// Zero times infinity, on a face along the ray, makes a NaN, which must not lose the box.
TEST_P(NastyRegressions, RaysWithZeroComponentsAreNotLostAtBoxFaces) {
    const std::vector<Box> boxes = make_lattice(4);
    Subject subject(GetParam());
    subject.build(boxes, naive::Split::sah, {boxes, boxes});
    std::vector<RaySpec> rays;
    std::vector<std::set<unsigned>> touched;
    // Through the inside, faces, edges and corners of the boxes, outer ones as well.
    for (const double y : {-2.0, -1.0, -0.5, 0.0, 2.0}) {
        for (const double z : {-2.0, -0.5, 1.0, 2.0}) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                for (const double sign : {1.0, -1.0}) {
                    const double zero = sign * 0.0;
                    for (const double start : {3.0, 2.0, 1.0}) {
                        double origin[3];
                        double direction[3] = {zero, zero, zero};
                        origin[axis] = -sign * start;
                        origin[(axis + 1) % 3] = y;
                        origin[(axis + 2) % 3] = z;
                        direction[axis] = sign;
                        rays.push_back(make_ray(origin, direction, 0.0, 10.0));
                        std::set<unsigned> items;
                        for (unsigned item = 0; item < boxes.size(); ++item) {
                            const Box& box = boxes[item];
                            bool touches = true;
                            for (unsigned other = 0; other < 3; ++other) {
                                const double low = static_cast<double>(box.min[other]);
                                const double high = static_cast<double>(box.max[other]);
                                if (other != axis)
                                    touches =
                                        touches && low <= origin[other] && origin[other] <= high;
                                else
                                    touches = touches && (sign > 0.0 ? high >= origin[other]
                                                                     : low <= origin[other]);
                            }
                            if (touches)
                                items.insert(item);
                        }
                        touched.push_back(items);
                    }
                }
            }
        }
    }
    AllWays(subject).trace(rays, [&](const auto& reached, const std::string& way) {
        for (std::size_t ray = 0; ray < rays.size(); ++ray)
            ASSERT_TRUE(std::includes(reached[ray].begin(), reached[ray].end(),
                                      touched[ray].begin(), touched[ray].end()))
                << way << ", ray " << ray;
    });
}

// A box that is infinite on a side, or the whole space, hides none of its neighbours.
TEST_P(NastyRegressions, AnInfiniteItemHidesNoWellFormedOne) {
    const std::vector<Box> crowd = make_crowd(17);
    std::vector<RaySpec> rays;
    for (const Box& box : crowd) {
        double middle[3];
        for (unsigned axis = 0; axis < 3; ++axis)
            middle[axis] = 0.5 * static_cast<double>(box.min[axis] + box.max[axis]);
        for (const auto& direction : {ray_directions[0], ray_directions[1], ray_directions[3],
                                      ray_directions[5], ray_directions[8], ray_directions[9]}) {
            const double back[3] = {middle[0] - 30.0 * direction[0],
                                    middle[1] - 30.0 * direction[1],
                                    middle[2] - 30.0 * direction[2]};
            const double along[3] = {direction[0], direction[1], direction[2]};
            rays.push_back(make_ray(back, along, 0.0, 100.0));
            rays.push_back(make_ray(middle, along, 0.0, endless));
        }
    }
    // Sides by their bits: each alone, each axis, corners and all.
    for (const unsigned infinite : {1u, 2u, 4u, 8u, 16u, 32u, 9u, 18u, 36u, 7u, 42u, 63u}) {
        std::vector<Box> boxes = crowd;
        Box& changed = boxes[infinite % 2 * 9];
        for (unsigned coordinate = 0; coordinate < 6; ++coordinate) {
            if (infinite >> coordinate & 1)
                at(changed, coordinate) = coordinate < 3 ? -infinity : infinity;
        }
        Subject subject(GetParam());
        subject.build(boxes, naive::all_splits[infinite % 4]);
        AllWays(subject).trace(rays, [&](const auto& reached, const std::string& way) {
            for (unsigned item = 0; item < crowd.size(); ++item) {
                for (unsigned ray = 12 * item; is_finite(boxes[item]) && ray < 12 * item + 12;
                     ++ray)
                    ASSERT_EQ(reached[ray].count(item), 1u)
                        << way << ", item " << item << ", ray " << ray << ", sides " << infinite;
            }
        });
    }
}

// The union of boxes keeps a NaN minimum of its first box and a NaN maximum of its second, and
// loses the others. A node with a NaN bound may hide what is below it from rays that run down the
// axis, and from no others.
TEST(NastyRegressions, ANanItemHidesOthersByTheUnionRuleAlone) {
    const Box seen = {{0, 0, 0}, {1, 1, 1}};
    const Box far_away = {{100, 0, 0}, {101, 1, 1}};
    const double inside[3] = {0.5, 0.5, 0.5};
    const double above[3] = {5.0, 0.5, 0.5};
    const double below[3] = {-4.0, 0.5, 0.5};
    const double up[3] = {1, 0, 0};
    const double down[3] = {-1, 0, 0};
    const std::vector<RaySpec> rays = {
        make_ray(below, up, 0, 50),   make_ray(below, up, 0, 4.5),   make_ray(inside, up, 0, 50),
        make_ray(above, down, 0, 50), make_ray(above, down, 0, 4.5), make_ray(inside, down, 0, 50)};
    struct Case {
        bool is_first; // of the two below their node
        unsigned coordinate;
        std::set<std::size_t> hiding; // rays that no longer find the other one
    };
    const Case cases[] = {{true, 0, {5}}, {true, 3, {}}, {false, 0, {}}, {false, 3, {4}}};
    for (const Case& each : cases) {
        // Two items below a node stand in their order.
        const unsigned seen_item = each.is_first ? 1 : 0;
        std::vector<Box> boxes = {seen, seen, far_away};
        boxes[1 - seen_item] = {{0, 3, 0}, {1, 4, 1}};
        std::vector<Box> spoiled = boxes;
        at(spoiled[1 - seen_item], each.coordinate) = not_a_number;
        for (const bool wide : {false, true}) {
            GasTree tree;
            tree.set_wide_nodes(wide);
            support::build(tree, boxes, naive::Split::median);
            ASSERT_TRUE(tree.refit(support::to_boxes(spoiled)));
            RecordingCallbacks calls(tree);
            support::TestShader shader;
            for (std::size_t ray = 0; ray < rays.size(); ++ray) {
                support::RawRays batch({rays[ray]});
                trace(tree, RayQuery::hit_static, shader, batch.get_ctx());
                const std::vector<unsigned> items = calls.take_items();
                EXPECT_EQ(std::count(items.begin(), items.end(), seen_item),
                          each.hiding.count(ray) ? 0 : 1)
                    << "first " << each.is_first << ", " << name_coordinate(each.coordinate)
                    << ", ray " << ray;
            }
        }
    }
}

// The largest centre is in the last bin, whatever the scale rounds to.
TEST_P(NastyRegressions, ABinIndexStaysInRange) {
    unsigned trees = 0;
    for (int power = -149; power <= 127; power += 3) {
        for (const unsigned count : {17u, 129u}) {
            // Centres at both ends of the bins' range, between them, and one that is no number.
            std::vector<Box> boxes;
            const float extent = std::ldexp(1.0f, power);
            for (unsigned i = 0; i < count; ++i) {
                const float share = static_cast<float>(i % 17) / 16.0f;
                const float x = i == 1 ? std::nextafter(extent, infinity) : extent * share;
                const float y = power % 2 ? -x : x;
                boxes.push_back({{x, y, extent}, {x, y, extent}});
            }
            for (const bool is_spoiled : {false, true}) {
                if (is_spoiled)
                    boxes[count / 2].min[0] = not_a_number;
                for (const naive::Split split : naive::all_splits) {
                    Subject subject(GetParam());
                    subject.build(boxes, split);
                    ASSERT_EQ(subject.find_difference(), "") << power << ", " << count;
                    ++trees;
                }
            }
        }
    }
    EXPECT_GT(trees, 1000u);
}

// Over a thousand levels, where stacks of a fixed size would overflow.
TEST_P(NastyRegressions, StacksHoldTheDeepestTrees) {
    constexpr unsigned item_count = 1500;
    const std::vector<Box> boxes = scenes::sheet(item_count, 0.9375f);
    Subject subject(GetParam());
    // One cell, so that the grid's tree is as deep.
    subject.build(boxes, naive::Split::median, {boxes, boxes});
    const double origin[3] = {0.0, 2e38, 0.0};
    const double direction[3] = {0.0, -1.0, 0.0};
    const std::vector<RaySpec> rays(5, make_ray(origin, direction, 0.0, 1e39));
    AllWays ways(subject);
    support::run_on_a_small_stack([&] {
        ways.trace(rays, [&](const auto& reached, const std::string& way) {
            for (const auto& items : reached)
                EXPECT_EQ(items.size(), item_count) << way;
        });
    });
}

// Cells are built by the first ray, under a lock, while callbacks trace on through other cells.
TEST(NastyRegressions, LazyBuildsOfSeveralThreadsEnd) {
    constexpr unsigned cluster_count = 5;
    constexpr unsigned thread_count = 4;
    for (const unsigned items_per_cell : {3u, 600u}) {
        support::GridItems items(support::make_clusters(cluster_count, items_per_cell));
        GasGridTree grid;
        items.build(grid, support::get_cluster_target(cluster_count));
        struct Walker {
            const GasGridTree& grid;
            unsigned calls = 0;
            unsigned depth = 0;
        };
        // From inside a cell through all cells, the other way around.
        const GasLeafCallback trace_on = [](void*, const unsigned&, const CtxEval& eval,
                                            CtxShader& shader, GeometryRaytraceCtx&) {
            Walker& walker = *static_cast<Walker*>(eval.user_data);
            if (++walker.calls % 7 != 1 || walker.calls > 400 || walker.depth == 3)
                return;
            ++walker.depth;
            GeometryRayBatch batch(cluster_count);
            for (unsigned ray = 0; ray < cluster_count; ++ray)
                support::aim_at_cluster(batch, ray, cluster_count - 1 - ray);
            walker.grid.ray_stream_static(eval, shader, batch.get_ctx());
            --walker.depth;
        };
        grid.set_leaf_raytrace_callbacks(trace_on, trace_on, nullptr);
        std::latch start(thread_count);
        std::vector<std::thread> threads;
        std::vector<unsigned> calls(thread_count);
        for (unsigned thread = 0; thread < thread_count; ++thread) {
            threads.emplace_back([&, thread] {
                support::TestShader shader;
                Walker walker{grid};
                CtxEval eval;
                eval.user_data = &walker;
                GeometryRayBatch batch(cluster_count);
                for (unsigned ray = 0; ray < cluster_count; ++ray)
                    support::aim_at_cluster(batch, ray, (ray + thread) % cluster_count);
                start.arrive_and_wait();
                for (const RayQuery query : support::all_ray_queries)
                    trace(grid, query, shader, batch.get_ctx(), eval);
                calls[thread] = walker.calls;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(support::get_built_cells(grid).size(), cluster_count);
        for (const unsigned count : calls)
            EXPECT_GT(count, 4 * cluster_count);
    }
}

// Copies that are let go of, moved and assigned free nothing twice; the sanitizers watch.
TYPED_TEST(NastyCopies, FreeNothingTwice) {
    const std::vector<Box> boxes = make_crowd(17);
    const std::vector<unsigned> indices(17, 3);
    for (const bool wide : {false, true}) {
        TypeParam source;
        if constexpr (std::is_same_v<TypeParam, GasTree>)
            source.set_wide_nodes(wide);
        support::build(source, boxes, naive::Split::sah, indices);
        support::fill_samples(source, {boxes, boxes, boxes});
        TypeParam copy(source);
        TypeParam of_the_copy(copy);
        copy = TypeParam();
        std::vector<TypeParam> moved;
        for (unsigned i = 0; i < 9; ++i)
            moved.push_back(TypeParam());
        moved[4] = std::move(of_the_copy);
        moved.reserve(moved.capacity() + 1);
        std::swap(moved[4], moved[0]);
        moved[7] = moved[0];
        moved[0] = TypeParam();
        EXPECT_EQ(moved[7].get_nodes(), source.get_nodes());
        EXPECT_EQ(support::get_reported_items(moved[7]), indices);
        moved[7] = TypeParam();
        EXPECT_EQ(source.get_leaf_count(), 17u);
        EXPECT_EQ(support::get_reported_items(source), indices);
    }
}

TEST(NastyGridCopies, FreeNothingTwice) {
    support::GridItems items(make_crowd(40));
    for (unsigned order = 0; order < 6; ++order) {
        std::vector<std::unique_ptr<GasGridTree>> grids;
        grids.push_back(std::make_unique<GasGridTree>());
        items.build(*grids[0], 8);
        grids.push_back(std::make_unique<GasGridTree>(*grids[0]));
        support::reach_all_cells(*grids[order % 2]);
        grids.push_back(std::make_unique<GasGridTree>(*grids[1]));
        const std::size_t cells = grids[2]->get_cell_count();
        const unsigned first = order / 2;
        const unsigned second = (first + 1 + order % 2) % 3;
        const unsigned third = 3 - first - second;
        grids[first].reset();
        grids[second]->clear();
        EXPECT_EQ(grids[third]->get_cell_count(), cells);
        EXPECT_EQ(support::get_built_cells(*grids[third]).size(), cells);
        *grids[second] = *grids[third];
        *grids[third] = std::move(*grids[second]);
        EXPECT_EQ(grids[third]->get_cell_count(), cells);
    }
}
