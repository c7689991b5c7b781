// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/forest_shape.h>

#include <apps/gas/math/sample_hash.h>
#include <apps/gas/scene/shape_callbacks.h>

namespace gas_app {

namespace {

constexpr unsigned items_per_tree = 1000;
/// The first items of a tree: sides of a trunk that tapers to a point.
constexpr unsigned trunk_items = 6;
/// From tree to tree, on average.
constexpr double tree_spacing = 2.5;
constexpr double largest_tree = 4.6;
constexpr double largest_sway = 0.22;

/// A hump of height 1 for each whole step of `place`, flat at its foot and its top.
double get_hump(double place) {
    const double fraction = place - std::floor(place);
    const double arch = 4.0 * fraction * (1.0 - fraction);
    return arch * arch * (3.0 - 2.0 * arch);
}

/// Four numbers in [0, 1) out of one hash.
struct FourNumbers {
    double value[4];

    explicit FourNumbers(std::uint64_t bits) {
        for (unsigned index = 0; index < 4; ++index)
            value[index] = static_cast<double>(bits >> (16 * index) & 0xFFFF) * 0x1p-16;
    }
};

/// The data that the leaves of one tree share.
struct Conifer {
    unsigned number;
    std::uint64_t key;
    Vec3 foot;
    double height;
    double radius;
    /// How far its tip sways.
    Vec3 sway;

    explicit Conifer(unsigned tree_number) : number(tree_number), key(hash_pair(91, number)) {
        const FourNumbers random(key);
        const double area = tree_spacing * tree_spacing * (number + random.value[0]);
        const double inner = ForestShape::clearing_radius + largest_tree * 0.3;
        const double distance = std::sqrt(inner * inner + area / pi);
        // Moved by a random fraction of the spacing, so that the spiral is not visible.
        const double angle =
            number * golden_angle + (random.value[1] - 0.5) * tree_spacing / distance;
        foot = {distance * std::sin(angle), 0.0, distance * std::cos(angle)};
        foot.y = get_land_height(foot.x, foot.z);
        height = largest_tree * (0.45 + 0.55 * random.value[2]);
        radius = height * (0.20 + 0.08 * random.value[3]);
        sway = Vec3{0.8, -0.05, 0.55} * (largest_sway * (0.4 + 0.6 * random.value[1]));
    }
};

/// The tree of an item. Consecutive calls are mostly for leaves of the same tree, so each thread
/// keeps its last one.
const Conifer& get_conifer(unsigned item) {
    thread_local Conifer last(0);
    const unsigned number = item / items_per_tree;
    if (last.number != number)
        last = Conifer(number);
    return last;
}

} // namespace

double get_land_height(double x, double z) {
    const double distance_squared = x * x + z * z;
    constexpr double bowl_radius = 150.0;
    const double bowl = distance_squared / (distance_squared + bowl_radius * bowl_radius);
    return 30.0 * bowl + 6.0 * get_hump((x + 0.4 * z) / 83.0 + 0.16) +
           4.0 * get_hump((z - 0.3 * x) / 57.0 + 0.93) + 1.4 * get_hump((x + 1.3 * z) / 31.0);
}

ForestShape::ForestShape(std::string name, unsigned item_count, unsigned sample_count)
    : Shape(std::move(name)), m_item_count(item_count), m_sample_count(sample_count) {
    using Callbacks = ShapeCallbacks<ForestShape>;
    m_tree.set_callbacks(Callbacks::find_any_hit, Callbacks::find_nearest_hit, this);
}

double ForestShape::get_radius(unsigned item_count) {
    const unsigned tree_count = (item_count - 1) / items_per_tree + 1;
    const double inner = clearing_radius + largest_tree * 0.3;
    const double edge = std::sqrt(inner * inner + tree_spacing * tree_spacing * tree_count / pi);
    return edge + 0.5 * largest_tree;
}

Box ForestShape::get_exact_box(unsigned) const {
    const double radius = get_radius(m_item_count);
    return {{-radius, lowest_land - 1.0, -radius},
            {radius, highest_land + 1.5 * largest_tree, radius}};
}

/// How far trees have swayed at a sample: 0 to 1, faster at first.
double ForestShape::get_sway(unsigned sample) const {
    if (m_shutter)
        return 0.5 - 0.5 * std::cos(m_shutter->get(sample, m_sample_count));
    if (m_sample_count < 2)
        return 0.0;
    const double time = static_cast<double>(sample) / (m_sample_count - 1);
    return time * (1.5 - 0.5 * time);
}

double ForestShape::get_sway(const Moment& moment) const {
    if (m_sample_count < 2)
        return get_sway(0);
    const double before = get_sway(moment.sample);
    return before + (get_sway(moment.sample + 1) - before) * moment.fraction;
}

Triangle ForestShape::get_triangle(unsigned item, double sway) {
    const Conifer& tree = get_conifer(item);
    const unsigned part = item % items_per_tree;
    Triangle corners;
    if (part < trunk_items) {
        const auto get_base = [&](unsigned side) {
            const double angle = 2.0 * pi * side / trunk_items;
            const double radius = 0.035 * tree.height;
            return tree.foot + Vec3{radius * std::sin(angle), -0.4, radius * std::cos(angle)};
        };
        const Vec3 tip{0.0, 0.97 * tree.height, 0.0};
        corners = {get_base(part), get_base((part + 1) % trunk_items), tree.foot + tip};
    } else {
        // Branches hang from tiers, each of them wider at its lower end; most leaves sit outside.
        const FourNumbers random(hash_pair(tree.key, part));
        const double up = 1.0 - std::sqrt(1.0 - random.value[0]);
        const double tiers = up * 6.0;
        const double width = (1.0 - up) * (1.0 - 0.35 * (tiers - std::floor(tiers)));
        const double distance = tree.radius * width * (0.4 + 0.6 * std::sqrt(random.value[1]));
        const double angle = 2.0 * pi * random.value[2];
        const double sine = std::sin(angle);
        const double cosine = std::cos(angle);
        const double size = 0.055 * tree.height * (0.6 + 0.8 * random.value[3]);
        const Vec3 middle =
            tree.foot + Vec3{distance * sine, tree.height * (0.1 + 0.88 * up), distance * cosine};
        const Vec3 outward = Vec3{sine, -0.5, cosine} * size;
        const Vec3 sideways = Vec3{cosine, 1.2 * (random.value[3] - 0.5), -sine} * (0.5 * size);
        corners = {middle + outward, middle - outward * 0.6 + sideways,
                   middle - outward * 0.6 - sideways};
    }
    for (Vec3* corner : {&corners.a, &corners.b, &corners.c}) {
        const double level = (corner->y - tree.foot.y) / tree.height;
        *corner = *corner + tree.sway * (sway * level * level);
    }
    return corners;
}

Box ForestShape::get_item_box(unsigned item, unsigned sample) const {
    return get_triangle(item, get_sway(sample)).get_box();
}

ShapeSurface ForestShape::get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                                      const Vec3& direction) const {
    const Triangle corners = get_item_at(hit.item, moment);
    const Vec3 flat = normalized(cross(corners.b - corners.a, corners.c - corners.a));
    // At least half of the normal is that of the whole crown; single leaves would flicker.
    const Vec3 foot = get_conifer(hit.item).foot;
    const Vec3 around = normalized(Vec3{point.x - foot.x, 0.6, point.z - foot.z});
    const double side = dot(flat, direction) > 0.0 ? -1.0 : 1.0;
    const Vec3 normal = flat * side;
    const Vec3 shading = normalized(normal + around);
    return {normal, dot(shading, normal) > 0.0 ? shading : normal, point};
}

