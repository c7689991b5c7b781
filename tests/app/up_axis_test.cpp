// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/up_axis.h>

#include <gtest/gtest.h>

#include <apps/gas/mesh/procedural_mesh.h>

namespace {

using namespace gas_app;

/// A cone over a round foot that stands along `axis`.
TriangleMesh make_cone(unsigned axis, bool has_foot = true) {
    TriangleMesh mesh;
    const auto add = [&](double across, double height, double along) {
        Vec3 vertex{0.0, 0.0, 0.0};
        vertex[axis] = height;
        vertex[(axis + 1) % 3] = across;
        vertex[(axis + 2) % 3] = along;
        return mesh.add_vertex(vertex);
    };
    constexpr unsigned sides = 24;
    const unsigned tip = add(0.0, 3.0, 0.0);
    const unsigned center = add(0.0, 0.0, 0.0);
    for (unsigned side = 0; side < sides; ++side) {
        const double angle = 2.0 * pi * side / sides;
        add(std::cos(angle), 0.0, std::sin(angle));
    }
    for (unsigned side = 0; side < sides; ++side) {
        const unsigned here = center + 1 + side;
        const unsigned next = center + 1 + (side + 1) % sides;
        mesh.add_triangle(here, next, tip);
        if (has_foot)
            mesh.add_triangle(next, here, center);
    }
    return mesh;
}

TEST(UpAxis, IsFoundByAFlatFoot) {
    for (unsigned axis = 0; axis < 3; ++axis)
        for (unsigned chosen = 0; chosen < 3; ++chosen) {
            const std::optional<unsigned> other = find_other_up_axis(make_cone(axis), chosen);
            EXPECT_EQ(other.has_value(), axis != chosen);
            EXPECT_EQ(other.value_or(axis), axis);
        }
}

TEST(UpAxis, IsNotGuessedWithoutAFoot) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        EXPECT_EQ(find_other_up_axis(make_cone(axis, false), 1), std::nullopt);
        EXPECT_EQ(find_other_up_axis(make_ball(3), axis), std::nullopt);
        // As flat above as below.
        EXPECT_EQ(find_other_up_axis(make_gear(12, 0.3), axis), std::nullopt);
        EXPECT_EQ(find_other_up_axis(make_disc(3, 12), axis), std::nullopt);
    }
}

} // namespace
