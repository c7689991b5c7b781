// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/answer_check.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace gas_peer {

namespace {

using gas_bench::Ray;
using gas_bench::Triangle;

/// The most rays that are examined; each is tested against all items.
constexpr unsigned largest_look_count = 100;

/// A few last bits, as a relative error.
constexpr double rounding = 8.0 / (1 << 24);

/// Whether a ray that hits an item in a box at `distance` merely grazes the box: it misses the box
/// when that is made smaller by the rounding.
bool grazes(const Ray& ray, const GMathBbox3<float>& box, float distance) {
    double entry = static_cast<double>(ray.near_distance);
    double exit = std::numeric_limits<double>::infinity();
    for (unsigned axis = 0; axis < 3; ++axis) {
        const auto low = static_cast<double>(box.min[axis]);
        const auto high = static_cast<double>(box.max[axis]);
        const auto origin = static_cast<double>(ray.origin[axis]);
        const auto direction = static_cast<double>(ray.direction[axis]);
        const double largest = std::max({std::abs(low), std::abs(high), std::abs(origin)});
        // A flat box shrinks to its middle.
        const double less = std::min(rounding * largest, 0.5 * (high - low));
        if (direction == 0.0) {
            if (origin < low + less || origin > high - less)
                return true;
            continue;
        }
        const double first = (low + less - origin) / direction;
        const double second = (high - less - origin) / direction;
        entry = std::max(entry, std::min(first, second));
        exit = std::min(exit, std::max(first, second));
    }
    const double slack = rounding * static_cast<double>(distance);
    return !(entry <= exit) || entry > static_cast<double>(distance) + slack || exit <= 0.0;
}

/// As trees blend boxes: each bound separately.
GMathBbox3<float> blend_boxes(const GMathBbox3<float>& first, const GMathBbox3<float>& later,
                              float time) {
    return {first.min * (1.0f - time) + later.min * time,
            first.max * (1.0f - time) + later.max * time};
}

} // namespace

std::vector<AnswerCheck::Hit> AnswerCheck::find_hits(const Ray& ray) const {
    std::vector<Hit> hits;
    for (unsigned item = 0; item < m_scene.boxes.get_count(); ++item) {
        Triangle triangle = m_scene.triangles[item];
        if (m_in_motion)
            triangle = blend(triangle, m_scene.later_triangles[item], ray.time);
        float distance;
        if (!intersect(triangle, ray.origin, ray.direction, ray.near_distance, ray.far_distance,
                       distance))
            continue;
        GMathBbox3<float> box = m_scene.boxes[item];
        if (m_in_motion)
            box = blend_boxes(box, m_scene.later_boxes[item], ray.time);
        hits.push_back({distance, grazes(ray, box, distance)});
    }
    std::sort(hits.begin(), hits.end(),
              [](const Hit& a, const Hit& b) { return a.distance < b.distance; });
    return hits;
}

bool AnswerCheck::is_right(const std::vector<Hit>& hits, float answer) const {
    const auto first_sure =
        std::find_if(hits.begin(), hits.end(), [](const Hit& hit) { return !hit.is_grazing; });
    const auto sure_count =
        std::count_if(hits.begin(), hits.end(), [](const Hit& hit) { return !hit.is_grazing; });
    switch (m_query) {
    case gas_bench::Query::any:
        return answer > 0.0f ? !hits.empty() : sure_count == 0;
    case gas_bench::Query::all:
        return answer >= static_cast<float>(sure_count) &&
               answer <= static_cast<float>(hits.size());
    default:
        break;
    }
    if (!(answer < std::numeric_limits<float>::infinity()))
        return first_sure == hits.end();
    const double largest = first_sure == hits.end()
                               ? std::numeric_limits<double>::infinity()
                               : static_cast<double>(first_sure->distance) * (1.0 + rounding);
    return static_cast<double>(answer) <= largest &&
           std::any_of(hits.begin(), hits.end(),
                       [answer](const Hit& hit) { return hit.distance == answer; });
}

Differences AnswerCheck::compare(const Answers& first, const Answers& second) const {
    Differences differences;
    for (std::size_t i = 0; i < m_rays.size(); ++i) {
        if (first[i] == second[i])
            continue;
        if (++differences.ray_count > largest_look_count) {
            ++differences.unexplained_count;
            continue;
        }
        const std::vector<Hit> hits = find_hits(m_rays[i]);
        if (is_right(hits, first[i]) && is_right(hits, second[i]))
            continue;
        if (++differences.unexplained_count == 1)
            differences.example = "ray " + std::to_string(i) + ": " + std::to_string(first[i]) +
                                  " and " + std::to_string(second[i]);
    }
    return differences;
}

} // namespace gas_peer
