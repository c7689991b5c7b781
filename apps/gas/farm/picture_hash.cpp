// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/farm/picture_hash.h>

#include <algorithm>

#include <apps/gas/math/content_hash.h>
#include <apps/gas/math/sample_hash.h>

namespace gas_app {

namespace {

void add(ContentHash& hash, const Scene& scene) {
    const auto& shapes = scene.get_shapes();
    hash.add(scene.get_sample_count());
    for (const auto& shape : shapes) {
        hash.add(shape->get_name());
        shape->add_content(hash);
    }
    for (const Instance& instance : scene.get_instances()) {
        const auto shape = std::find_if(shapes.begin(), shapes.end(), [&](const auto& other) {
            return other.get() == instance.shape;
        });
        hash.add(static_cast<std::uint64_t>(shape - shapes.begin()));
        hash.add(instance.placements);
        hash.add(instance.material.color);
        hash.add(instance.material.mirror);
        hash.add(instance.material.metal);
    }
}

} // namespace

std::uint64_t hash_stage(const Stage& stage) {
    ContentHash hash;
    add(hash, *stage.scene);
    hash.add(stage.camera.get_position());
    // Three points fix the plane of the picture.
    for (const double x : {0.0, 1.0})
        hash.add(stage.camera.get_direction(x, 0.0));
    hash.add(stage.camera.get_direction(0.0, 1.0));
    hash.add(stage.sky);
    hash.add(stage.ambient_distance);
    hash.add(stage.haze_start);
    hash.add(stage.haze_end);
    return hash.get();
}

std::uint64_t hash_settings(const RenderSettings& settings, const TreeSettings& trees,
                            unsigned build_method) {
    ContentHash hash;
    for (const unsigned number :
         {settings.width, settings.height, settings.samples, settings.ambient_rays})
        hash.add(number);
    hash.add(settings.seed);
    hash.add(settings.counts_walks);
    if (settings.counts_walks) {
        hash.add(settings.packet_size);
        hash.add(settings.camera_walk);
        hash.add(trees.kind);
        hash.add(trees.has_wide_nodes);
        hash.add(trees.cell_count);
        hash.add(trees.has_cell_bars);
        hash.add(build_method);
        if (trees.is_animated)
            hash.add(trees.refit_limit);
    }
    return hash.get();
}

std::uint64_t hash_functions() {
    constexpr unsigned argument_count = 4096;
    ContentHash hash;
    for (unsigned index = 0; index < argument_count; ++index) {
        const double unit = hash_unit(18, index);
        const double angle = 2.0 * pi * unit;
        for (const double value : {std::sin(angle), std::cos(angle), std::pow(unit, 1.0 / 2.4),
                                   std::pow(unit, 5.0), std::log2(unit + 0.5), std::tan(unit)})
            hash.add(value);
    }
    return hash.get();
}

} // namespace gas_app
