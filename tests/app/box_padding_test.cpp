// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/box_padding.h>

#include <gtest/gtest.h>

#include <gas/object/gas_object.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/seeded_random.h>

namespace {

using namespace gas_app;

TEST(BoxPadding, GrowsWithTheReach) {
    EXPECT_EQ(get_box_padding(0.0), 0.0);
    EXPECT_EQ(get_box_padding(524288.0), 1.0);
}

TEST(BoxPadding, PadsEverySideEvenWhenRounded) {
    support::SeededRandom random(3);
    for (unsigned round = 0; round < 1000; ++round) {
        const double size = 1e3 * random.uniform_double();
        const Vec3 corner{size * random.uniform_double(), -size * random.uniform_double(), size};
        const double padding = get_box_padding(size);
        const Box padded = to_double(pad_box({corner, corner}, padding));
        for (unsigned axis = 0; axis < 3; ++axis) {
            EXPECT_LE(padded.min[axis], corner[axis] - 0.9 * padding);
            EXPECT_GE(padded.max[axis], corner[axis] + 0.9 * padding);
        }
    }
}

TEST(BoxPadding, KeepsEveryBitAtAScale) {
    const Box box{{0.1, -0.3, 7.7}, {0.2, 1e-7, 9.1}};
    const GMathBbox3<float> padded = pad_box(box, 1e-5);
    for (const float scale : {0.25f, 4096.0f}) {
        const GMathBbox3<float> scaled = pad_box(box, 1e-5, static_cast<double>(scale));
        EXPECT_EQ(scaled.min, padded.min * scale);
        EXPECT_EQ(scaled.max, padded.max * scale);
    }
}

TEST(BoxPadding, AcceptsPointsWithinAQuarter) {
    const Box box{{0.0, 0.0, 0.0}, {1.0, 1.0, 1.0}};
    EXPECT_TRUE(is_within(box, {1.0, 0.0, 0.5}, 0.0));
    EXPECT_TRUE(is_within(box, {1.2, -0.2, 0.5}, 1.0));
    EXPECT_FALSE(is_within(box, {1.3, 0.0, 0.5}, 1.0));
    EXPECT_FALSE(is_within(box, {0.5, 0.5, -0.3}, 1.0));
    EXPECT_FALSE(is_within(box, {0.5, std::nan(""), 0.5}, 1.0));
}

/// Remembers which items a ray was shown, and whether its bound had been lowered before.
struct Visits {
    double distance = 0.0;
    bool seen[2] = {false, false};
};

void visit(void* user, const unsigned& item, const CtxEval&, CtxShader&, GeometryRaytraceCtx& ctx) {
    Visits& visits = *static_cast<Visits*>(user);
    visits.seen[item] = true;
    ctx.record_nearest_hit(0, visits.distance, item);
}

TEST(BoxPadding, KeepsItemsAtEqualDistanceInSight) {
    // Two flat items in one place, far from the origin of the ray: the second is visited although
    // the first has already shortened the ray to the very distance of both.
    support::SeededRandom random(5);
    Visits visits;
    CtxEval eval;
    CtxShader shader;
    GasObject::create_ctx(shader);
    GeometryRayBatch batch(1);
    AppBase application(nullptr);
    AppProgressBar& bar = *application.create_progress_bar("", false);
    for (unsigned round = 0; round < 20000; ++round) {
        const double reach = std::pow(10.0, 6.0 * random.uniform_double() - 3.0);
        const auto get_point = [&] {
            return Vec3{(2.0 * random.uniform_double() - 1.0) * reach,
                        (2.0 * random.uniform_double() - 1.0) * reach,
                        (2.0 * random.uniform_double() - 1.0) * reach};
        };
        const Vec3 origin = get_point();
        const Vec3 point = get_point();
        Vec3 direction = (point - origin) * (1.0 / reach);
        // Now and then along an axis, or nearly.
        if (round % 4 == 1)
            direction[round % 3] *= 1e-12;
        const double distance = reach * (0.5 + random.uniform_double());
        const Vec3 hit = origin + direction * distance;
        const double padding = get_box_padding(std::max(get_reach({hit, hit}), reach));
        CoreArray<GMathBbox3<float>> boxes(2);
        boxes[0] = boxes[1] = pad_box({hit, hit}, padding);

        GasTree tree;
        tree.create(boxes, nullptr, &bar, 1.0f);
        tree.set_leaf_raytrace_callbacks(visit, visit, &visits);
        visits = {distance, {false, false}};
        batch.set_ray(0, origin, direction, 0.0, 1e30);
        tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), true);
        EXPECT_TRUE(visits.seen[0] && visits.seen[1]) << round;
    }
    GasObject::destroy_ctx(shader);
}

} // namespace
