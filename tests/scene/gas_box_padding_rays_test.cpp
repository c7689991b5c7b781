// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_box_padding.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include <gtest/gtest.h>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/scene/gas_scene_scale.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/sanitizers.h>
#include <tests/support/seeded_random.h>
#include <tests/support/test_shader.h>

namespace {

using Point = GMathVec3<double>;
using Box = GMathBbox3<double>;
using FloatBoxes = CoreArray<GMathBbox3<float>>;
using support::RayQuery;

/// A ray whose hit is a point of an item's box, and the item.
struct Aim {
    unsigned item;
    Point origin;
    Point direction;
    double distance;
    float time;
};

/// Items at two samples, and rays that hit them.
struct Range {
    std::vector<Box> items[2];
    std::vector<Aim> aims;
    /// Of items and origins.
    double reach = 0.0;
};

Point make_point(support::SeededRandom& random, double size) {
    return {size * (2.0 * random.uniform_double() - 1.0),
            size * (2.0 * random.uniform_double() - 1.0),
            size * (2.0 * random.uniform_double() - 1.0)};
}

double mix(double a, double b, double fraction) { return a + (b - a) * fraction; }

/// A point of the item at a moment; many are on a side, an edge or a corner.
Point make_hit(support::SeededRandom& random, const Range& range, unsigned item, float time) {
    Point hit;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double place = std::clamp(1.5 * random.uniform_double() - 0.25, 0.0, 1.0);
        double bounds[2];
        for (unsigned sample = 0; sample < 2; ++sample)
            bounds[sample] = mix(range.items[sample][item].min[axis],
                                 range.items[sample][item].max[axis], place);
        hit[axis] = mix(bounds[0], bounds[1], static_cast<double>(time));
    }
    return hit;
}

/// A sheet of flat items, `size` wide, around `center`, which moves by a tenth of its size; rays
/// come from `distance` away along each axis. The hits are those at time 0 where `moves` is false.
Range make_sheet(const Point& center, double size, double distance, bool moves) {
    constexpr unsigned item_count = 1000;
    constexpr unsigned ray_count = support::scale(support::scale_when_whole(4000, 2000), 1000);
    support::SeededRandom random(21);
    Range range;
    const Point shift = make_point(random, 0.1 * size);
    for (unsigned item = 0; item < item_count; ++item) {
        const Point middle = center + make_point(random, size);
        const Point half = make_point(random, 0.02 * size);
        Box box = {{middle.x - std::abs(half.x), middle.y - std::abs(half.y), center.z},
                   {middle.x + std::abs(half.x), middle.y + std::abs(half.y), center.z}};
        range.items[0].push_back(box);
        range.items[1].push_back({box.min + shift, box.max + shift});
    }
    for (const std::vector<Box>& items : range.items)
        for (const Box& box : items)
            range.reach = std::max(range.reach, gas_get_reach(box));
    for (unsigned ray = 0; ray < ray_count; ++ray) {
        Aim aim;
        aim.item = random.below(item_count);
        aim.time = moves ? random.uniform() : 0.0f;
        const Point hit = make_hit(random, range, aim.item, aim.time);
        aim.origin = center + make_point(random, distance);
        aim.origin.z = center.z + (ray % 2 == 0 ? distance : -distance);
        aim.distance = std::ldexp(distance, static_cast<int>(random.below(5)) - 2);
        aim.direction = (hit - aim.origin) * (1.0 / aim.distance);
        range.reach = std::max(range.reach, gas_get_reach(aim.origin));
        range.aims.push_back(aim);
    }
    return range;
}

/// What callbacks of nearest hits note: which rays were shown the item that they hit.
struct Shown {
    const std::vector<Aim>* aims;
    std::vector<char> rays;
};

void note(void* user, const unsigned& item, const CtxEval&, CtxShader&, GeometryRaytraceCtx& ctx) {
    Shown& shown = *static_cast<Shown*>(user);
    support::for_each_ray(ctx, [&](unsigned ray) {
        if ((*shown.aims)[ray].item == item)
            shown.rays[ray] = 1;
    });
}

enum class Way { alone, batches, stream };

