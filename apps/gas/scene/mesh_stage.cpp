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

/// How far a vertex of an animated mesh sways, per height.
constexpr double sway_per_height = 0.12;

/// The mesh where it is at `time`: turned and shifted (0..1), or what it does in an animation.
std::vector<Vec3> move(const std::vector<Vec3>& vertices, std::optional<MeshMotion> animation,
                       double time) {
    constexpr Vec3 up{0.0, 1.0, 0.0};
    const Transform motion = !animation
                                 ? translate({0.10 * time, 0.0, 0.0}) * rotate(up, 0.20 * time)
                                 : rotate(up, 2.0 * pi / 30.0 * time);
    std::vector<Vec3> moved;
    moved.reserve(vertices.size());
    for (const Vec3& vertex : vertices) {
        if (animation == MeshMotion::wave) {
            const double phase = 2.4 * vertex.y - 2.0 * pi / 12.0 * time;
            const double sway = sway_per_height * vertex.y;
            moved.push_back(vertex + Vec3{sway * std::sin(phase), 0.0, sway * std::cos(phase)});
        } else {
            moved.push_back(motion.apply_to_point(vertex));
        }
    }
    return moved;
}

std::vector<std::vector<Vec3>> get_samples(const TriangleMesh& mesh, const StageSettings& settings,
                                           const ShutterTime& shutter) {
    const unsigned sample_count = settings.motion ? motion_sample_count : 1;
    std::vector<std::vector<Vec3>> samples;
    for (unsigned sample = 0; sample < sample_count; ++sample)
        samples.push_back(
            move(mesh.vertices, settings.animation, shutter.get(sample, sample_count)));
    return samples;
}

/// Points around which the camera stands: all frames of an animation see the same.
std::vector<Vec3> get_framed_points(const TriangleMesh& mesh, const StageSettings& settings,
                                    const std::vector<std::vector<Vec3>>& samples) {
    std::vector<Vec3> points = samples.front();
    if (settings.motion && !settings.animation)
        points.insert(points.end(), samples.back().begin(), samples.back().end());
    if (!settings.animation)
        return points;
    double radius = 0.0;
    for (const Vec3& vertex : mesh.vertices)
        radius = std::max(radius, length({vertex.x, 0.0, vertex.z}) + sway_per_height * vertex.y);
    const Box box = mesh.get_box();
    points.clear();
    constexpr unsigned corners = 16;
    for (unsigned corner = 0; corner < corners; ++corner) {
        const double angle = 2.0 * pi * corner / corners;
        for (const double y : {box.min.y, box.max.y})
            points.push_back({radius * std::sin(angle), y, radius * std::cos(angle)});
    }
    return points;
}

void print_hint(const TriangleMesh& mesh, unsigned up_axis, const std::string& path) {
    if (const std::optional<unsigned> other = find_other_up_axis(mesh, up_axis))
        std::fprintf(stderr, "gas: %s: its %c axis may point up; if so, add --up %c\n",
                     path.c_str(), "xyz"[*other], "xyz"[*other]);
}

} // namespace

Stage make_mesh_stage(const StageSettings& settings, const std::string& path) {
    TriangleMesh mesh = load_mesh_file(path, settings.progress_bar);
    if (settings.hints_at_up_axis)
        print_hint(mesh, settings.up_axis, path);
    normalize(mesh, settings.up_axis, path);

    const std::vector<std::vector<Vec3>> samples = get_samples(mesh, settings, ShutterTime());
    const std::vector<Vec3> framed = get_framed_points(mesh, settings, samples);

    auto scene = std::make_unique<Scene>(static_cast<unsigned>(samples.size()));
    auto mesh_shape = std::make_unique<MeshShape>("mesh", mesh, samples);
    MeshShape& moving = *mesh_shape;
    const Shape& shape = scene->add_shape(std::move(mesh_shape));
    scene->add_instance({&shape, {Transform()}, {{0.58, 0.36, 0.22}, 0.0, false}});
    // A little lower than the mesh: coplanar faces would shadow each other.
    const Shape& floor = scene->add_shape(std::make_unique<MeshShape>("floor", make_disc(5, 40)));
    scene->add_instance(
        {&floor, {translate({0.0, -1e-3, 0.0}) * scale(24.0)}, {{0.36, 0.35, 0.34}, 0.0, false}});

    std::function<void(const ShutterTime&)> set_shutter;
    // The mesh is kept for animations alone.
    if (settings.animation)
        set_shutter = [&moving, mesh = std::move(mesh), settings](const ShutterTime& shutter) {
            moving.set_samples(mesh, get_samples(mesh, settings, shutter));
        };
    constexpr double field_of_view = 0.56;
    const ViewPoint view = settings.has_view ? settings.view : ViewPoint{28.0, 18.0, 1.0};
    return {std::move(scene),
            Camera::frame(view, framed, field_of_view, settings.width, settings.height),
            Sky(),
            1.2,
            9.0,
            24.0,
            set_shutter};
}

} // namespace gas_app
