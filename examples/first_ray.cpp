// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstdio>
#include <vector>

#include <gas/object/gas_object.h>
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
    for (int i = 0; i < 25; ++i) {
        const float x = 4.0f * static_cast<float>(i);
        spheres.push_back({4.0 * i, 0.0, 0.0});
        boxes.push_back({{x - 1.0f, -1.0f, -1.0f}, {x + 1.0f, 1.0f, 1.0f}});
    }
    GasTree tree;
    tree.create(boxes.data(), static_cast<unsigned>(boxes.size()), nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_sphere, &spheres);

    CtxEval eval;
    CtxShader shader; // one per thread
    GasObject::create_ctx(shader);

    GeometryRayBatch batch(1);
    batch.set_ray(0, {42.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, 0.0, 1000.0);
    tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);
    std::printf("sphere %u at distance %g\n", batch.get_item(0), batch.get_hit_distance(0));

    GasObject::destroy_ctx(shader);
    return batch.is_hit(0) && batch.get_item(0) == 11 && batch.get_hit_distance(0) == 1.0 ? 0 : 1;
}
