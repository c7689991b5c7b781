// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/mesh_shape.h>

#include <apps/gas/scene/shape_callbacks.h>

namespace gas_app {

MeshShape::MeshShape(std::string name, const TriangleMesh& mesh)
    : MeshShape(std::move(name), mesh, {mesh.vertices}) {}

MeshShape::MeshShape(std::string name, const TriangleMesh& mesh,
                     const std::vector<std::vector<Vec3>>& samples)
    : Shape(std::move(name)), m_count(static_cast<unsigned>(mesh.triangles.size())),
      m_sample_count(static_cast<unsigned>(samples.size())), m_colors(mesh.colors) {
    m_corners.reserve(samples.size() * m_count);
    m_normals.reserve(samples.size() * m_count);
    set_samples(mesh, samples);
    using Callbacks = ShapeCallbacks<MeshShape>;
    m_tree.set_callbacks(Callbacks::find_any_hit, Callbacks::find_nearest_hit, this);
}

void MeshShape::set_samples(const TriangleMesh& mesh,
                            const std::vector<std::vector<Vec3>>& samples) {
    forget_boxes();
    m_corners.clear();
    m_normals.clear();
    for (const std::vector<Vec3>& vertices : samples)
        add_sample(mesh, vertices);
}

void MeshShape::add_sample(const TriangleMesh& mesh, const std::vector<Vec3>& vertices) {
    for (const auto& [a, b, c] : mesh.triangles)
        m_corners.push_back({to_float(vertices[a]), to_float(vertices[b]), to_float(vertices[c])});
    const std::vector<Triple> normals = get_corner_normals(mesh, vertices);
    m_normals.insert(m_normals.end(), normals.begin(), normals.end());
}

Box MeshShape::get_item_box(unsigned item, unsigned sample) const {
    return to_triangle(at(m_corners, item, sample)).get_box();
}

Triangle MeshShape::to_triangle(const Triple& triple) {
    return {to_double(triple[0]), to_double(triple[1]), to_double(triple[2])};
}

Triangle MeshShape::get_corners(const std::vector<Triple>& triples, unsigned item,
                                const Moment& moment) const {
    if (m_sample_count < 2)
        return to_triangle(triples[item]);
    const Triple& before = at(triples, item, moment.sample);
    const Triple& after = at(triples, item, moment.sample + 1);
    const auto get = [&](unsigned corner) {
        return mix(to_double(before[corner]), to_double(after[corner]), moment.fraction);
    };
    return {get(0), get(1), get(2)};
}

ShapeSurface MeshShape::get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                                    const Vec3& direction) const {
    const Triangle corners = get_corners(m_corners, hit.item, moment);
    const Triangle normals = get_corners(m_normals, hit.item, moment);
    const double w = 1.0 - hit.u - hit.v;
    const Vec3 flat = normalized(cross(corners.b - corners.a, corners.c - corners.a));
    const Vec3 smooth = normalized(normals.a * w + normals.b * hit.u + normals.c * hit.v);
    const double side = dot(flat, direction) > 0.0 ? -1.0 : 1.0;

    // At grazing light a smooth surface would darken facet by facet. So rays to the light start on
    // the tangent planes of the corners, where those lie above the facet
    // (Hanika, Hacking the Shadow Terminator, Ray Tracing Gems II, 2021).
    const auto lift = [&](const Vec3& corner, const Vec3& normal) {
        const double height = dot(point - corner, normal) * side;
        return height < 0.0 ? normal * (-height * side) : Vec3{0.0, 0.0, 0.0};
    };
    const Vec3 lifted = lift(corners.a, normals.a) * w + lift(corners.b, normals.b) * hit.u +
                        lift(corners.c, normals.c) * hit.v;
    return {flat * side, smooth * (dot(smooth, flat) < 0.0 ? -side : side), point + lifted};
}

Vec3 MeshShape::get_item_color(unsigned item) const {
    return m_colors.empty() ? Vec3{1.0, 1.0, 1.0} : to_double(m_colors[item]);
}

void MeshShape::add_content(ContentHash& hash) const {
    hash.add(m_corners);
    hash.add(m_normals);
    hash.add(m_colors);
}

} // namespace gas_app
