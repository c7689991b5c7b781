// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/polygon.h>

#include <algorithm>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

/// Cuts the polygon over all vertices; the triangles all turn as it does, and cover `area`.
void expect_cut(const std::vector<Vec3>& outline, double area) {
    TriangleMesh mesh;
    std::vector<unsigned> corners;
    for (const Vec3& vertex : outline)
        corners.push_back(mesh.add_vertex(vertex));
    add_polygon(mesh, corners.data(), static_cast<unsigned>(corners.size()));
    EXPECT_EQ(mesh.triangles.size(), outline.size() - 2);
    double sum = 0.0;
    for (const auto& [a, b, c] : mesh.triangles) {
        const Vec3 normal = cross(outline[b] - outline[a], outline[c] - outline[a]);
        EXPECT_GE(normal.z, 0.0);
        sum += 0.5 * length(normal);
    }
    EXPECT_NEAR(sum, area, 1e-9 * area);
}

/// A polygon with a tooth for each step around.
std::vector<Vec3> make_star(unsigned points, double& area) {
    std::vector<Vec3> outline;
    for (unsigned point = 0; point < 2 * points; ++point) {
        const double radius = point % 2 == 0 ? 1.0 : 0.3;
        const double angle = pi * point / points;
        outline.push_back({radius * std::cos(angle), radius * std::sin(angle), 0.0});
    }
    area = points * 0.3 * std::sin(pi / points);
    return outline;
}

TEST(Polygon, IsCutInsideItsOutline) {
    expect_cut({{0, 0, 0}, {2, 0, 0}, {0, 1, 0}}, 1.0);
    expect_cut({{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}}, 2.0);
    const std::vector<Vec3> arrow = {{0, 0, 0}, {2, -2, 0}, {1, 0, 0}, {2, 2, 0}};
    for (unsigned first = 0; first < 4; ++first) {
        std::vector<Vec3> turned = arrow;
        std::rotate(turned.begin(), turned.begin() + first, turned.end());
        expect_cut(turned, 2.0);
    }
    for (const unsigned points : {3u, 5u, 40u, 256u}) {
        double area = 0.0;
        const std::vector<Vec3> star = make_star(points, area);
        expect_cut(star, area);
    }
}

TEST(Polygon, MayBeFlatOrCrossItself) {
    expect_cut({{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {2, 1, 0}}, 1.0);
    TriangleMesh mesh;
    const unsigned corners[] = {0, 0, 1, 1, 2};
    mesh.vertices = {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}};
    add_polygon(mesh, corners, 5);
    EXPECT_EQ(mesh.triangles.size(), 3u);
}

TEST(Polygon, OfVeryManyCornersIsAFan) {
    std::vector<Vec3> outline;
    for (unsigned point = 0; point < 100'000; ++point) {
        const double angle = 2.0 * pi * point / 100'000;
        outline.push_back({std::cos(angle), std::sin(angle), 0.0});
    }
    expect_cut(outline, 50'000 * std::sin(2.0 * pi / 100'000));
}

} // namespace