void trace(const GasTree& tree, RayQuery query, Way way, CtxShader& shader,
           GeometryRaytraceCtx& ctx) {
    if (way == Way::stream)
        support::trace_query<true>(tree, query, shader, ctx, CtxEval(), false);
    else
        support::trace_query(tree, query, shader, ctx, CtxEval(), false);
}
template <typename Tree>
void trace(const Tree& tree, RayQuery query, Way way, CtxShader& shader, GeometryRaytraceCtx& ctx) {
    if (way == Way::stream)
        support::trace_query<true>(tree, query, shader, ctx, CtxEval());
    else
        support::trace_query(tree, query, shader, ctx, CtxEval());
}

/// How many rays are not shown the item that they hit, although none goes on behind its hit.
template <typename Tree>
unsigned count_lost(Tree& tree, const Range& range, double scale, RayQuery query, Way way) {
    Shown shown{&range.aims, std::vector<char>(range.aims.size())};
    tree.set_leaf_raytrace_callbacks(note, note, note, note, &shown);
    support::TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
    const unsigned count = static_cast<unsigned>(range.aims.size());
    GeometryRayBatch batch(count);
    for (unsigned ray = 0; ray < count; ++ray) {
        const Aim& aim = range.aims[ray];
        batch.set_ray(ray, gas_scale_vector(aim.origin, scale),
                      gas_scale_vector(aim.direction, scale), 0.0, aim.distance, aim.time);
    }
    const unsigned step = way == Way::alone ? 1 : way == Way::batches ? 8 : 250;
    for (unsigned first = 0; first < count; first += step) {
        batch.get_data().set_range(static_cast<int>(first), static_cast<int>(first + step - 1));
        trace(tree, query, way, shader, batch.get_ctx());
    }
    return count - static_cast<unsigned>(std::count(shown.rays.begin(), shown.rays.end(), 1));
}

FloatBoxes make_boxes(const std::vector<Box>& items, double padding, double scale) {
    FloatBoxes boxes(static_cast<unsigned>(items.size()));
    for (unsigned item = 0; item < boxes.get_count(); ++item)
        boxes[item] = gas_pad_box(items[item], padding, scale);
    return boxes;
}

double get_scale(const Range& range, double padding) {
    GMathBbox3<float> bounds = gas_pad_box(range.items[0].front(), padding);
    for (const std::vector<Box>& items : range.items) {
        for (const Box& item : items) {
            const GMathBbox3<float> box = gas_pad_box(item, padding);
            for (float GMathVec3<float>::*axis :
                 {&GMathVec3<float>::x, &GMathVec3<float>::y, &GMathVec3<float>::z}) {
                bounds.min.*axis = std::min(bounds.min.*axis, box.min.*axis);
                bounds.max.*axis = std::max(bounds.max.*axis, box.max.*axis);
            }
        }
    }
    return gas_get_scene_scale(bounds);
}

void create(GasTree& tree, const FloatBoxes& boxes) { tree.create(boxes, nullptr, nullptr, 1.0f); }
void create(GasCompressedTree& tree, const FloatBoxes& boxes) {
    tree.create(boxes, nullptr, nullptr);
}

/// Whatever is lost by any way through a tree; `padding` is what its boxes have.
template <typename Tree>
unsigned count_all_lost(Tree& tree, const Range& range, double padding, double scale, bool moves) {
    create(tree, make_boxes(range.items[0], padding, scale));
    if (moves) {
        tree.set_motion_blur_sample_count(2);
        for (unsigned sample = 0; sample < 2; ++sample)
            tree.refit_motion_blur_sample(make_boxes(range.items[sample], padding, scale), sample);
    }
    unsigned lost = 0;
    for (const RayQuery query : support::all_ray_queries)
        if (support::is_motion(query) == moves)
            for (const Way way : {Way::alone, Way::batches, Way::stream})
                lost += count_lost(tree, range, scale, query, way);
    return lost;
}

unsigned count_all_lost(const Range& range, double padding, bool moves) {
    GasTree plain;
    GasTree wide;
    wide.set_wide_nodes(true);
    GasCompressedTree compressed;
    return count_all_lost(plain, range, padding, 1.0, moves) +
           count_all_lost(wide, range, padding, 1.0, moves) +
           count_all_lost(compressed, range, padding, get_scale(range, padding), moves);
}

/// The boxes of a grid's items.
struct GridBoxes {
    FloatBoxes boxes;

    static void give(void* user, const unsigned& count, const unsigned* items,
                     GMathBbox3<float>* boxes) {
        for (unsigned i = 0; i < count; ++i)
            boxes[i] = static_cast<GridBoxes*>(user)->boxes[items[i]];
    }
};

