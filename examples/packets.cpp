// SPDX-License-Identifier: Apache-2.0
/// Rays in packets: a camera's rays through one tile of the picture are coherent, so they walk the
/// tree together as one batch. A frustum around them lets the walk drop boxes for all at once.

#include <cstdio>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

using Vector = GMathVec3<double>;

/// A packet's callback intersects all rays first..last; some of them may miss the sphere's box, so
/// it must test the sphere itself. Counts its calls.
void hit_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                GeometryRaytraceCtx& ctx) {
    SphereScene& scene = *static_cast<SphereScene*>(user);
    ++scene.call_count;
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        double distance;
        if (meets(scene.spheres[item], ctx.get_ray(ray).line, ctx.get_tnear(ray), bound, distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}

constexpr unsigned picture_side = 128;
constexpr unsigned tile_side = 8;
constexpr Vector eye = {0.0, 0.0, -60.0};

/// Through pixel coordinates (x, y); of no particular length.
Vector get_direction(double x, double y) {
    return {x / picture_side - 0.5, y / picture_side - 0.5, 1.0};
}

/// Aims a batch at the tile whose upper left pixel is (left, top): neighbours go through
/// neighbouring pixels, and the frustum through the tile's corners.
void aim(GeometryRayBatch& batch, unsigned left, unsigned top) {
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        const unsigned x = left + ray % tile_side;
        const unsigned y = top + ray / tile_side;
        batch.set_ray(ray, eye, get_direction(x + 0.5, y + 0.5), 0.0, 1000.0);
    }
    const unsigned right = left + tile_side;
    const unsigned bottom = top + tile_side;
    const Vector corners[4] = {get_direction(left, top), get_direction(right, top),
                               get_direction(right, bottom), get_direction(left, bottom)};
    batch.set_frustum(gmath_make_pinhole_frustum(eye, corners));
}

} // namespace

int main() {
    // A block of spheres in front of the camera, ten deep.
    constexpr unsigned side = 24;
    constexpr unsigned layers = 10;
    SphereScene scene;
    for (unsigned i = 0; i < side * side * layers; ++i) {
        const float x = 2.0f * static_cast<float>(i % side) - 23.0f;
        const float y = 2.0f * static_cast<float>(i / side % side) - 23.0f;
        const float z = 5.0f * static_cast<float>(i / (side * side));
        scene.spheres.push_back({{x, y, z}, 0.5f + 0.1f * static_cast<float>(i % 3)});
    }
    GasTree tree;
    tree.create(scene.get_boxes(), nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_sphere, &scene);

    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);

    // Every tile twice: as one batch, and ray by ray. A batch of one ray walks the tree alone.
    GeometryRayBatch packet(tile_side * tile_side);
    GeometryRayBatch single(1);
    unsigned packet_calls = 0;
    unsigned hit_count = 0;
    unsigned wrong_count = 0;
    for (unsigned top = 0; top < picture_side; top += tile_side) {
        for (unsigned left = 0; left < picture_side; left += tile_side) {
            aim(packet, left, top);
            const unsigned calls_before = scene.call_count;
            tree.ray_hit_nearest_static(eval, shader, packet.get_ctx(), false);
            packet_calls += scene.call_count - calls_before;
            for (unsigned ray = 0; ray < packet.get_ray_count(); ++ray) {
                const GMathBasicRay& line = packet.get_ctx().get_ray(ray).line;
                single.set_ray(0, line.get_origin(), line.get_direction(), 0.0, 1000.0);
                tree.ray_hit_nearest_static(eval, shader, single.get_ctx(), false);
                hit_count += single.is_hit(0) ? 1 : 0;
                wrong_count += packet.is_hit(ray) != single.is_hit(0) ||
                                       packet.get_item(ray) != single.get_item(0) ||
                                       packet.get_hit_distance(ray) != single.get_hit_distance(0)
                                   ? 1
                                   : 0;
            }
        }
    }

    const unsigned single_calls = scene.call_count - packet_calls;
    std::printf("%u of %u rays meet a sphere\n", hit_count, picture_side * picture_side);
    std::printf("%u callbacks for packets of %u rays, %u for single rays\n", packet_calls,
                tile_side * tile_side, single_calls);
    std::printf("%u answers differ\n", wrong_count);
    return wrong_count == 0 && hit_count > 0 && packet_calls < single_calls ? 0 : 1;
}
