// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_query.h>

#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

Point make_point(support::SeededRandom& random, const GMathBbox3<float>& bounds) {
    const float x = random.between(bounds.min.x, bounds.max.x);
    const float y = random.between(bounds.min.y, bounds.max.y);
    const float z = random.between(bounds.min.z, bounds.max.z);
    return {x, y, z};
}

} // namespace

std::vector<Point> make_query_points(const Scene& scene, unsigned count) {
    support::SeededRandom random(21);
    std::vector<Point> points;
    for (unsigned i = 0; i < count; ++i) {
        const GMathBbox3<float>& box = scene.boxes[random.below(scene.boxes.get_count())];
        const Point offset =
            make_point(random, scene.bounds) - (scene.bounds.min + scene.bounds.max) * 0.5f;
        points.push_back((box.min + box.max) * 0.5f + offset * 0.01f);
    }
    return points;
}

std::vector<GMathBbox3<float>> make_query_boxes(const Scene& scene, const BoxQuestion& question,
                                                unsigned count) {
    const Point half = (scene.bounds.max - scene.bounds.min) * (0.5f * question.side);
    std::vector<GMathBbox3<float>> boxes;
    for (const Point& point : make_query_points(scene, count))
        boxes.push_back({point - half, point + half});
    return boxes;
}

} // namespace gas_bench
