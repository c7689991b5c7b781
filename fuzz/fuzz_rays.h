// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <limits>
#include <vector>

#include <fuzz/fuzz_boxes.h>
#include <tests/support/ray_batches.h>

/// Rays about the boxes of a scene: of a seed, or of bytes, with special values among them.
namespace fuzz {

using support::BatchSpec;
using support::RaySpec;

inline constexpr double infinity = std::numeric_limits<double>::infinity();

/// Boxes to aim at: what is not finite becomes 0, what is nearly infinite becomes less.
inline Boxes make_targets(Boxes boxes) {
    constexpr float most = 1e37f;
    const auto limit = [&](float& bound) {
        bound = std::isfinite(bound) ? std::min(std::max(bound, -most), most) : 0.0f;
    };
    for (Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            limit(box.min[axis]);
            limit(box.max[axis]);
        }
    }
    return boxes;
}

/// Where an origin lies along an axis of a box: on a face, within, without, anywhere.
inline double take_place(FuzzInput& input, const Box& box, unsigned axis) {
    const double low = static_cast<double>(box.min[axis]);
    const double high = static_cast<double>(box.max[axis]);
    switch (const unsigned choice = input.take_byte(); choice % 8) {
    case 0:
        return low;
    case 1:
        return high;
    case 2:
        return 0.5 * (low + high);
    case 3:
        return low - (high - low) - (choice < 128 ? 1.0 : 0.0);
    case 4:
        return high + (high - low) + (choice < 128 ? 1.0 : 0.0);
    case 5:
        return low + (high - low) * static_cast<double>(choice) / 255.0;
    case 6:
        return static_cast<double>(input.take_lattice());
    default:
        return choice < 128 ? input.take_special_double() : 0.0;
    }
}

inline double take_direction(FuzzInput& input, double aim) {
    constexpr double steps[] = {0.0, -0.0, 1.0, -1.0, 0.5, -0.25};
    const unsigned choice = input.take_byte();
    if (choice < 64)
        return steps[choice % std::size(steps)];
    if (choice < 80)
        return input.take_special_double();
    return choice < 96 ? aim * 1e-40 : aim;
}

inline double take_distance(FuzzInput& input, double usual, double reach) {
    const unsigned choice = input.take_byte();
    const double distances[] = {infinity, -infinity, reach, -reach, 0.0, -0.0};
    if (choice < 128)
        return usual;
    if (choice < 192)
        return distances[choice % std::size(distances)];
    return choice < 224 ? reach * static_cast<double>(input.take_lattice()) * 0.0625
                        : input.take_special_double();
}

inline float take_time(FuzzInput& input) {
    const unsigned choice = input.take_byte();
    if (choice < 240)
        return static_cast<float>(choice) / 239.0f;
    return choice < 248 ? input.take_lattice() : input.take_special();
}

/// What rays are made of: the scene, and a maker of rays from a seed.
class RayTaker {
  public:
    RayTaker(FuzzInput& input, const Boxes& boxes)
        : m_targets(make_targets(boxes)), m_random(input.take_seed()), m_maker(m_random, m_targets),
          m_batches(m_random, m_targets) {}

    RaySpec take_ray(FuzzInput& input) {
        const unsigned choice = input.take_byte();
        RaySpec ray = m_maker.make(0.0f, 1.0f);
        if (choice < 160) {
            const Box& start = m_targets[choice % m_targets.size()];
            const Box& target = m_targets[input.take_byte() % m_targets.size()];
            for (unsigned axis = 0; axis < 3; ++axis) {
                ray.origin[axis] = take_place(input, start, axis);
                const double aim = 0.5 * (static_cast<double>(target.min[axis]) +
                                          static_cast<double>(target.max[axis]));
                ray.direction[axis] = take_direction(input, aim - ray.origin[axis]);
            }
            ray.scale = 4.0;
            ray.near_distance = take_distance(input, 0.0, ray.scale);
            ray.far_distance = take_distance(input, ray.scale, ray.scale);
            ray.time = take_time(input);
        }
        if (!std::isfinite(ray.scale))
            ray.scale = 1.0;
        if (choice % 8 == 7)
            ray.seed = choice;
        return ray;
    }

    /// Up to 24 of them.
    std::vector<RaySpec> take_rays(FuzzInput& input) {
        std::vector<RaySpec> rays(1 + input.take_below(24));
        for (RaySpec& ray : rays)
            ray = take_ray(input);
        return rays;
    }

    /// A batch without a NaN, of which GeometryRayBatch makes a miss.
    BatchSpec take_batch(FuzzInput& input) {
        const unsigned choice = input.take_byte();
        if (choice < 64) {
            BatchSpec batch = m_batches.make_any();
            m_batches.change_planes(batch);
            return batch;
        }
        BatchSpec batch = support::make_batch(take_rays(input));
        for (RaySpec& ray : batch.rays)
            drop_nan(ray);
        if (choice % 4 == 1)
            batch.planes = m_batches.make_planes();
        if (choice % 4 == 2)
            m_batches.narrow(batch);
        return batch;
    }

  private:
    static void drop_nan(RaySpec& ray) {
        const auto replace = [](double& number, double by) {
            if (std::isnan(number))
                number = by;
        };
        for (unsigned axis = 0; axis < 3; ++axis) {
            replace(ray.origin[axis], 0.0);
            replace(ray.direction[axis], 1.0);
        }
        replace(ray.near_distance, 0.0);
        replace(ray.far_distance, ray.scale);
    }

    Boxes m_targets;
    support::SeededRandom m_random;
    support::RayMaker m_maker;
    support::BatchMaker m_batches;
};

/// Leaf calls after which no rays are repeated, and none begun: callbacks that trace on and on take
/// long.
inline constexpr std::size_t few_calls = 1000;
inline constexpr std::size_t many_calls = 5000;

/// The same rays, or what became of them, again and again: enough for a stream to have trials.
template <typename Entry> void repeat_for_trials(std::vector<Entry>& entries) {
    for (std::size_t next = 0; entries.size() < 600; ++next)
        entries.push_back(Entry(entries[next]));
}

inline support::RayQuery take_query(FuzzInput& input) {
    return support::all_ray_queries[input.take_below(4)];
}

} // namespace fuzz