Vec3 ForestShape::get_item_color(unsigned item) const {
    const Conifer& tree = get_conifer(item);
    const unsigned part = item % items_per_tree;
    if (part < trunk_items)
        return {0.20, 0.13, 0.08};
    static const Vec3 colors[] = {
        {0.07, 0.17, 0.06}, {0.10, 0.21, 0.06}, {0.05, 0.15, 0.09}, {0.15, 0.23, 0.07}};
    // Some stands, mostly high above the clearing, have autumn colours.
    static const Vec3 turned[] = {{0.52, 0.30, 0.05}, {0.45, 0.19, 0.05}, {0.50, 0.39, 0.09}};
    const double stand = get_hump(tree.foot.x / 47.0 + 0.3) * get_hump(tree.foot.z / 61.0 + 0.1);
    const FourNumbers random(hash_pair(tree.key, 0));
    const bool has_turned = random.value[0] < 0.04 + 0.75 * stand * stand;
    const Vec3& color = has_turned ? turned[tree.key % 3] : colors[tree.key % 4];
    const FourNumbers leaf(hash_pair(tree.key, part));
    return color * (0.8 + 0.5 * leaf.value[3]);
}

/// The items follow from their numbers; some of them tell how this machine computes.
void ForestShape::add_content(ContentHash& hash) const {
    constexpr unsigned most_items = 4096;
    hash.add(m_item_count);
    for (unsigned sample = 0; sample < m_sample_count; ++sample)
        for (unsigned item = 0; item < std::min(m_item_count, most_items); ++item)
            hash.add(get_item_box(item, sample));
}

} // namespace gas_app
