// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/triangle_mesh.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

/// Two triangles that meet in an edge at `angle` (0: in one plane).
TriangleMesh make_fold(double angle) {
    TriangleMesh mesh;
    mesh.add_vertex({0.0, 0.0, 0.0});
    mesh.add_vertex({0.0, 1.0, 0.0});
    mesh.add_vertex({-1.0, 0.0, 0.0});
    mesh.add_vertex({std::cos(angle), 0.0, -std::sin(angle)});
    mesh.add_triangle(0, 1, 2);
    mesh.add_triangle(0, 3, 1);
    return mesh;
}

TEST(TriangleMesh, SmoothsGentleFolds) {
    const TriangleMesh mesh = make_fold(0.4);
    const auto normals = get_corner_normals(mesh, mesh.vertices);
    EXPECT_EQ(normals[0][0], normals[1][0]) << "at a common corner";
    EXPECT_NEAR(static_cast<double>(normals[0][0].x), std::sin(0.2), 1e-6);
    EXPECT_EQ(normals[0][2], (Vec3f{0.0f, 0.0f, 1.0f})) << "at its own corner";
}

TEST(TriangleMesh, KeepsSharpFolds) {
    const TriangleMesh mesh = make_fold(1.5);
    const auto normals = get_corner_normals(mesh, mesh.vertices);
    EXPECT_EQ(normals[0][0], (Vec3f{0.0f, 0.0f, 1.0f}));
    EXPECT_NEAR(static_cast<double>(normals[1][0].x), std::sin(1.5), 1e-6);
}

TEST(TriangleMesh, IsFlatWhereItIsMeantToBe) {
    TriangleMesh mesh = make_fold(0.1);
    mesh.crease_cosine = 2.0;
    const auto normals = get_corner_normals(mesh, mesh.vertices);
    EXPECT_EQ(normals[0][0], (Vec3f{0.0f, 0.0f, 1.0f}));
}

TEST(TriangleMesh, GivesTrianglesWithoutAreaSomeNormal) {
    TriangleMesh mesh;
    mesh.add_vertex({1.0, 2.0, 3.0});
    mesh.add_triangle(0, 0, 0);
    const auto normals = get_corner_normals(mesh, mesh.vertices);
    EXPECT_NEAR(length(to_double(normals[0][1])), 1.0, 1e-6);
}

TEST(TriangleMesh, ManagesLargeFans) {
    TriangleMesh mesh;
    mesh.add_vertex({0.0, 1.0, 0.0});
    constexpr unsigned sides = 20000;
    for (unsigned side = 0; side < sides; ++side) {
        const double angle = 2.0 * pi * side / sides;
        mesh.add_vertex({std::cos(angle), 0.0, std::sin(angle)});
    }
    for (unsigned side = 0; side < sides; ++side)
        mesh.add_triangle(0, 1 + side, 1 + (side + 1) % sides);
    EXPECT_EQ(get_corner_normals(mesh, mesh.vertices).size(), sides);
}

} // namespace
