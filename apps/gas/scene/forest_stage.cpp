// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/procedural_mesh.h>
#include <apps/gas/scene/forest_shape.h>
#include <apps/gas/scene/mesh_shape.h>
#include <apps/gas/scene/stage.h>

namespace gas_app {

namespace {

/// The land, a little beyond the last trees.
TriangleMesh make_land(double radius) {
    constexpr double ring_width = 2.2;
    const double rings = std::clamp(radius / ring_width, 16.0, 160.0);
    constexpr unsigned sectors = 180;
    TriangleMesh land = make_disc(static_cast<unsigned>(rings), sectors);
    for (Vec3& vertex : land.vertices) {
        vertex = vertex * radius;
        vertex.y = get_land_height(vertex.x, vertex.z);
    }
    return land;
}

} // namespace

Stage make_forest_stage(const StageSettings& settings, unsigned item_count) {
    auto scene = std::make_unique<Scene>(settings.motion ? motion_sample_count : 1);
    auto shape = std::make_unique<ForestShape>("forest", item_count, scene->get_sample_count());
    ForestShape& moving = *shape;
    const Shape& forest = scene->add_shape(std::move(shape));
    scene->add_instance({&forest, {Transform()}, {{1.0, 1.0, 1.0}, 0.0, false}});
    constexpr double border = 30.0;
    const double radius = ForestShape::get_radius(item_count) + border;
    const Shape& land = scene->add_shape(std::make_unique<MeshShape>("land", make_land(radius)));
    scene->add_instance({&land, {Transform()}, {{0.17, 0.18, 0.07}, 0.0, false}});

    // From within the clearing across it: some trees are near, most far, and most of all behind.
    const Vec3 target{0.0, get_land_height(0.0, 0.0) + 7.0, 0.0};
    constexpr double distance = 8.0;
    constexpr double field_of_view = 0.56;
    const ViewPoint view = settings.has_view ? settings.view : ViewPoint{122.0, 3.0, 1.0};
    return {std::move(scene),
            Camera(view, target, distance, field_of_view, settings.width, settings.height),
            Sky(),
            3.0,
            0.3 * radius,
            1.6 * radius,
            [&moving](const ShutterTime& shutter) { moving.set_shutter(shutter); }};
}

} // namespace gas_app
