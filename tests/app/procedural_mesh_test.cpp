// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/procedural_mesh.h>

#include <map>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

/// Edges that do not have exactly one triangle on either side, running opposite ways.
unsigned count_open_edges(const TriangleMesh& mesh) {
    std::map<std::pair<unsigned, unsigned>, int> edges;
    for (const auto& triangle : mesh.triangles)
        for (unsigned corner = 0; corner < 3; ++corner)
            ++edges[{triangle[corner], triangle[(corner + 1) % 3]}];
    unsigned open = 0;
    for (const auto& [edge, count] : edges) {
        const auto other = edges.find({edge.second, edge.first});
        if (count != 1 || other == edges.end() || other->second != 1)
            ++open;
    }
    return open;
}

void expect_sound(const TriangleMesh& mesh) {
    for (const auto& triangle : mesh.triangles)
        for (const unsigned vertex : triangle)
            ASSERT_LT(vertex, mesh.vertices.size());
    for (const Vec3& vertex : mesh.vertices)
        ASSERT_TRUE(std::isfinite(vertex.x + vertex.y + vertex.z));
    EXPECT_TRUE(mesh.colors.empty() || mesh.colors.size() == mesh.triangles.size());
}

TEST(ProceduralMesh, ClosesBallsRocksAndKnots) {
    const TriangleMesh ball = make_ball(3);
    EXPECT_EQ(ball.triangles.size(), 20u * 64u);
    for (const Vec3& vertex : ball.vertices)
        EXPECT_NEAR(length(vertex), 1.0, 1e-12);
    for (const TriangleMesh& mesh : {make_torus_knot(2, 3, 0.17, 48, 8), make_gear(12, 0.3)}) {
        expect_sound(mesh);
        EXPECT_EQ(count_open_edges(mesh), 0u);
    }
    // The triangles of a ball face either way.
    for (const TriangleMesh& mesh : {make_ball(0), ball, make_rock(3, 7)}) {
        expect_sound(mesh);
        std::map<std::pair<unsigned, unsigned>, int> edges;
        for (const auto& triangle : mesh.triangles)
            for (unsigned corner = 0; corner < 3; ++corner) {
                const unsigned from = triangle[corner];
                const unsigned to = triangle[(corner + 1) % 3];
                ++edges[{std::min(from, to), std::max(from, to)}];
            }
        for (const auto& [edge, count] : edges)
            EXPECT_EQ(count, 2);
    }
}

TEST(ProceduralMesh, LeavesOnlyTheFootOfAColumnOpen) {
    const TriangleMesh column = make_column(6, 0.1);
    expect_sound(column);
    EXPECT_EQ(column.triangles.size(), 6u * 5u);
    EXPECT_EQ(count_open_edges(column), 6u);
}

TEST(ProceduralMesh, MakesSoundDiscsAndConifers) {
    const TriangleMesh disc = make_disc(3, 12);
    expect_sound(disc);
    EXPECT_EQ(disc.triangles.size(), 12u + 2u * 24u);
    const TriangleMesh conifer = make_conifer(9, 7, 4);
    expect_sound(conifer);
    EXPECT_FALSE(conifer.colors.empty());
    EXPECT_LE(conifer.get_box().max.y, 1.1);
}

TEST(ProceduralMesh, AppendsParts) {
    TriangleMesh mesh = make_ball(0);
    append(mesh, make_column(5, 0.1));
    expect_sound(mesh);
    EXPECT_EQ(mesh.triangles.size(), 20u + 25u);
}

} // namespace
