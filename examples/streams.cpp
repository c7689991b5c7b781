// SPDX-License-Identifier: Apache-2.0
/// Streams: incoherent rays, here from the spheres of a cloud in all directions, are traced as one
/// batch in any order. A callback finds its data of a ray through the ray's number.

#include <cstdio>
#include <vector>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

using Vector = GMathVec3<double>;

struct Scene {
    std::vector<Sphere> spheres;
    /// Per ray of the batch: the sphere that it leaves, which it must not hit.
    std::vector<unsigned> starts;
};

/// Calls for different rays are mixed, each for one ray, so nothing is kept between calls.
void find_nearest(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                  GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    const auto ray = static_cast<unsigned>(ctx.get_first_ray());
    const double bound = ctx.get_intersection_path(ray).get_hit_distance();
    double distance;
    if (item != scene.starts[ray] &&
        meets(scene.spheres[item], ctx.get_ray(ray).line, ctx.get_tnear(ray), bound, distance))
        ctx.record_nearest_hit(ray, distance, item);
}

void find_any(void* user, const unsigned& item, const CtxEval&, CtxShader&,
              GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    const auto ray = static_cast<unsigned>(ctx.get_first_ray());
    double distance;
    if (item != scene.starts[ray] && meets(scene.spheres[item], ctx.get_ray(ray).line,
                                           ctx.get_tnear(ray), ctx.get_tfar(ray), distance))
        ctx.set_hit(ray); // this ray is done
}

/// Numbers in [-1, 1) that are the same everywhere.
class Random {
  public:
    double next() {
        m_state = m_state * 6364136223846793005u + 1442695040888963407u;
        return static_cast<double>(m_state >> 40) / (1u << 23) - 1.0;
    }

  private:
    unsigned long long m_state = 1;
};

/// Spheres in a cube, and a tree with wide nodes over them.
void build(Scene& scene, GasTree& tree) {
    Random random;
    CoreVector<GMathBbox3<float>> boxes;
    for (unsigned i = 0; i < 20000; ++i) {
        const auto x = static_cast<float>(40.0 * random.next());
        const auto y = static_cast<float>(40.0 * random.next());
        const auto z = static_cast<float>(40.0 * random.next());
        scene.spheres.push_back({{x, y, z}, 0.5f});
        boxes.add(get_box(scene.spheres.back()));
    }
    tree.set_wide_nodes(true);
    tree.create(boxes, nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(find_any, find_nearest, &scene);
}

/// From the centres of spheres in all directions.
void aim(GeometryRayBatch& batch, Scene& scene) {
    Random random;
    scene.starts.resize(batch.get_ray_count());
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        const unsigned start = ray * 37 % static_cast<unsigned>(scene.spheres.size());
        const GMathVec3<float>& center = scene.spheres[start].center;
        const Vector origin = {static_cast<double>(center.x), static_cast<double>(center.y),
                               static_cast<double>(center.z)};
        const Vector direction = {random.next(), random.next(), random.next()};
        batch.set_ray(ray, origin, direction, 0.0, 30.0);
        scene.starts[ray] = start;
    }
}

} // namespace

int main() {
    Scene scene;
    GasTree tree;
    build(scene, tree);

    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);

    // The nearest sphere, and whether there is any at all; each as one stream.
    constexpr unsigned ray_count = 512;
    GeometryRayBatch nearest(ray_count);
    GeometryRayBatch any(ray_count);
    aim(nearest, scene);
    aim(any, scene);
    tree.ray_stream_nearest_static(eval, shader, nearest.get_ctx(), false);
    tree.ray_stream_static(eval, shader, any.get_ctx(), false);

    // The same rays one by one.
    GeometryRayBatch single(ray_count);
    aim(single, scene);
    unsigned hit_count = 0;
    unsigned wrong_count = 0;
    for (unsigned ray = 0; ray < ray_count; ++ray) {
        single.get_data().set_range(static_cast<int>(ray), static_cast<int>(ray));
        tree.ray_hit_nearest_static(eval, shader, single.get_ctx(), false);
        hit_count += single.is_hit(ray) ? 1 : 0;
        const bool is_same = nearest.is_hit(ray) == single.is_hit(ray) &&
                             nearest.get_item(ray) == single.get_item(ray) &&
                             nearest.get_hit_distance(ray) == single.get_hit_distance(ray) &&
                             any.is_hit(ray) == single.is_hit(ray);
        wrong_count += is_same ? 0 : 1;
    }

    std::printf("%u of %u rays meet a sphere\n", hit_count, ray_count);
    std::printf("%u answers differ between streams and single rays\n", wrong_count);
    std::printf("%s wide nodes\n", tree.has_wide_nodes() ? "with" : "without");
    return wrong_count == 0 && hit_count > 0 && hit_count < ray_count && tree.has_wide_nodes() ? 0
                                                                                               : 1;
}
