// SPDX-License-Identifier: Apache-2.0
/// Instances: one tree at many places, places that are scenes themselves, and places in motion.

#include <cstdio>

#include "easy_sphere.h"

int main() {
    // A molecule, of which there are two in a pair, and 100 pairs.
    const std::vector<Sphere> molecule = {
        {{0.0, 0.0, 0.0}, 0.5}, {{0.6, 0.0, 0.0}, 0.3}, {{-0.2, 0.5, 0.1}, 0.3}};
    const gas::Tree tree(get_boxes(molecule));

    const gas::Transform places_in_pair[] = {gas::rotation({0.0, 0.0, 1.0}, 0.8),
                                             gas::translation({0.0, 0.0, 1.5}) *
                                                 gas::scaling({1.0, 2.0, 0.5})};
    gas::Scene pair;
    for (const gas::Transform& place : places_in_pair)
        pair.add(tree, place);
    pair.build();

    std::vector<gas::Transform> places;
    gas::Scene scene;
    for (unsigned i = 0; i < 100; ++i) {
        places.push_back(gas::translation({4.0 * (i % 10), 4.0 * (i / 10), 0.0}) *
                         gas::rotation({1.0, 1.0, 0.0}, 0.3 * i));
        scene.add(pair, places.back());
    }
    scene.build();

    // The ray comes in the space of the molecule, and distances are the same in all spaces.
    const auto atom = [&](const gas::Place& place, const gas::Ray& ray) {
        return intersect(molecule[place.item], ray);
    };
    bool right = true;
    unsigned hit_count = 0;
    for (unsigned i = 0; i < 400; ++i) {
        const gas::Ray ray = {{2.0 * (i % 20) - 1.0, 2.0 * (i / 20) - 1.0, 10.0}, {0.1, 0.1, -1.0}};
        const gas::SceneHit hit = scene.closest_hit(ray, atom);
        hit_count += hit ? 1 : 0;

        gas::SceneHit expected;
        for (std::uint32_t outer = 0; outer < 100; ++outer) {
            for (std::uint32_t inner = 0; inner < 2; ++inner) {
                gas::Ray moved = ray;
                const gas::Transform back = gas::invert(places[outer] * places_in_pair[inner]);
                moved.origin = gas::transform_point(back, ray.origin);
                moved.direction = gas::transform_direction(back, ray.direction);
                const gas::Hit closest = find_closest(molecule, moved);
                if (closest.distance < expected.distance)
                    expected = {closest.distance, closest.item, {outer, inner}};
            }
        }
        right = right && hit.item == expected.item && hit.instances == expected.instances;
        right = right && (!hit || std::fabs(hit.distance - expected.distance) < 1e-9);
        right = right && scene.any_hit(ray, atom) == static_cast<bool>(hit);
    }
    std::printf("%u of 400 rays hit one of %zu pairs\n", hit_count, scene.size());
    right = right && hit_count > 20;

    // One pair leaves during the shutter.
    scene.set_transform(7, {places[7], gas::translation({0.0, 0.0, 40.0}) * places[7]});
    scene.build();
    gas::Ray ray = {gas::transform_point(places[7], {0.0, 0.0, 0.0}), {0.0, 0.0, 1.0}};
    ray.far = 5.0;
    const bool is_there = scene.any_hit(ray, atom);
    ray.time = 1.0;
    right = right && is_there && !scene.any_hit(ray, atom);

    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
