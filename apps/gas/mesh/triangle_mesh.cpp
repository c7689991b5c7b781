// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/triangle_mesh.h>

namespace gas_app {

namespace {

// A vertex with more triangles (the tip of a fan) gets no mean normal, because its time grows with
// the square of their number.
constexpr unsigned largest_fan = 256;

/// Lists the triangles around each vertex: those of vertex v are `triangles[first[v]]` up to, not
/// including, `triangles[first[v + 1]]`.
struct Neighbours {
    std::vector<unsigned> first;
    std::vector<unsigned> triangles;

    explicit Neighbours(const TriangleMesh& mesh) : first(mesh.vertices.size() + 1) {
        for (const auto& triangle : mesh.triangles)
            for (const unsigned vertex : triangle)
                ++first[vertex + 1];
        for (std::size_t vertex = 1; vertex < first.size(); ++vertex)
            first[vertex] += first[vertex - 1];

        triangles.resize(first.back());
        std::vector<unsigned> next(first.begin(), first.end() - 1);
        for (std::size_t index = 0; index < mesh.triangles.size(); ++index)
            for (const unsigned vertex : mesh.triangles[index])
                triangles[next[vertex]++] = static_cast<unsigned>(index);
    }
};

} // namespace

std::vector<std::array<Vec3f, 3>> get_corner_normals(const TriangleMesh& mesh,
                                                     const std::vector<Vec3>& vertices) {
    // As long as the triangles are large.
    std::vector<Vec3> face_normals;
    face_normals.reserve(mesh.triangles.size());
    for (const auto& [a, b, c] : mesh.triangles)
        face_normals.push_back(cross(vertices[b] - vertices[a], vertices[c] - vertices[a]));

    const Neighbours neighbours(mesh);
    std::vector<std::array<Vec3f, 3>> normals(mesh.triangles.size());
    for (std::size_t index = 0; index < mesh.triangles.size(); ++index) {
        const Vec3 own = normalized(face_normals[index]);
        for (unsigned corner = 0; corner < 3; ++corner) {
            const unsigned vertex = mesh.triangles[index][corner];
            const unsigned first = neighbours.first[vertex];
            const unsigned last = neighbours.first[vertex + 1];
            Vec3 sum{0.0, 0.0, 0.0};
            if (last - first <= largest_fan && mesh.crease_cosine < 1.0)
                for (unsigned entry = first; entry < last; ++entry) {
                    const Vec3& other = face_normals[neighbours.triangles[entry]];
                    if (dot(own, other) >= mesh.crease_cosine * length(other))
                        sum = sum + other;
                }
            normals[index][corner] = to_float(length(sum) > 0.0 ? normalized(sum) : own);
        }
    }
    return normals;
}

} // namespace gas_app
