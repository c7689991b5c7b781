// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/allocation_counter.h>
#include <tests/support/ray_batches.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>

// Batches of static nearest-hit rays, which go through a tree together.

namespace {

using naive::Box;
using support::BatchMaker;
using support::BatchSpec;
using support::LeafCall;
using support::RaySpec;
using support::RecordingCallbacks;
using support::SeededRandom;
using support::TestShader;

/// A called item and the rays that it was called for.
struct Call {
    unsigned item;
    int first;
    int last;
    bool operator==(const Call&) const = default;
};

constexpr unsigned row_length = 16;

/// Rays down the y axis over a row of unit boxes, ten apart, of which each may stand over a box.
class PacketRow : public testing::Test {
  protected:
    PacketRow() : calls(tree) { build(row_length); }

    void build(unsigned count) { support::build(tree, support::row_of_boxes(count)); }

    /// One ray per entry: the box that it goes to, or a number below 0 for none.
    std::vector<Call> run(const std::vector<int>& targets, int first, int last,
                          const GMathFrustum* frustum = nullptr) {
        GeometryRayBatch batch(static_cast<unsigned>(targets.size()));
        for (unsigned ray = 0; ray < targets.size(); ++ray) {
            const double x = 10.0 * targets[ray] + (targets[ray] < 0 ? -500.0 : 0.5);
            batch.set_ray(ray, {x, 5.0, 0.5}, {0.0, -1.0, 0.0}, 0.0, 100.0);
        }
        batch.get_data().set_range(first, last);
        if (frustum)
            batch.set_frustum(*frustum);
        trace(tree, support::RayQuery::nearest_static, shader, batch.get_ctx());
        std::vector<Call> result;
        for (const LeafCall& call : calls.calls)
            result.push_back({call.item, call.first_ray, call.last_ray});
        calls.calls.clear();
        return result;
    }
    std::vector<Call> run(const std::vector<int>& targets) {
        return run(targets, 0, static_cast<int>(targets.size()) - 1);
    }

    GasTree tree;
    RecordingCallbacks calls;
    TestShader shader;
};

using Calls = std::vector<Call>;

/// Whether `ray` hits `item`, and where it enters it: in floats, as the tree tests its boxes.
bool enters(const RaySpec& ray, const Box& item, double hit_distance, double& distance) {
    naive::Packet lane;
    for (unsigned axis = 0; axis < 3; ++axis) {
        lane.origin[axis][0] = static_cast<float>(ray.origin[axis]);
        lane.inverse[axis][0] = static_cast<float>(naive::inverse_component(ray.direction[axis]));
    }
    lane.near_distance[0] = static_cast<float>(ray.near_distance);
    lane.far_distance[0] = static_cast<float>(hit_distance);
    if ((naive::hit_lanes(lane, item) & 1) == 0)
        return false;
    float entry = lane.near_distance[0];
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float t0 = (item.min[axis] - lane.origin[axis][0]) * lane.inverse[axis][0];
        const float t1 = (item.max[axis] - lane.origin[axis][0]) * lane.inverse[axis][0];
        const float nearer = t1 < t0 ? t1 : t0;
        entry = nearer > entry ? nearer : entry;
    }
    distance = static_cast<double>(entry);
    return true;
}

/// A tree whose items are its boxes, and the callback that tests every ray of its range itself.
struct BoxTracer {
    explicit BoxTracer(const std::vector<Box>& all_boxes, naive::Split split) : boxes(all_boxes) {
        support::build(tree, boxes, split);
        tree.set_leaf_raytrace_callbacks(nullptr, hit, this);
    }

    static void hit(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                    GeometryRaytraceCtx& rays) {
        BoxTracer& self = *static_cast<BoxTracer*>(user);
        support::for_each_ray(rays, [&](unsigned ray) {
            const double before = rays.get_intersection_path(ray).get_hit_distance();
            double distance = 0.0;
            ++self.tested_rays;
            if (enters((*self.rays)[ray], self.boxes[item], before, distance))
                rays.record_nearest_hit(ray, distance, item);
        });
    }

