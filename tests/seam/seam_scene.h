// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <limits>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/object/gas_object.h>
#include <gas/tree/gas_tree.h>
#include <tests/support/seeded_random.h>

namespace seam {

inline constexpr unsigned item_count = 200;
inline constexpr unsigned ray_count = 64;
inline constexpr unsigned no_item = 0xFFFFFFFFu;

using Boxes = CoreArray<GMathBbox3<float>>;

inline Boxes make_boxes(unsigned count, float shift) {
    support::SeededRandom random(5);
    Boxes boxes;
    for (unsigned item = 0; item < count; ++item) {
        const float x = random.between(-8.0f, 8.0f) + shift;
        const float y = random.between(-8.0f, 8.0f);
        const float z = random.between(-8.0f, 8.0f);
        const float size = random.between(0.1f, 1.5f);
        boxes.items.push_back({{x, y, z}, {x + size, y + size, z + size}});
    }
    return boxes;
}

inline SeamRays make_rays() {
    support::SeededRandom random(6);
    SeamRays rays(ray_count);
    for (unsigned ray = 0; ray < ray_count; ++ray) {
        GMathBasicRay line;
        line.origin = {random.between(-9.0f, 9.0f), random.between(-9.0f, 9.0f), -20.0f};
        line.direction = {random.between(-0.5f, 0.5f), random.between(-0.5f, 0.5f), 1.0f};
        if (ray % 8 == 0)
            line.direction = {-0.0f, 0.0f, 1.0f};
        rays.set(ray, line, 0.0f, static_cast<signed char>(ray % 6));
    }
    return rays;
}

/// The distance at which a ray enters an item's box; infinity where it misses it.
inline float enter(const GeometryRaytraceData& data, unsigned ray, const GMathBbox3<float>& box) {
    const GMathBasicRay line = gas_host::get_line(data, ray);
    float low = 0.0f;
    float high = 1000.0f;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float from = line.origin[axis];
        const float slope = line.direction[axis];
        if (slope == 0.0f) {
            if (from < box.min[axis] || from > box.max[axis])
                return std::numeric_limits<float>::infinity();
            continue;
        }
        const float first = (box.min[axis] - from) / slope;
        const float second = (box.max[axis] - from) / slope;
        low = std::max(low, std::min(first, second));
        high = std::min(high, std::max(first, second));
    }
    return low <= high ? low : std::numeric_limits<float>::infinity();
}

/// The distance at which a ray enters the nearest of the boxes; 1000 where it misses all.
inline float find_nearest(const GeometryRaytraceData& data, unsigned ray, const Boxes& boxes) {
    float nearest = 1000.0f;
    for (const GMathBbox3<float>& box : boxes.items)
        nearest = std::min(nearest, enter(data, ray, box));
    return nearest;
}

/// The items are their boxes, each a hair smaller than the box that the tree knows.
struct Scene {
    explicit Scene(float shift = 0.0f) : boxes(make_boxes(item_count, shift)) {
        tree_boxes = boxes;
        for (GMathBbox3<float>& box : tree_boxes.items)
            box = {{box.min.x - 1e-3f, box.min.y - 1e-3f, box.min.z - 1e-3f},
                   {box.max.x + 1e-3f, box.max.y + 1e-3f, box.max.z + 1e-3f}};
    }

    Boxes boxes;
    Boxes tree_boxes;
};

/// Calls `visit(data, ray)` for each ray of the context's range.
template <typename Visit> void for_each_ray(GeometryRaytraceCtx& ctx, const Visit& visit) {
    GeometryRaytraceData& data = gas_host::get_data(ctx);
    for (int ray = gas_host::get_first_ray(data); ray <= gas_host::get_last_ray(data); ++ray)
        visit(data, static_cast<unsigned>(ray));
}

/// Leaf callbacks over the boxes behind the user pointer.
inline void hit_nearest(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                        GeometryRaytraceCtx& ctx) {
    const Boxes& boxes = *static_cast<const Boxes*>(user);
    for_each_ray(ctx, [&](GeometryRaytraceData& data, unsigned ray) {
        GeometryIntersectionPath& path = ctx.get_intersection_path(ray);
        const double distance = static_cast<double>(enter(data, ray, boxes.items[item]));
        if (distance < path.distance) {
            path.distance = distance;
            path.item = item;
            data.rays->hits[ray] = 1;
        }
    });
}

