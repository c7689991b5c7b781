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

VerifiedScene::VerifiedScene(const TriangleMesh& mesh, std::uint64_t seed) : m_seed(seed) {
    for (const TriangleMesh::Triangle& triangle : mesh.triangles)
        m_boxes[1].push_back(mesh.get_box(triangle));
    finish();
}

void VerifiedScene::finish() {
    for (const Box& box : m_boxes[1])
        grow(m_bounds, box);
    const double step = 0.02 * length(m_bounds.max - m_bounds.min);
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

double VerifiedScene::find_entry(unsigned item, const Ray& ray, double far_distance,
                                 bool is_moving) const {
    const double fraction = is_moving ? static_cast<double>(ray.time) : 1.0;
    const Box& before = m_boxes[0][item];
    const Box& after = m_boxes[1][item];
    double entry = ray.near_distance;
    double exit = far_distance;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double low = before.min[axis] + (after.min[axis] - before.min[axis]) * fraction;
        const double high = before.max[axis] + (after.max[axis] - before.max[axis]) * fraction;
        const double direction = ray.direction[axis];
        if (direction == 0.0) {
            if (!(ray.origin[axis] >= low && ray.origin[axis] <= high))
                return no_entry;
            continue;
        }
        const double first = (low - ray.origin[axis]) / direction;
        const double second = (high - ray.origin[axis]) / direction;
        entry = std::max(entry, std::min(first, second));
        exit = std::min(exit, std::max(first, second));
    }
    return entry <= exit && entry < far_distance ? entry : no_entry;
}

} // namespace gas_app
