// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <vector>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// Triangles over shared vertices; y is up.
struct TriangleMesh {
    using Triangle = std::array<unsigned, 3>;

    std::vector<Vec3> vertices;
    std::vector<Triangle> triangles;
    /// A colour per triangle; when empty, the instance's material gives the colour.
    std::vector<Vec3f> colors;
    /// Triangles that meet at a smaller angle (its cosine is larger) are shaded as one surface; 1.0
    /// and more: flat.
    double crease_cosine = 0.6;

    unsigned add_vertex(const Vec3& vertex) {
        vertices.push_back(vertex);
        return static_cast<unsigned>(vertices.size() - 1);
    }
    void add_triangle(unsigned a, unsigned b, unsigned c) { triangles.push_back({a, b, c}); }
    void add_quad(unsigned a, unsigned b, unsigned c, unsigned d) {
        add_triangle(a, b, c);
        add_triangle(a, c, d);
    }

    Box get_box() const {
        Box box = empty_box();
        for (const Vec3& vertex : vertices)
            grow(box, vertex);
        return box;
    }
    Box get_box(const Triangle& triangle) const {
        Box box = empty_box();
        for (const unsigned vertex : triangle)
            grow(box, vertices[vertex]);
        return box;
    }
};

/// Shading normals, one per triangle corner: the mean over the triangles around the vertex that lie
/// within the mesh's crease angle, weighted by area. `vertices` stands in for the mesh's own.
std::vector<std::array<Vec3f, 3>> get_corner_normals(const TriangleMesh& mesh,
                                                     const std::vector<Vec3>& vertices);

} // namespace gas_app
