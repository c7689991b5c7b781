// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/math/vector_math.h>
#include <apps/gas/trees/trace_state.h>

namespace gas_app {

/// A triangle in the space of its shape, at one moment.
struct Triangle {
    Vec3 a;
    Vec3 b;
    Vec3 c;

    bool intersect(const LocalRay& ray, double, ItemHit& hit) const {
        return ray.shear.intersect_triangle(ray.origin, a, b, c, hit);
    }

    Box get_box() const {
        Box box{a, a};
        grow(box, b);
        grow(box, c);
        return box;
    }
};

} // namespace gas_app
