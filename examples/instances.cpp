// SPDX-License-Identifier: Apache-2.0
/// Instances: one tree over a cluster of spheres (BLAS), many placements of that cluster, and a
/// tree over the placements (TLAS) whose leaf callback traces the cluster's tree.

#include <cstdio>
#include <vector>

#include <gas/object/gas_shader_frames.h>
#include <gas/tree/gas_tree.h>

#include "sphere.h"

namespace {

struct Cluster {
    std::vector<Sphere> spheres;
    GasTree tree;
};

struct Instance {
    GMathVec3<float> offset;
    float scale;
};

struct Scene {
    Cluster cluster;
    std::vector<Instance> instances;
};

/// What a renderer keeps of a hit for shading, beside its distance.
struct Hit {
    unsigned instance = 0;
    unsigned sphere = 0;
};

void hit_sphere(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                GeometryRaytraceCtx& ctx) {
    const Cluster& cluster = *static_cast<const Cluster*>(user);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        double distance;
        if (meets(cluster.spheres[item], ctx.get_ray(ray).line, ctx.get_tnear(ray), bound,
                  distance))
            ctx.record_nearest_hit(ray, distance, item);
    }
}

/// The line in the cluster's own space. The direction is scaled along with the origin and not
/// normalised, so distances mean the same in both spaces.
GMathBasicRay to_cluster(const Instance& instance, const GMathBasicRay& line) {
    const GMathVec3<double> offset = {static_cast<double>(instance.offset.x),
                                      static_cast<double>(instance.offset.y),
                                      static_cast<double>(instance.offset.z)};
    const double inverse_scale = 1.0 / static_cast<double>(instance.scale);
    return {(line.get_origin() - offset) * inverse_scale, line.get_direction() * inverse_scale};
}

/// A query inside a query: the inner one uses the next frame of the shader. The hits are the
/// query's own, so any number of threads may trace the scene.
void hit_instance(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                  GeometryRaytraceCtx& ctx) {
    const Scene& scene = *static_cast<const Scene*>(user);
    auto* const hits = static_cast<Hit*>(ctx.get_query_data());
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const GMathBasicRay line = to_cluster(scene.instances[item], ctx.get_ray(ray).line);
        // The hit that the outer ray has found so far bounds the inner one.
        const double bound = ctx.get_intersection_path(ray).get_hit_distance();
        GeometrySingleRay inner(line.get_origin(), line.get_direction(), ctx.get_tnear(ray), bound);
        scene.cluster.tree.ray_hit_nearest_static(eval, shader, inner.get_ctx(), false);
        if (inner.is_hit() && ctx.record_nearest_hit(ray, inner.get_hit_distance(), item))
            hits[ray] = {item, inner.get_item()};
    }
}

void make_cluster(Cluster& cluster) {
    CoreVector<GMathBbox3<float>> boxes;
    for (unsigned i = 0; i < 27; ++i) {
        const GMathVec3<float> center = {static_cast<float>(i % 3), static_cast<float>(i / 3 % 3),
                                         static_cast<float>(i / 9)};
        cluster.spheres.push_back({center, 0.3f + 0.005f * static_cast<float>(i)});
        boxes.add(get_box(cluster.spheres.back()));
    }
    cluster.tree.create(boxes, nullptr, nullptr, 1.0f);
    cluster.tree.set_leaf_raytrace_callbacks(nullptr, hit_sphere, &cluster);
}

GMathBbox3<float> get_instance_box(const Cluster& cluster, const Instance& instance) {
    const GMathBbox3<float> box = cluster.tree.get_bbox();
    // The inner margin does not cover the rounding of scale and offset.
    const float margin = 1e-3f * instance.scale;
    const GMathVec3<float> corner = {margin, margin, margin};
    return {box.min * instance.scale + instance.offset - corner,
            box.max * instance.scale + instance.offset + corner};
}

/// The nearest hit by trying every sphere of every instance; the far distance when there is none.
double find_nearest(const Scene& scene, const GMathBasicRay& line, double far_distance) {
    double nearest = far_distance;
    for (const Instance& instance : scene.instances) {
        const GMathBasicRay inner = to_cluster(instance, line);
        for (const Sphere& sphere : scene.cluster.spheres) {
            double distance;
            if (meets(sphere, inner, 0.0, nearest, distance))
                nearest = distance;
        }
    }
    return nearest;
}

} // namespace

int main() {
    Scene scene;
    make_cluster(scene.cluster);
    CoreVector<GMathBbox3<float>> boxes;
    for (unsigned i = 0; i < 400; ++i) {
        const float scale = 0.3f + 0.1f * static_cast<float>(i % 7);
        scene.instances.push_back(
            {{4.0f * static_cast<float>(i % 20), 4.0f * static_cast<float>(i / 20),
              static_cast<float>(i * 7 % 11)},
             scale});
        boxes.add(get_instance_box(scene.cluster, scene.instances.back()));
    }
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_instance, &scene);

    CtxEval eval;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    constexpr unsigned side = 32;
    constexpr double far_distance = 1000.0;
    GeometryRayBatch batch(side * side);
    std::vector<Hit> hits(batch.get_ray_count());
    batch.get_data().set_query_data(hits.data());
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
        batch.set_ray(ray, {2.5 * (ray % side), 2.5 * (ray / side), 40.0}, {0.05, 0.02, -1.0}, 0.0,
                      far_distance);
    tree.ray_hit_nearest_static(eval, shader, batch.get_ctx(), false);

    unsigned hit_count = 0;
    unsigned wrong_count = 0;
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        hit_count += batch.is_hit(ray) ? 1 : 0;
        const GMathBasicRay& line = batch.get_ctx().get_ray(ray).line;
        const double expected = find_nearest(scene, line, far_distance);
        wrong_count += batch.get_hit_distance(ray) != expected ? 1 : 0;
        if (!batch.is_hit(ray))
            continue;
        const Sphere& sphere = scene.cluster.spheres[hits[ray].sphere];
        const GMathBasicRay inner = to_cluster(scene.instances[hits[ray].instance], line);
        double distance = 0.0;
        wrong_count +=
            !meets(sphere, inner, 0.0, far_distance, distance) || distance != expected ? 1 : 0;
    }
    const std::size_t placed = scene.instances.size() * scene.cluster.spheres.size();
    std::printf("%zu spheres stand in %zu bytes of trees\n", placed,
                tree.get_memory_size() + scene.cluster.tree.get_memory_size());
    std::printf("%u of %u rays hit one\n", hit_count, batch.get_ray_count());
    std::printf("%u answers differ from trying all of them\n", wrong_count);
    return wrong_count == 0 && hit_count > 0 ? 0 : 1;
}
