// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/garden_parts.h>

#include <apps/gas/math/sample_hash.h>
#include <apps/gas/math/transform.h>
#include <apps/gas/mesh/procedural_mesh.h>

namespace gas_app {

namespace {

/// Points of equal area: the radius of the n-th grows with the square root of n.
double get_tile_radius(unsigned index, double inner_radius, double spacing) {
    return std::sqrt(inner_radius * inner_radius + spacing * spacing * index / pi);
}

Vec3f get_tile_color(std::uint64_t key, double radius) {
    static const Vec3 palette[] = {{0.33, 0.29, 0.25}, {0.45, 0.38, 0.29}, {0.23, 0.22, 0.23},
                                   {0.44, 0.22, 0.13}, {0.52, 0.46, 0.37}, {0.11, 0.25, 0.27}};
    // Rings of different mixtures give the ground a pattern from afar.
    const double ring = 0.5 + 0.5 * std::sin(radius * 1.15);
    const double choice = hash_unit(key, 10) * 0.75 + ring * 0.25;
    const Vec3& color = palette[std::min(static_cast<unsigned>(choice * 6.0), 5u)];
    return to_float(color * (0.78 + 0.40 * hash_unit(key, 11)));
}

} // namespace

double get_tiles_radius(unsigned count, double inner_radius, double spacing) {
    return get_tile_radius(count, inner_radius, spacing);
}

TriangleMesh make_tiles(unsigned count, double inner_radius, double spacing) {
    TriangleMesh tiles;
    tiles.crease_cosine = 2.0;
    for (unsigned index = 0; index < count; ++index) {
        const std::uint64_t key = hash_pair(77, index);
        const double radius = get_tile_radius(index, inner_radius, spacing);
        const double angle = index * golden_angle;
        // Every third place holds a slab, the others anything down to a pebble.
        const double share = hash_unit(key, 0) < 0.36
                                 ? 0.85 + 0.15 * hash_unit(key, 1)
                                 : 0.07 + 0.7 * std::pow(hash_unit(key, 1), 2.0);
        const double size = 0.56 * spacing * share;
        const double height = 0.03 + 0.12 * hash_unit(key, 2) * share;

        TriangleMesh tile = make_column(5 + static_cast<unsigned>(hash_unit(key, 3) * 3.0), 0.14);
        const Transform place =
            translate({radius * std::cos(angle), 0.0, radius * std::sin(angle)}) *
            rotate({0.0, 1.0, 0.0}, 2.0 * pi * hash_unit(key, 4)) *
            scale(size, height, size * (0.8 + 0.2 * hash_unit(key, 5)));
        for (Vec3& vertex : tile.vertices)
            vertex = place.apply_to_point(vertex);
        tile.colors.assign(tile.triangles.size(), get_tile_color(key, radius));
        append(tiles, tile);
    }
    return tiles;
}

std::vector<Vec3> make_ripples(const std::vector<Vec3>& disc, double time) {
    std::vector<Vec3> water = disc;
    for (Vec3& vertex : water) {
        const double radius = length(vertex);
        const double other = length(vertex - Vec3{0.45, 0.0, 0.38});
        vertex.y = 0.0045 * std::sin(38.0 * radius - 2.2 * time) * (1.0 - 0.6 * radius) +
                   0.0022 * std::sin(61.0 * other - 3.0 * time);
    }
    return water;
}

std::vector<Sphere> make_swarm(unsigned count, double time) {
    static const Vec3 low{0.95, 0.62, 0.22};
    static const Vec3 middle{0.86, 0.26, 0.22};
    static const Vec3 high{0.30, 0.32, 0.72};
    std::vector<Sphere> spheres;
    spheres.reserve(count);
    for (unsigned index = 0; index < count; ++index) {
        const std::uint64_t key = hash_pair(4711, index);
        // Two ribbons that wind upwards and spread out; they are dense near their middle.
        const double along = (index + hash_unit(key, 0)) / count;
        const double spread = hash_unit(key, 1) + hash_unit(key, 2) + hash_unit(key, 3) - 1.5;
        const double lift = hash_unit(key, 4) + hash_unit(key, 5) - 1.0;
        const double ribbon = index % 2 == 0 ? 0.0 : pi;
        const double speed = 0.07 + 0.10 * hash_unit(key, 6);
        const double angle = ribbon + 8.4 * along + 0.22 * spread + speed * time;
        const double radius = 2.45 + 0.75 * std::sin(pi * along) + 0.34 * spread;
        const double y = 0.35 + 4.9 * along + 0.34 * lift;
        const double size = 0.007 + 0.045 * std::pow(hash_unit(key, 7), 5.0);
        const Vec3 color =
            along < 0.5 ? mix(low, middle, 2.0 * along) : mix(middle, high, 2.0 * along - 1.0);
        spheres.push_back({{radius * std::cos(angle), y, radius * std::sin(angle)},
                           size,
                           color * (0.8 + 0.4 * hash_unit(key, 8))});
    }
    return spheres;
}

} // namespace gas_app
