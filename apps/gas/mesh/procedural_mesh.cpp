// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/procedural_mesh.h>

#include <map>

#include <apps/gas/math/sample_hash.h>
#include <apps/gas/math/transform.h>

namespace gas_app {

void append(TriangleMesh& mesh, const TriangleMesh& part) {
    const unsigned base = static_cast<unsigned>(mesh.vertices.size());
    mesh.vertices.insert(mesh.vertices.end(), part.vertices.begin(), part.vertices.end());
    for (const auto& [a, b, c] : part.triangles)
        mesh.add_triangle(base + a, base + b, base + c);
    mesh.colors.insert(mesh.colors.end(), part.colors.begin(), part.colors.end());
}

namespace {

TriangleMesh make_icosahedron() {
    const double golden = 0.5 * (1.0 + std::sqrt(5.0));
    TriangleMesh mesh;
    for (const double a : {-1.0, 1.0})
        for (const double b : {-golden, golden}) {
            mesh.add_vertex(normalized({a, b, 0.0}));
            mesh.add_vertex(normalized({0.0, a, b}));
            mesh.add_vertex(normalized({b, 0.0, a}));
        }
    // Its faces are the triples of corners that are pairwise neighbours.
    const auto is_edge = [&](unsigned i, unsigned j) {
        return dot(mesh.vertices[i], mesh.vertices[j]) > 0.4;
    };
    for (unsigned i = 0; i < 12; ++i)
        for (unsigned j = i + 1; j < 12; ++j)
            for (unsigned k = j + 1; k < 12; ++k)
                if (is_edge(i, j) && is_edge(j, k) && is_edge(i, k))
                    mesh.add_triangle(i, j, k);
    return mesh;
}

/// Cuts each triangle in four; new corners move out to radius 1.
void subdivide(TriangleMesh& mesh) {
    std::map<std::pair<unsigned, unsigned>, unsigned> middles;
    const auto get_middle = [&](unsigned a, unsigned b) {
        const auto [place, is_new] = middles.try_emplace({std::min(a, b), std::max(a, b)});
        if (is_new)
            place->second = mesh.add_vertex(normalized(mesh.vertices[a] + mesh.vertices[b]));
        return place->second;
    };
    const std::vector<TriangleMesh::Triangle> coarse = std::move(mesh.triangles);
    mesh.triangles.clear();
    for (const auto& [a, b, c] : coarse) {
        const unsigned ab = get_middle(a, b);
        const unsigned bc = get_middle(b, c);
        const unsigned ca = get_middle(c, a);
        mesh.add_triangle(a, ab, ca);
        mesh.add_triangle(b, bc, ab);
        mesh.add_triangle(c, ca, bc);
        mesh.add_triangle(ab, bc, ca);
    }
}

/// Adds a ring of `count` vertices around a point of a tube and joins it to the ring before.
void add_ring(TriangleMesh& mesh, const std::vector<Vec3>& ring) {
    const unsigned count = static_cast<unsigned>(ring.size());
    const unsigned base = static_cast<unsigned>(mesh.vertices.size());
    mesh.vertices.insert(mesh.vertices.end(), ring.begin(), ring.end());
    if (base == 0)
        return;
    for (unsigned side = 0; side < count; ++side) {
        const unsigned next = (side + 1) % count;
        mesh.add_quad(base - count + side, base - count + next, base + next, base + side);
    }
}

} // namespace

TriangleMesh make_ball(unsigned levels) {
    TriangleMesh mesh = make_icosahedron();
    for (unsigned level = 0; level < levels; ++level)
        subdivide(mesh);
    return mesh;
}

TriangleMesh make_rock(unsigned levels, std::uint64_t seed) {
    TriangleMesh mesh = make_ball(levels);
    constexpr unsigned cuts = 14;
    for (Vec3& vertex : mesh.vertices) {
        const Vec3 direction = vertex;
        double radius = 1.0;
        for (unsigned cut = 0; cut < cuts; ++cut) {
            const double height = 2.0 * hash_unit(seed, 3 * cut) - 1.0;
            const double angle = 2.0 * pi * hash_unit(seed, 3 * cut + 1);
            const double width = std::sqrt(1.0 - height * height);
            const Vec3 normal{width * std::cos(angle), height, width * std::sin(angle)};
            const double distance = 0.62 + 0.3 * hash_unit(seed, 3 * cut + 2);
            const double cosine = dot(direction, normal);
            if (cosine > 0.0)
                radius = std::min(radius, distance / cosine);
        }
        const double grain =
            std::sin(9.0 * direction.x + 4.0 * direction.y) * std::sin(8.0 * direction.z);
        vertex = direction * (radius + 0.012 * grain);
    }
    mesh.crease_cosine = 0.9;
    return mesh;
}

TriangleMesh make_torus_knot(unsigned turns, unsigned twists, double thickness,
                             unsigned length_steps, unsigned around) {
    const auto get_point = [&](double t) {
        const double angle = 2.0 * pi * t;
        const double radius = 0.68 + 0.3 * std::cos(twists * angle);
        return Vec3{radius * std::cos(turns * angle), 0.36 * std::sin(twists * angle),
                    radius * std::sin(turns * angle)};
    };
    TriangleMesh mesh;
    for (unsigned step = 0; step < length_steps; ++step) {
        const double t = static_cast<double>(step) / length_steps;
        const Vec3 point = get_point(t);
        const Vec3 along = normalized(get_point(t + 1e-4) - get_point(t - 1e-4));
        // A frame that closes after the last step: outward from the upward axis, then across.
        const Vec3 across = normalized(cross(along, Vec3{point.x, 0.0, point.z}));
        const Vec3 outward = cross(across, along);
        std::vector<Vec3> ring;
        for (unsigned side = 0; side < around; ++side) {
            const double angle = 2.0 * pi * side / around;
            ring.push_back(point + outward * (thickness * std::cos(angle)) +
                           across * (thickness * std::sin(angle)));
        }
        add_ring(mesh, ring);
    }
    const unsigned last = (length_steps - 1) * around;
    for (unsigned side = 0; side < around; ++side) {
        const unsigned next = (side + 1) % around;
        mesh.add_quad(last + side, last + next, next, side);
    }
    return mesh;
}

TriangleMesh make_gear(unsigned teeth, double depth) {
    // Its outline in front and behind, and that of the hole; flat faces between them.
    TriangleMesh mesh;
    const unsigned points = 4 * teeth;
    for (const double z : {-0.5 * depth, 0.5 * depth})
        for (unsigned point = 0; point < points; ++point) {
            const double offset = point % 4 == 0 ? 0.12 : point % 4 == 3 ? -0.12 : 0.0;
            const double angle = 2.0 * pi * (point + offset) / points;
            const double radius = point % 4 == 1 || point % 4 == 2 ? 1.0 : 0.82;
            mesh.add_vertex({radius * std::cos(angle), radius * std::sin(angle), z});
            mesh.add_vertex({0.34 * std::cos(angle), 0.34 * std::sin(angle), z});
        }
    const unsigned front = 2 * points;
    for (unsigned point = 0; point < points; ++point) {
        const unsigned here = 2 * point;
        const unsigned next = 2 * ((point + 1) % points);
        mesh.add_quad(here, next, next + front, here + front);
        mesh.add_quad(here + 1, here + 1 + front, next + 1 + front, next + 1);
        mesh.add_quad(here + front, next + front, next + 1 + front, here + 1 + front);
        mesh.add_quad(here, here + 1, next + 1, next);
    }
    return mesh;
}

TriangleMesh make_column(unsigned sides, double bevel) {
    TriangleMesh mesh;
    const auto get_ring = [&](double radius, double y) {
        std::vector<Vec3> ring;
        for (unsigned side = 0; side < sides; ++side) {
            const double angle = 2.0 * pi * side / sides;
            ring.push_back({radius * std::cos(angle), y, radius * std::sin(angle)});
        }
        return ring;
    };
    add_ring(mesh, get_ring(1.0, 0.0));
    add_ring(mesh, get_ring(1.0, 1.0 - bevel));
    add_ring(mesh, get_ring(1.0 - bevel, 1.0));
    const unsigned top = mesh.add_vertex({0.0, 1.0, 0.0});
    for (unsigned side = 0; side < sides; ++side)
        mesh.add_triangle(2 * sides + side, 2 * sides + (side + 1) % sides, top);
    mesh.crease_cosine = 0.9;
    return mesh;
}

TriangleMesh make_disc(unsigned rings, unsigned sectors) {
    TriangleMesh mesh;
    const unsigned center = mesh.add_vertex({0.0, 0.0, 0.0});
    for (unsigned ring = 1; ring <= rings; ++ring)
        for (unsigned sector = 0; sector < sectors; ++sector) {
            const double radius = static_cast<double>(ring) / rings;
            const double angle = 2.0 * pi * sector / sectors;
            mesh.add_vertex({radius * std::cos(angle), 0.0, radius * std::sin(angle)});
        }
    for (unsigned ring = 0; ring < rings; ++ring)
        for (unsigned sector = 0; sector < sectors; ++sector) {
            const unsigned next = (sector + 1) % sectors;
            const unsigned outer = 1 + ring * sectors;
            if (ring == 0)
                mesh.add_triangle(center, outer + next, outer + sector);
            else
                mesh.add_quad(outer - sectors + sector, outer - sectors + next, outer + next,
                              outer + sector);
        }
    return mesh;
}

TriangleMesh make_conifer(unsigned tiers, unsigned branches, std::uint64_t seed) {
    TriangleMesh mesh = make_column(8, 0.2);
    for (Vec3& vertex : mesh.vertices)
        vertex = multiply(vertex, {0.03, 0.9, 0.03});
    mesh.colors.assign(mesh.triangles.size(), {0.30f, 0.20f, 0.13f});

    // Each branch is a small blade that hangs from the trunk; higher ones are shorter.
    for (unsigned tier = 0; tier < tiers; ++tier)
        for (unsigned branch = 0; branch < branches; ++branch) {
            const std::uint64_t key = hash_pair(seed, std::uint64_t{tier} * branches + branch);
            const double height = 0.14 + 0.84 * (tier + hash_unit(key, 0)) / tiers;
            const double reach = 0.36 * (1.06 - height) * (0.75 + 0.5 * hash_unit(key, 1));
            const double width = 0.35 * reach;
            const double angle = 2.0 * pi * (branch + hash_unit(key, 2)) / branches;
            const Transform turn = rotate({0.0, 1.0, 0.0}, angle);
            const auto add = [&](double x, double y, double z) {
                return mesh.add_vertex(turn.apply_to_point({x, height + y, z}));
            };
            const double drop = -(0.25 + 0.35 * hash_unit(key, 3)) * reach;
            const unsigned root = add(0.0, 0.06 * (1.1 - height), 0.0);
            const unsigned left = add(0.6 * reach, 0.45 * drop, width);
            const unsigned right = add(0.6 * reach, 0.45 * drop, -width);
            const unsigned tip = add(reach, drop, 0.0);
            mesh.add_triangle(root, left, tip);
            mesh.add_triangle(root, tip, right);
            const float light = static_cast<float>(0.7 + 0.6 * hash_unit(key, 4));
            mesh.colors.insert(mesh.colors.end(), 2,
                               Vec3f{0.10f * light, 0.24f * light, 0.11f * light});
        }
    return mesh;
}

} // namespace gas_app
