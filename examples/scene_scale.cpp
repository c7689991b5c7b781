// SPDX-License-Identifier: Apache-2.0
/// A scene of any size: hills on a planet, in metres, seen from far above, through a compressed
/// tree. Boxes are padded for rays from that far away. Boxes and rays are multiplied by a power of
/// two that brings the planet into the tree's working range; hits come back in metres.

#include <algorithm>
#include <cstdio>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/object/gas_shader_frames.h>
#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_scene_scale.h>

#include "sphere.h"

namespace {

using Vector = GMathVec3<double>;
using Box = GMathBbox3<double>;

constexpr double planet_radius = 6.4e6;

struct Planet {
    std::vector<Sphere> hills;
    double scale = 1.0;
};

void hit_hill(void* user, const unsigned& item, const CtxEval&, CtxShader&,
              GeometryRaytraceCtx& ctx) {
    const Planet& planet = *static_cast<Planet*>(user);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        // The ray in metres, to the bit: powers of two lose nothing on either way.
        const GMathBasicRay& scaled = ctx.get_ray(ray).line;
        const GMathBasicRay line(gas_scale_vector(scaled.get_origin(), 1.0 / planet.scale),
                                 gas_scale_vector(scaled.get_direction(), 1.0 / planet.scale));
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        double distance;
        if (meets(planet.hills[item], line, ctx.get_tnear(ray), bound, distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}

} // namespace

int main() {
    Planet planet;
    constexpr unsigned hill_count = 5000;
    Box bounds = {{-planet_radius, -planet_radius, -planet_radius},
                  {planet_radius, planet_radius, planet_radius}};
    for (unsigned i = 0; i < hill_count; ++i) {
        // Along a spiral from pole to pole.
        const double height = 2.0 * (i + 0.5) / hill_count - 1.0;
        const double ring = planet_radius * std::sqrt(1.0 - height * height);
        const Vector center = {ring * std::cos(2.4 * i), ring * std::sin(2.4 * i),
                               planet_radius * height};
        planet.hills.push_back({{static_cast<float>(center.x), static_cast<float>(center.y),
                                 static_cast<float>(center.z)},
                                300.0f});
    }
    const Vector camera = {4.0e7, 1.0e7, 2.0e7};

    const double padding =
        gas_get_box_padding(std::max(gas_get_reach(bounds), gas_get_reach(camera)));
    planet.scale = gas_get_scene_scale(gas_pad_box(bounds, padding + 300.0));
    CoreArray<GMathBbox3<float>> boxes(hill_count);
    for (unsigned i = 0; i < hill_count; ++i)
        boxes[i] = gas_pad_box(get_bounds(planet.hills[i]), padding, planet.scale);
    GasCompressedTree tree;
    tree.create(boxes, nullptr, nullptr);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_hill, &planet);

    // From the camera past the rim of each hill, 299 metres from its centre.
    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    GeometryRayBatch batch(1);
    unsigned hit_count = 0;
    for (const Sphere& hill : planet.hills) {
        const Vector target = to_double(hill.center) + Vector{0.0, 0.0, 299.0};
        batch.set_ray(0, gas_scale_vector(camera, planet.scale),
                      gas_scale_vector(target - camera, planet.scale), 0.0, 1000.0);
        tree.ray_hit_nearest_static(eval, shader, batch.get_ctx());
        hit_count += batch.is_hit(0) ? 1 : 0;
    }

    std::printf("boxes are padded by %.1f metres and multiplied by %g\n", padding, planet.scale);
    std::printf("rays start from up to %.0f km away along each axis\n",
                1e-3 * gas_get_ray_reach(padding));
    std::printf("%u of %u hills found\n", hit_count, hill_count);
    return hit_count == hill_count ? 0 : 1;
}
