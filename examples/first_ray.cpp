// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstdio>
#include <vector>

#include <gas/object/gas_shader_frames.h>
#include <gas/scene/gas_box_padding.h>
#include <gas/tree/gas_tree.h>

// The renderer's side: here the items are unit spheres, of which we keep the centres.
using Spheres = std::vector<GMathVec3<double>>;

double dot(const GMathVec3<double>& a, const GMathVec3<double>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Called for each item that the rays first..last of the batch may hit.
void hit_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                GeometryRaytraceCtx& ctx) {
    const GMathVec3<double>& center = (*static_cast<Spheres*>(user))[item];
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const GMathVec3<double>& origin = ctx.get_ray(ray).line.get_origin();
        const GMathVec3<double>& direction = ctx.get_ray(ray).line.get_direction();
        const GMathVec3<double> from = origin - center;
        const double b = dot(from, direction);
        const double discriminant = b * b - (dot(from, from) - 1.0);
        const double distance = -b - std::sqrt(discriminant); // NaN: missed
        if (distance >= ctx.get_tnear(ray))
            ctx.record_nearest_hit(ray, distance, item); // if it is the nearest so far
    }
}

int main() {
    Spheres spheres;
    std::vector<GMathBbox3<float>> boxes;
    // Boxes so large that rays that start at coordinates of up to 1000 lose no hit to rounding.
    const double padding = gas_get_box_padding(1000.0);
    for (int i = 0; i < 25; ++i) {
        const double x = 4.0 * i;
        const GMathBbox3<double> box = {{x - 1.0, -1.0, -1.0}, {x + 1.0, 1.0, 1.0}};
        spheres.push_back({x, 0.0, 0.0});
        boxes.push_back(gas_pad_box(box, padding));
    }
    GasTree tree;
    tree.create(boxes.data(), static_cast<unsigned>(boxes.size()), nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_sphere, &spheres);

    CtxEval eval;
    CtxShader shader; // one per thread
    const GasShaderFrames frames(shader);

    GeometrySingleRay ray({42.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    tree.ray_hit_nearest_static(eval, shader, ray.get_ctx(), false);
    std::printf("sphere %u at distance %g\n", ray.get_item(), ray.get_hit_distance());

    return ray.is_hit() && ray.get_item() == 11 && ray.get_hit_distance() == 1.0 ? 0 : 1;
}