    /// The hit distances of the batch's rays, traced together or one by one.
    std::vector<double> trace_batch(const BatchSpec& spec, bool together, bool with_frustum) {
        rays = &spec.rays;
        GeometryRayBatch batch(static_cast<unsigned>(spec.rays.size()));
        for (unsigned i = 0; i < spec.rays.size(); ++i) {
            const RaySpec& ray = spec.rays[i];
            batch.set_ray(i, {ray.origin[0], ray.origin[1], ray.origin[2]},
                          {ray.direction[0], ray.direction[1], ray.direction[2]}, ray.near_distance,
                          ray.far_distance, 0.0f, ray.cache_slot);
        }
        GMathFrustum frustum;
        for (const naive::Plane& plane : spec.planes)
            frustum.add_plane({plane.normal[0], plane.normal[1], plane.normal[2]}, plane.offset);
        if (with_frustum)
            batch.set_frustum(frustum);
        const CtxEval eval;
        if (together) {
            batch.get_data().set_range(spec.first_ray, spec.last_ray);
            tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);
        }
        for (int i = spec.first_ray; i <= spec.last_ray && !together; ++i) {
            batch.get_data().set_range(i, i);
            tree.ray_hit_nearest_static(eval, single_shader, batch.get_ctx(), false);
        }
        std::vector<double> distances;
        for (unsigned i = 0; i < spec.rays.size(); ++i)
            distances.push_back(batch.is_hit(i) ? batch.get_hit_distance(i) : -1e300);
        return distances;
    }

    std::vector<Box> boxes;
    GasTree tree;
    TestShader shader;
    TestShader single_shader;
    const std::vector<RaySpec>* rays = nullptr;
    std::size_t tested_rays = 0;
};

} // namespace

TEST_F(PacketRow, ABatchThatMissesTheRootEndsWithoutACallback) {
    for (const unsigned count : {1u, 2u, row_length}) {
        build(count);
        EXPECT_EQ(run(std::vector<int>(11, -1)), Calls{});
    }
}

TEST_F(PacketRow, ALeafIsCalledOnceForTheRangeOfRaysThatReachIt) {
    for (const unsigned count : {6u, row_length}) { // 6 boxes: without packets
        build(count);
        std::vector<int> targets(12, -1);
        std::fill(targets.begin() + 3, targets.begin() + 10, 5);
        EXPECT_EQ(run(targets), (Calls{{5, 3, 9}})) << count;
        // Rays of other leaves around them.
        targets[0] = targets[1] = targets[2] = 0;
        targets[10] = targets[11] = 2;
        EXPECT_EQ(run(targets), (Calls{{0, 0, 2}, {2, 10, 11}, {5, 3, 9}})) << count;
        // The range holds the rays between its ends, whatever they hit.
        EXPECT_EQ(run({4, -1, 1, -1, -1, 4, -1}), (Calls{{1, 2, 2}, {4, 0, 5}})) << count;
    }
}

TEST_F(PacketRow, TheFirstActiveRayDecidesWhichChildComesFirst) {
    for (const double direction : {1.0, -1.0}) {
        GeometryRayBatch batch(5);
        for (unsigned ray = 0; ray < 5; ++ray) {
            const double forward = ray == 0 ? direction : -direction;
            batch.set_ray(ray, {75.0 - 500.0 * forward, 0.5, 0.5}, {forward, 0.0, 0.0}, 0.0, 1e3);
        }
        trace(tree, support::RayQuery::nearest_static, shader, batch.get_ctx());
        std::vector<unsigned> expected(row_length);
        for (unsigned i = 0; i < row_length; ++i)
            expected[i] = direction > 0.0 ? i : row_length - 1 - i;
        EXPECT_EQ(calls.take_items(), expected);
    }
}

TEST_F(PacketRow, LanesOutsideTheRangeCountInThePacketTheyShare) {
    // Boxes 4 and 5 are siblings: rays 2 and 3 come as far as their parent.
    std::vector<int> targets(12, -1);
    targets[2] = targets[3] = 4;
    targets[8] = targets[9] = 5;
    const Calls exact = {{4, 2, 3}, {5, 8, 9}};
    const Calls early = {{4, 2, 3}, {5, 4, 9}};
    // Rays 0 and 1 are part of the batch and miss: packets 0 and 1 are passed over.
    EXPECT_EQ(run(targets, 0, 11), exact);
    // Now they are what that batch left in the first two lanes.
    EXPECT_EQ(run(targets, 2, 11), exact);
    // Left by a batch that reached box 5, they end the search in the packet of rays 2 and 3.
    EXPECT_EQ(run(std::vector<int>(12, 5), 0, 11), (Calls{{5, 0, 11}}));
    EXPECT_EQ(run(targets, 2, 11), early);
    // A fresh buffer holds zeros, which pass every box.
    GasObject::destroy_ctx(shader);
    GasObject::create_ctx(shader);
    EXPECT_EQ(run(targets, 2, 11), early);
    // At the other end of the range likewise: lanes 10 and 11 then hold rays to box 5.
    run(std::vector<int>(12, 5));
    targets[2] = targets[3] = 5;
    targets[8] = targets[9] = 4;
    EXPECT_EQ(run(targets, 0, 9), (Calls{{4, 8, 9}, {5, 2, 7}}));
}

