// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <vector>

#include <tests/mirror/mirrored_rays.h>
#include <tests/support/pinhole_tile.h>
#include <tests/support/ray_maker.h>
#include <tests/support/tree_build.h>

namespace support {

inline naive::Frustum to_planes(const GMathFrustum& frustum) {
    naive::Frustum planes;
    for (unsigned i = 0; i < frustum.get_plane_count(); ++i) {
        const GMathFrustum::Plane& plane = frustum.get_plane(i);
        planes.push_back({{plane.normal.x, plane.normal.y, plane.normal.z}, plane.offset});
    }
    return planes;
}

/// A corner of a box, or a point near it.
inline GMathVec3<double> point_near(SeededRandom& random, const naive::Box& box) {
    GMathVec3<double> point;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double low = static_cast<double>(box.min[axis]);
        const double high = static_cast<double>(box.max[axis]);
        const double share =
            random.below(3) == 0 ? random.below(2) : random.uniform_double() * 2.0 - 0.5;
        point[axis] = low + (high - low) * share;
    }
    return point;
}

/// Picks batches for a scene.
class BatchMaker {
  public:
    BatchMaker(SeededRandom& random, const std::vector<naive::Box>& boxes)
        : m_random(random), m_boxes(boxes), m_maker(random, boxes) {}

    /// 1 to 300 rays without much in common, rarely any two alike.
    BatchSpec make_incoherent() {
        std::vector<RaySpec> rays(choose_count());
        for (RaySpec& ray : rays)
            ray = m_maker.make(0.0f, 1.0f);
        return make_batch(std::move(rays));
    }

    /// A camera's tile of 1 to 300 rays, row by row, the outer ones on its border. The planes are
    /// those of its frustum.
    BatchSpec make_coherent() {
        const unsigned width = 2 + m_random.below(16);
        std::vector<RaySpec> rays(choose_count());
        const double rows = static_cast<double>((rays.size() - 1) / width);
        const naive::Box& target = any_box();
        GMathVec3<double> eye = point_near(m_random, any_box());
        // From outside, where boxes coincide too.
        const GMathVec3<double> aim = point_near(m_random, target);
        const double reach = m_maker.get_reach();
        while (std::abs(eye.x - aim.x) + std::abs(eye.y - aim.y) + std::abs(eye.z - aim.z) <
               1e-6 * reach)
            eye[m_random.below(3)] += reach * (m_random.uniform_double() - 0.5);
        const double size = std::exp2(1.0 - static_cast<double>(m_random.below(12)));
        const PinholeTile tile = make_tile(m_random, eye, aim, size);
        for (unsigned i = 0; i < rays.size(); ++i) {
            RaySpec& ray = rays[i];
            const GMathVec3<double> direction = tile.get_direction(
                static_cast<double>(i % width) / (width - 1), rows > 0.0 ? i / width / rows : 0.5);
            for (unsigned axis = 0; axis < 3; ++axis) {
                ray.origin[axis] = eye[axis];
                ray.direction[axis] = direction[axis];
            }
            ray.scale = ray.far_distance = 4.0;
            ray.cache_slot = static_cast<int>(m_random.below(6));
            ray.seed = m_random.next();
        }
        BatchSpec batch = make_batch(std::move(rays));
        batch.planes = to_planes(tile.make_frustum());
        return batch;
    }

    /// Either of the two, half of them narrowed.
    BatchSpec make_any() {
        BatchSpec batch = m_random.below(2) ? make_coherent() : make_incoherent();
        if (m_random.below(2))
            narrow(batch);
        return batch;
    }

    /// Takes the batch's planes away or gives it others, or leaves them as they are.
    void change_planes(BatchSpec& batch) {
        if (m_random.below(3) == 0)
            batch.planes.clear();
        else if (m_random.below(4) == 0)
            batch.planes = make_planes();
    }

    /// Narrows the range at either end, often into the middle of a packet.
    void narrow(BatchSpec& batch) {
        const unsigned count = static_cast<unsigned>(batch.rays.size());
        batch.first_ray = static_cast<int>(m_random.below(count));
        batch.last_ray =
            batch.first_ray +
            static_cast<int>(m_random.below(count - static_cast<unsigned>(batch.first_ray)));
    }

    /// Planes through the scene that have nothing to do with any rays.
    naive::Frustum make_planes() {
        naive::Frustum planes(1 + m_random.below(6));
        for (naive::Plane& plane : planes) {
            const GMathVec3<double> point = point_near(m_random, any_box());
            for (double& component : plane.normal)
                component = m_random.below(4) == 0 ? 0.0 : m_random.uniform_double() * 2.0 - 1.0;
            plane.offset = -(plane.normal[0] * point.x + plane.normal[1] * point.y +
                             plane.normal[2] * point.z);
        }
        return planes;
    }

  private:
    const naive::Box& any_box() {
        return m_boxes[m_random.below(static_cast<unsigned>(m_boxes.size()))];
    }

    /// Small and large batches alike.
    unsigned choose_count() {
        constexpr unsigned most[] = {5, 20, 70, 300};
        return 1 + m_random.below(most[m_random.below(4)]);
    }

    SeededRandom& m_random;
    const std::vector<naive::Box>& m_boxes;
    RayMaker m_maker;
};

} // namespace support
