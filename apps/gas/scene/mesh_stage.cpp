// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_file.h>
#include <apps/gas/mesh/procedural_mesh.h>
#include <apps/gas/mesh/up_axis.h>
#include <apps/gas/scene/mesh_shape.h>
#include <apps/gas/scene/stage.h>

namespace gas_app {

namespace {

/// Turns the axis that points up onto y.
Transform get_upright(unsigned up_axis) {
    if (up_axis == 0)
        return rotate({0.0, 0.0, 1.0}, 0.5 * pi);
    return up_axis == 2 ? rotate({1.0, 0.0, 0.0}, -0.5 * pi) : Transform();
}

/// Moves the mesh over the origin, its lowest point at height 0 and its longest side 2 long.
void normalize(TriangleMesh& mesh, unsigned up_axis, const std::string& path) {
    const Transform upright = get_upright(up_axis);
    for (Vec3& vertex : mesh.vertices)
        vertex = upright.apply_to_point(vertex);
    const Box box = mesh.get_box();
    const Vec3 size = box.max - box.min;
    const double longest = std::max({size.x, size.y, size.z});
    if (!(longest > 0.0))
        throw UserError(path + ": all its faces lie in one point");
    const Vec3 center = get_center(box);
    const Vec3 foot{center.x, box.min.y, center.z};
    for (Vec3& vertex : mesh.vertices)
        vertex = (vertex - foot) * (2.0 / longest);
}

/// The mesh turned and shifted to its place at `time` (0..1).
std::vector<Vec3> move(const std::vector<Vec3>& vertices, double time) {
    const Transform motion =
        translate({0.10 * time, 0.0, 0.0}) * rotate({0.0, 1.0, 0.0}, 0.20 * time);
    std::vector<Vec3> moved;
    moved.reserve(vertices.size());
    for (const Vec3& vertex : vertices)
        moved.push_back(motion.apply_to_point(vertex));
    return moved;
}

void print_hint(const TriangleMesh& mesh, unsigned up_axis, const std::string& path) {
    if (const std::optional<unsigned> other = find_other_up_axis(mesh, up_axis))
        std::fprintf(stderr, "gas: %s: its %c axis may point up; if so, add --up %c\n",
                     path.c_str(), "xyz"[*other], "xyz"[*other]);
}

} // namespace

Stage make_mesh_stage(const StageSettings& settings, const std::string& path) {
    TriangleMesh mesh = load_mesh_file(path);
    if (settings.hints_at_up_axis)
        print_hint(mesh, settings.up_axis, path);
    normalize(mesh, settings.up_axis, path);

    const unsigned sample_count = settings.motion ? motion_sample_count : 1;
    std::vector<std::vector<Vec3>> samples;
    for (unsigned sample = 0; sample < sample_count; ++sample)
        samples.push_back(
            move(mesh.vertices, static_cast<double>(sample) / std::max(1u, sample_count - 1)));
    std::vector<Vec3> framed = samples.front();
    if (settings.motion)
        framed.insert(framed.end(), samples.back().begin(), samples.back().end());

    auto scene = std::make_unique<Scene>(sample_count);
    const Shape& shape = scene->add_shape(std::make_unique<MeshShape>("mesh", mesh, samples));
    scene->add_instance({&shape, {Transform()}, {{0.58, 0.36, 0.22}, 0.0, false}});
    // A little lower than the mesh: coplanar faces would shadow each other.
    const Shape& floor = scene->add_shape(std::make_unique<MeshShape>("floor", make_disc(5, 40)));
    scene->add_instance(
        {&floor, {translate({0.0, -1e-3, 0.0}) * scale(24.0)}, {{0.36, 0.35, 0.34}, 0.0, false}});

    constexpr double field_of_view = 0.56;
    const ViewPoint view = settings.has_view ? settings.view : ViewPoint{28.0, 18.0, 1.0};
    return {std::move(scene),
            Camera::frame(view, framed, field_of_view, settings.width, settings.height),
            Sky(),
            1.2,
            9.0,
            24.0};
}

} // namespace gas_app