TEST_F(PacketRow, HitsShortenTheRaysOfLaterLeaves) {
    // Along the row: every ray stops in box 3.
    calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        support::for_each_ray(rays, [&](unsigned ray) {
            if (item == 3)
                rays.record_nearest_hit(ray, 31.5, item);
        });
    };
    for (const unsigned count : {5u, row_length}) {
        build(count);
        GeometryRayBatch batch(7);
        for (unsigned ray = 0; ray < 7; ++ray)
            batch.set_ray(ray, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
        trace(tree, support::RayQuery::nearest_static, shader, batch.get_ctx());
        EXPECT_EQ(calls.take_items(), (std::vector<unsigned>{0, 1, 2, 3}));
        for (unsigned ray = 0; ray < 7; ++ray)
            EXPECT_EQ(batch.get_item(ray), 3u);
    }
}

TEST_F(PacketRow, AFrustumDropsANodeOnceThePacketOfTheFirstRayMissesIt) {
    GMathFrustum left;
    left.add_plane({-1.0, 0.0, 0.0}, 65.0); // x <= 65: boxes 0 to 6
    for (const unsigned count : {7u, row_length}) {
        build(count);
        std::vector<int> targets(9, 6);
        targets[0] = targets[1] = targets[2] = targets[3] = 1;
        EXPECT_EQ(run(targets, 0, 8, &left), (Calls{{1, 0, 3}, {6, 4, 8}}));
    }
    // Rays that do not keep to the frustum: seen only where the first packet hits.
    std::vector<int> astray(9, 12);
    EXPECT_EQ(run(astray, 0, 8, &left), (Calls{{12, 0, 8}}));
    astray[0] = astray[1] = astray[2] = astray[3] = 1;
    EXPECT_EQ(run(astray, 0, 8, &left), (Calls{{1, 0, 3}}));
    const GMathFrustum no_planes;
    EXPECT_EQ(run(astray, 0, 8, &no_planes), (Calls{{1, 0, 3}, {12, 4, 8}}));
}

TEST_F(PacketRow, ThePacketBufferGrowsWithTheLargestBatchAndShallowTreesNeedNone) {
    const GasRaytraceFrame& frame = shader.get_ray_frame();
    build(4);
    ASSERT_LT(tree.get_depth(), 4u);
    run(std::vector<int>(300, 1));
    EXPECT_EQ(frame.packets, nullptr);
    build(row_length);
    run(std::vector<int>(5, 1));
    EXPECT_EQ(frame.packet_capacity, 2u);
    run(std::vector<int>(300, 1));
    EXPECT_EQ(frame.packet_capacity, 75u);
    const void* const packets = frame.packets;
    const support::AllocationCounts before = support::get_allocation_counts();
    GeometryRayBatch batch(297);
    const std::uint64_t made = support::get_allocation_counts().allocations;
    trace(tree, support::RayQuery::nearest_static, shader, batch.get_ctx());
    EXPECT_EQ(support::get_allocation_counts().allocations, made);
    EXPECT_GT(made, before.allocations);
    EXPECT_EQ(frame.packets, packets);
    run(std::vector<int>(301, 1));
    EXPECT_EQ(frame.packet_capacity, 76u);
    // A range of a large batch counts as all of it.
    run(std::vector<int>(400, 1), 1, 2);
    EXPECT_EQ(frame.packet_capacity, 100u);
}