inline void hit_any(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                    GeometryRaytraceCtx& ctx) {
    const Boxes& boxes = *static_cast<const Boxes*>(user);
    for_each_ray(ctx, [&](GeometryRaytraceData& data, unsigned ray) {
        if (enter(data, ray, boxes.items[item]) < 1000.0f)
            data.rays->hits[ray] = 1;
    });
}

/// Has a tree call back over the scene's items.
template <typename Tree> void attach(Tree& tree, const Scene& scene) {
    tree.set_leaf_raytrace_callbacks(hit_any, hit_nearest, const_cast<Boxes*>(&scene.boxes));
}

/// A shader with frames and two motion-blur samples.
class MotionShader : public CtxShader {
  public:
    MotionShader() {
        motion_blur = &m_motion_blur;
        GasObject::create_ctx(*this);
    }
    MotionShader(const MotionShader&) = delete;
    MotionShader& operator=(const MotionShader&) = delete;
    ~MotionShader() { GasObject::destroy_ctx(*this); }

  private:
    CtxMotionBlur m_motion_blur = {2};
};

/// An object over one tree of either class.
template <typename Tree> class SceneObject : public GasObject {
  public:
    explicit SceneObject(const Tree& tree) : m_tree(&tree) {
        set_raytrace_callbacks(trace<&Tree::ray_hit_static>, trace<&Tree::ray_hit_motion>,
                               trace<&Tree::ray_hit_nearest_static>,
                               trace<&Tree::ray_hit_nearest_motion>);
    }
    GMathBbox3<double> get_bbox() const override { return {}; }

  private:
    template <auto query>
    static void trace(const GasObject* self, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& ctx) {
        const Tree& tree = *static_cast<const SceneObject*>(self)->m_tree;
        if constexpr (std::is_same_v<Tree, GasTree>)
            (tree.*query)(eval, shader, ctx, true);
        else
            (tree.*query)(eval, shader, ctx);
    }

    const Tree* m_tree;
};

/// Traces all rays by one query and holds them against a search through `boxes`.
template <typename Trace>
void expect_same_as_search(const Trace& trace, bool is_nearest, const Boxes& boxes,
                           SeamRays& rays) {
    rays.hits.assign(ray_count, 0);
    rays.map.init(ray_count, rays.far_distances.data());
    GeometryRaytraceData data;
    data.rays = &rays;
    data.map = &rays.map;
    gas_host::set_range(data, 0, static_cast<int>(ray_count) - 1);
    trace(data.ctx);
    unsigned hit_count = 0;
    for (unsigned ray = 0; ray < ray_count; ++ray) {
        const float nearest = find_nearest(data, ray, boxes);
        ASSERT_EQ(rays.hits[ray] != 0, nearest < 1000.0f) << ray;
        if (is_nearest) {
            ASSERT_EQ(rays.map.get_path(ray).distance, static_cast<double>(nearest)) << ray;
        }
        hit_count += rays.hits[ray];
    }
    EXPECT_GT(hit_count, ray_count / 4);
}

/// Traces a batch both ways and holds every ray against a search through all boxes.
template <typename Tree>
void expect_same_as_search(const Tree& tree, const Boxes& boxes, CtxShader& shader,
                           SeamRays& rays) {
    const SceneObject object(tree);
    GeometryRaytraceData data;
    data.rays = &rays;
    gas_host::set_range(data, 0, static_cast<int>(ray_count) - 1);

    unsigned hit_count = 0;
    object.ray_hit_nearest(CtxEval(), shader, data);
    for (unsigned ray = 0; ray < ray_count; ++ray) {
        const float nearest = find_nearest(data, ray, boxes);
        const GeometryIntersectionPath& path = rays.map.get_path(ray);
        ASSERT_EQ(path.distance, static_cast<double>(nearest)) << ray;
        ASSERT_EQ(path.item != no_item, nearest < 1000.0f) << ray;
        ASSERT_EQ(rays.hits[ray] != 0, nearest < 1000.0f) << ray;
        hit_count += rays.hits[ray];
    }
    EXPECT_GT(hit_count, ray_count / 4);
    EXPECT_LT(hit_count, ray_count);

    const std::vector<unsigned char> nearest_hits = rays.hits;
    object.ray_hit(CtxEval(), shader, data);
    EXPECT_EQ(data.map, nullptr);
    EXPECT_EQ(rays.hits, nearest_hits);
}

} // namespace seam