unsigned count_grid_lost(const Range& range, double padding) {
    const double scale = get_scale(range, padding);
    GridBoxes boxes{make_boxes(range.items[0], padding, scale)};
    GasGridTree grid;
    grid.set_leaf_bbox_callbacks(GridBoxes::give, nullptr, &boxes);
    grid.create(boxes.boxes.get_count(), 20, nullptr, nullptr);
    unsigned lost = 0;
    for (const RayQuery query : {RayQuery::hit_static, RayQuery::nearest_static})
        for (const Way way : {Way::alone, Way::batches, Way::stream})
            lost += count_lost(grid, range, scale, query, way);
    return lost;
}

TEST(BoxPaddingRays, LoseNoHitFromFarAway) {
    for (const double center : {0.0, 1e5}) {
        for (const double distance : {2.0, 6e3, 6e4}) {
            SCOPED_TRACE(testing::Message() << "center " << center << ", from " << distance);
            const Range range = make_sheet({center, -center, center}, 1.0, distance, false);
            EXPECT_GT(count_all_lost(range, 0.0, false), 0u) << "rounding alone loses some";
            const double padding = gas_get_box_padding(range.reach);
            EXPECT_EQ(count_all_lost(range, padding, false), 0u);
            EXPECT_EQ(count_grid_lost(range, padding), 0u);
        }
    }
}

TEST(BoxPaddingRays, LoseNoHitInMotion) {
    for (const double center : {0.0, 1e5}) {
        for (const double distance : {2.0, 6e3, 6e4}) {
            SCOPED_TRACE(testing::Message() << "center " << center << ", from " << distance);
            const Range range = make_sheet({center, -center, center}, 1.0, distance, true);
            EXPECT_GT(count_all_lost(range, 0.0, true), 0u) << "rounding alone loses some";
            EXPECT_EQ(count_all_lost(range, gas_get_box_padding(range.reach), true), 0u);
        }
    }
}

TEST(BoxPaddingRays, LoseNoHitInScenesOfAnySize) {
    constexpr int step = support::scale(20, 60);
    for (int exponent = -90; exponent <= 90; exponent += step) {
        SCOPED_TRACE(exponent);
        const double size = std::ldexp(1.0, exponent);
        const Range range = make_sheet({3.0 * size, 0.0, -2.0 * size}, size, 5.0 * size, true);
        EXPECT_GT(count_all_lost(range, 0.0, true), 0u) << "rounding alone loses some";
        EXPECT_EQ(count_all_lost(range, gas_get_box_padding(range.reach), true), 0u);
    }
}

/// The distance that a ray is shortened to by whichever item it is shown first.
struct Visits {
    double distance = 0.0;
    bool seen[2] = {false, false};
};

void shorten(void* user, const unsigned& item, const CtxEval&, CtxShader&,
             GeometryRaytraceCtx& ctx) {
    Visits& visits = *static_cast<Visits*>(user);
    visits.seen[item] = true;
    ctx.record_nearest_hit(0, visits.distance, item);
}

TEST(BoxPaddingRays, KeepItemsAtEqualDistanceInSight) {
    // Two flat items in one place, far from the origin of the ray: the second is visited although
    // the first has already shortened the ray to the very distance of both.
    support::SeededRandom random(5);
    support::TestShader shader;
    GeometryRayBatch batch(1);
    for (unsigned round = 0; round < 20000; ++round) {
        const double reach = std::pow(10.0, 6.0 * random.uniform_double() - 3.0);
        const Point origin = make_point(random, reach);
        const Point point = make_point(random, reach);
        Point direction = (point - origin) * (1.0 / reach);
        // Now and then along an axis, or nearly.
        if (round % 4 == 1)
            direction[round % 3] *= 1e-12;
        Visits visits;
        visits.distance = reach * (0.5 + random.uniform_double());
        const Point hit = origin + direction * visits.distance;
        const double padding = gas_get_box_padding(std::max(gas_get_reach(hit), reach));
        FloatBoxes boxes(2);
        boxes[0] = boxes[1] = gas_pad_box(Box{hit, hit}, padding);

        GasTree tree;
        tree.create(boxes, nullptr, nullptr, 1.0f);
        tree.set_leaf_raytrace_callbacks(shorten, shorten, &visits);
        batch.set_ray(0, origin, direction, 0.0, 1e30);
        trace(tree, RayQuery::nearest_static, Way::alone, shader, batch.get_ctx());
        EXPECT_TRUE(visits.seen[0] && visits.seen[1]) << round;
    }
}

} // namespace