TEST(PacketWalk, AxisParallelRaysInFacesMissNoTouchedBox) {
    std::vector<Box> boxes = scenes::make(scenes::Kind::grid, 64, 3);
    for (unsigned i = 0; i < 4; ++i) {
        const float x = static_cast<float>(i);
        boxes.push_back({{x, 2.0f, 0.0f}, {x + 1.0f, 2.0f, 4.0f}});
    }
    const auto touches = [&](unsigned item, const GMathBasicRay& ray) {
        bool touched = true;
        for (unsigned axis = 0; axis < 3; ++axis) {
            if (ray.get_direction()[axis] == 0.0)
                touched = touched &&
                          static_cast<double>(boxes[item].min[axis]) <= ray.get_origin()[axis] &&
                          static_cast<double>(boxes[item].max[axis]) >= ray.get_origin()[axis];
        }
        return touched;
    };
    for (const naive::Split split : support::all_splits) {
        GasTree tree;
        support::build(tree, boxes, split);
        RecordingCallbacks calls(tree);
        TestShader shader;
        for (unsigned axis = 0; axis < 3; ++axis) {
            GeometryRayBatch batch(162);
            for (unsigned ray = 0; ray < 162; ++ray) {
                const double sign = ray % 2 == 0 ? 1.0 : -1.0;
                GMathVec3<double> origin;
                GMathVec3<double> direction = {-0.0, 0.0, -0.0};
                origin[(axis + 1) % 3] = 0.5 * (ray / 2 % 9);
                origin[(axis + 2) % 3] = 0.5 * (ray / 18);
                origin[axis] = 2.0 - 3.0 * sign;
                direction[axis] = sign;
                batch.set_ray(ray, origin, direction, 0.0, 100.0);
            }
            std::vector<std::vector<bool>> called(boxes.size(), std::vector<bool>(162));
            calls.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
                support::for_each_ray(rays, [&](unsigned ray) { called[item][ray] = true; });
            };
            trace(tree, support::RayQuery::nearest_static, shader, batch.get_ctx());
            for (unsigned item = 0; item < boxes.size(); ++item) {
                for (unsigned ray = 0; ray < 162; ++ray)
                    ASSERT_TRUE(called[item][ray] ||
                                !touches(item, batch.get_ctx().get_ray(ray).line));
            }
        }
    }
}

TEST(PacketWalk, EveryRayFindsWhatItFindsAlone) {
#ifdef NDEBUG
    constexpr unsigned batch_count = 150;
#else
    constexpr unsigned batch_count = 12;
#endif
    unsigned batches = 0;
    unsigned rays = 0;
    unsigned hits = 0;
    unsigned framed = 0;
    std::size_t alone = 0;
    std::size_t together = 0;
    std::size_t in_frustum = 0;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {3u, 7u, 40u, 600u}) {
            SeededRandom random(std::uint64_t{count} + 7 * static_cast<unsigned>(kind));
            BoxTracer tracer(scenes::make(kind, count, random.next()),
                             support::all_splits[random.below(4)]);
            BatchMaker maker(random, tracer.boxes);
            const auto count_tests = [&](auto&& trace_it, std::size_t& tests) {
                tracer.tested_rays = 0;
                std::vector<double> distances = trace_it();
                tests += tracer.tested_rays;
                return distances;
            };
            for (unsigned i = 0; i < batch_count; ++i) {
                const bool coherent = random.below(2);
                BatchSpec batch = coherent ? maker.make_coherent() : maker.make_incoherent();
                if (random.below(2))
                    maker.narrow(batch);
                std::size_t ignored = 0;
                const std::vector<double> expected =
                    count_tests([&] { return tracer.trace_batch(batch, false, false); },
                                coherent ? alone : ignored);
                ASSERT_EQ(count_tests([&] { return tracer.trace_batch(batch, true, false); },
                                      coherent ? together : ignored),
                          expected)
                    << scenes::name(kind) << ", " << count << " boxes, batch " << i;
                // A sheet spans more than floats can hold, so its distances overflow in the box
                // test but not in the frustum's.
                if (coherent && kind != scenes::Kind::sheet) {
                    ASSERT_EQ(count_tests([&] { return tracer.trace_batch(batch, true, true); },
                                          in_frustum),
                              expected)
                        << scenes::name(kind) << ", " << count << " boxes, batch " << i;
                    ++framed;
                }
                ++batches;
                rays += static_cast<unsigned>(batch.last_ray - batch.first_ray + 1);
                hits += static_cast<unsigned>(
                    std::count_if(expected.begin(), expected.end(),
                                  [](double distance) { return distance != -1e300; }));
            }
        }
    }
    std::printf("compared %u batches (%u with a frustum) of %u rays, %u of which hit; items tested "
                "for coherent rays: %zu alone, %zu together, %zu of those framed\n",
                batches, framed, rays, hits, alone, together, in_frustum);
    EXPECT_GT(hits, rays / 10);
    EXPECT_LT(hits, rays);
    EXPECT_GT(framed, batches / 4);
}
