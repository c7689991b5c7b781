// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <cstdio>
#include <vector>

#include <gas/object/gas_shader_frames.h>
#include <gas/scene/gas_box_padding.h>
#include <gas/tree/gas_tree.h>

// Gas over the renderer's own types (host/my): each of them goes by its own name here, and is the
// very type that the trees take.

using Spheres = std::vector<my::Vec<double>>; // centres; each radius is 1

static double dot(const my::Vec<double>& a, const my::Vec<double>& b) {
    return a.x * b.x + a.y * b.y + a.z * b.z;
}

// Called for each sphere that the rays of the view may hit.
static void hit_sphere(void* user, const unsigned& item, const my::Picture&, my::ThreadState&,
                       my::ViewCtx& ctx) {
    const my::Vec<double>& center = (*static_cast<Spheres*>(user))[item];
    my::Rays& rays = *ctx.view->rays;
    for (int i = ctx.view->first; i <= ctx.view->last; ++i) {
        const auto ray = static_cast<unsigned>(i);
        const my::Line& line = rays.lines[ray];
        const my::Vec<double> from = line.origin - center;
        const double b = dot(from, line.direction);
        const double distance = -b - std::sqrt(b * b - (dot(from, from) - 1.0)); // NaN: missed
        my::Hit& hit = ctx.get_intersection_path(ray);
        if (distance >= ctx.get_tnear(ray) && distance < hit.distance) {
            hit = {distance, item};
            rays.is_hit[ray] = 1;
        }
    }
}

int main() {
    Spheres spheres;
    std::vector<my::Box<float>> boxes;
    const double padding = gas_get_box_padding(1000.0);
    for (int i = 0; i < 200; ++i) {
        const my::Vec<double> center = {4.0 * i, 0.0, 0.0};
        const my::Vec<double> radius = {1.0, 1.0, 1.0};
        spheres.push_back(center);
        boxes.push_back(gas_pad_box(my::Box<double>{center - radius, center + radius}, padding));
    }
    const auto count = static_cast<unsigned>(boxes.size());

    // A bar may throw: then the tree stays empty, and can be built again.
    my::App app;
    my::Bar* const bar = app.create_progress_bar("spheres", true);
    GasTree tree;
    bar->cancelled_at = 0.5f;
    bool is_cancelled = false;
    try {
        tree.create(boxes.data(), count, nullptr, bar, 1.0f);
    } catch (const my::Cancelled&) {
        is_cancelled = tree.is_empty();
    }
    std::printf("cancelled at %d%%\n", static_cast<int>(bar->value * 100.0f + 0.5f));

    tree.set_wide_nodes(true);
    tree.create(boxes.data(), count, nullptr, nullptr, 1.0f);
    tree.set_leaf_raytrace_callbacks(nullptr, hit_sphere, &spheres);
    tree.print();

    my::Rays rays;
    for (int i = 0; i < 3; ++i)
        rays.add(my::Line({42.0 - 10.0 * i, 0.0, 0.0}, {1.0, 0.0, 0.0}), 0.0f, 0.0, 1000.0);
    rays.hits.init(rays.get_count(), rays.far_distances.data());
    my::View view(rays);

    my::ThreadState state;
    const GasShaderFrames frames(state);
    tree.ray_hit_nearest_static(my::Picture(), state, view.ctx, false);
    for (unsigned ray = 0; ray < rays.get_count(); ++ray)
        std::printf("ray %u: sphere %u at distance %g\n", ray, rays.hits.items[ray].item,
                    rays.hits.items[ray].distance);

    const unsigned expected[] = {11, 9, 6};
    bool is_right = is_cancelled;
    for (unsigned ray = 0; ray < 3; ++ray)
        is_right = is_right && rays.is_hit[ray] && rays.hits.items[ray].item == expected[ray];
    return is_right ? 0 : 1;
}
