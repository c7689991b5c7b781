// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verified_scene.h>

#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_scene_scale.h>

#include <apps/gas/math/sample_hash.h>

namespace gas_app {

namespace {

/// More than the rounding of box tests in floats, wherever rays come from.
constexpr double padding_share = 1e-4;

/// Independent numbers in [-1, 1).
Vec3 make_point(std::uint64_t seed, std::uint64_t number) {
    const auto get = [&](unsigned axis) { return 2.0 * hash_unit(seed, 3 * number + axis) - 1.0; };
    return {get(0), get(1), get(2)};
}

enum class Kind { spread, clustered, sheet, nested, coincident };
constexpr unsigned kind_count = 5;

Box make_box(Kind kind, std::uint64_t seed, unsigned item, unsigned item_count) {
    const std::uint64_t place_seed = hash_pair(seed, 1);
    Vec3 center = make_point(place_seed, item) * 100.0;
    const Vec3 size = make_point(hash_pair(seed, 2), item);
    Vec3 reach = {std::abs(size.x), std::abs(size.y), std::abs(size.z)};
    reach = reach * (100.0 / std::cbrt(item_count));
    if (kind == Kind::clustered)
        center = make_point(place_seed, item % 7) * 100.0 + center * 0.05;
    else if (kind == Kind::sheet)
        center.z = reach.z = 0.0;
    else if (kind == Kind::nested)
        reach = Vec3{1.0, 1.0, 1.0} * (100.0 * std::pow(0.99, item % 500));
    else if (kind == Kind::coincident)
        center = {item % 2 == 0 ? 0.0 : 1.0, 0.0, 0.0};
    return {center - reach, center + reach};
}

} // namespace

VerifiedScene::VerifiedScene(unsigned item_count, std::uint64_t seed) : m_seed(seed) {
    const auto kind = static_cast<Kind>(hash_bits(seed) % kind_count);
    for (unsigned item = 0; item < item_count; ++item)
        m_boxes[1].push_back(make_box(kind, seed, item, item_count));
    finish();
}

VerifiedScene::VerifiedScene(const TriangleMesh& mesh, std::uint64_t seed, unsigned item_count)
    : m_seed(seed) {
    const std::size_t whole = mesh.triangles.size();
    const std::size_t count = item_count == 0 ? whole : std::min<std::size_t>(item_count, whole);
    const std::size_t first = hash_pair(seed, 6) % (whole - count + 1);
    for (std::size_t i = first; i < first + count; ++i)
        m_boxes[1].push_back(mesh.get_box(mesh.triangles[i]));
    finish();
}

void VerifiedScene::finish() {
    for (const Box& box : m_boxes[1])
        grow(m_bounds, box);
    // Among very many items not farther than to the next few.
    const double share = std::min(0.02, 1.0 / std::sqrt(static_cast<double>(m_boxes[1].size())));
    const double step = share * length(m_bounds.max - m_bounds.min);
    for (const Box& box : m_boxes[1]) {
        const Vec3 move = make_point(hash_pair(m_seed, 3), m_boxes[0].size()) * step;
        m_boxes[0].push_back({box.min + move, box.max + move});
    }
    for (const Box& box : m_boxes[0])
        grow(m_bounds, box);
    // As trees choose theirs, which then is 1.
    TreeItems items;
    items.describe(describe());
    const double scale = gas_get_scene_scale(items.get_padded_bounds());
    for (std::vector<Box>& boxes : m_boxes) {
        for (Box& box : boxes)
            box = gas_scale_box(box, scale);
    }
    m_bounds = gas_scale_box(m_bounds, scale);
}

TreeItems::Description VerifiedScene::describe() const {
    TreeItems::Description items;
    items.item_count = get_item_count();
    items.sample_count = sample_count;
    items.get_box = [this](unsigned item, unsigned sample) { return m_boxes[sample][item]; };
    items.padding = padding_share * (gas_get_reach(m_bounds) + length(m_bounds.max - m_bounds.min));
    items.bounds = m_bounds;
    return items;
}

VerifiedScene::Ray VerifiedScene::make_ray(std::uint64_t number) const {
    const std::uint64_t seed = hash_pair(hash_pair(m_seed, 4), number);
    const double size = length(m_bounds.max - m_bounds.min);
    const auto item = static_cast<unsigned>(hash_pair(seed, 0) % get_item_count());
    const Box& box = m_boxes[1][item];
    const Vec3 share = make_point(seed, 1);
    const Vec3 half = (box.max - box.min) * 0.5;
    const Vec3 target =
        get_center(box) + Vec3{share.x * half.x, share.y * half.y, share.z * half.z};
    Ray ray;
    ray.time = static_cast<float>(hash_unit(seed, 90));
    ray.near_distance = 0.0;
    ray.origin = get_center(m_bounds) + make_point(seed, 2) * size;
    ray.direction = target - ray.origin;
    ray.far_distance = hash_unit(seed, 91) < 0.25 ? 2.0 * hash_unit(seed, 92) : 100.0;
    const std::uint64_t kind = hash_pair(seed, 93) % 16;
    if (kind == 0) {
        ray.direction = ray.direction * -1.0; // past most of them
    } else if (kind <= 2) {
        // Along an axis, and perhaps in a plane of the box.
        const unsigned axis = static_cast<unsigned>(hash_pair(seed, 94) % 3);
        ray.origin = kind == 1 ? target : Vec3(box.min);
        ray.origin[axis] -= size;
        ray.direction = {0.0, 0.0, 0.0};
        ray.direction[axis] = hash_unit(seed, 95) < 0.5 ? size : 1.0;
    } else if (kind == 3) {
        ray.origin = target; // from inside
        ray.near_distance = 1e-3;
    }
    if (!(length(ray.direction) > 0.0))
        ray.direction = {0.0, 0.0, 1.0};
    return ray;
}

VerifiedScene::Tile VerifiedScene::make_tile(std::uint64_t number, unsigned count) const {
    const std::uint64_t seed = hash_pair(hash_pair(m_seed, 5), number);
    const double size = length(m_bounds.max - m_bounds.min);
    const auto item = static_cast<unsigned>(hash_pair(seed, 0) % get_item_count());
    const Vec3 eye = get_center(m_bounds) + make_point(seed, 1) * size;
    const Vec3 forward = get_center(m_boxes[1][item]) - eye;
    Vec3 right, up;
    get_tangents(normalized(forward), right, up);
    const double reach = length(forward) * std::pow(0.5, 8.0 * hash_unit(seed, 90));
    right = right * reach;
    up = up * reach;
    const Vec3 corners[] = {forward - right - up, forward + right - up, forward + right + up,
                            forward - right + up};

    Tile tile;
    tile.frustum = gmath_make_pinhole_frustum(eye, corners);
    const auto width = static_cast<unsigned>(std::ceil(std::sqrt(count)));
    for (unsigned ray = 0; ray < count; ++ray) {
        // Weights of the corners, as the frustum asks.
        const unsigned column = ray % width, row = ray / width;
        const double across = (column + 0.5) / width;
        const double down = (row + 0.5) / width;
        const Vec3 direction =
            mix(mix(corners[0], corners[1], across), mix(corners[3], corners[2], across), down);
        tile.rays.push_back({eye, direction, 0.0, VerifiedScene::no_entry,
                             static_cast<float>(hash_unit(seed, 100 + ray))});
    }
    return tile;
}

double VerifiedScene::find_moving_entry(unsigned item, const PreparedRay& ray,
                                        double far_distance) const {
    const double fraction = static_cast<double>(ray.time);
    const Box& before = m_boxes[0][item];
    const Box& after = m_boxes[1][item];
    return find_entry({mix(before.min, after.min, fraction), mix(before.max, after.max, fraction)},
                      ray, far_distance);
}

} // namespace gas_app
