// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>
#include <limits>
#include <vector>

/// The renderer's vectors, boxes, lines and regions.
namespace my {

/// Indexed by axis; a plain record of three numbers, as boxes are of six.
template <typename T> struct Vec {
    T x, y, z;

    T& operator[](unsigned axis) { return (&x)[axis]; }
    const T& operator[](unsigned axis) const { return (&x)[axis]; }
    Vec operator+(const Vec& other) const { return {x + other.x, y + other.y, z + other.z}; }
    Vec operator-(const Vec& other) const { return {x - other.x, y - other.y, z - other.z}; }
};

template <typename T> struct Box { Vec<T> min, max; };

/// Where a ray starts and goes to, and one over its direction.
struct Line {
    Vec<double> origin, direction, inverse;

    Line(const Vec<double>& new_origin, const Vec<double>& new_direction)
        : origin(new_origin), direction(new_direction) {
        for (unsigned axis = 0; axis < 3; ++axis)
            inverse[axis] = invert(direction[axis]);
    }

    /// Zeros of either sign give +infinity; all else fits a float, because rays are tested in
    /// floats.
    static double invert(double component) {
        if (component == 0)
            return std::numeric_limits<double>::infinity();
        const double largest = std::numeric_limits<float>::max();
        const double inverse = 1 / component;
        return inverse > largest ? largest : inverse < -largest ? -largest : inverse;
    }
};

/// The points that lie behind no plane: normal . p + offset >= 0.
struct Region {
    struct Plane {
        Vec<double> normal;
        double offset;
    };
    std::vector<Plane> planes;
};

} // namespace my
