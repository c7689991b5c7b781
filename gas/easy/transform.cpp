// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/transform.h>

#include <algorithm>
#include <cmath>

#include <gas/easy/errors.h>

namespace gas {
inline namespace gas_abi1 {

Transform translation(const Vector& offset) {
    Transform result;
    result.rows[0][3] = offset.x;
    result.rows[1][3] = offset.y;
    result.rows[2][3] = offset.z;
    return result;
}

Transform scaling(const Vector& factors) {
    Transform result;
    result.rows[0][0] = factors.x;
    result.rows[1][1] = factors.y;
    result.rows[2][2] = factors.z;
    return result;
}

Transform rotation(const Vector& axis, double radians) {
    const double length = std::sqrt(axis.x * axis.x + axis.y * axis.y + axis.z * axis.z);
    const double x = axis.x / length;
    const double y = axis.y / length;
    const double z = axis.z / length;
    const double s = std::sin(radians);
    const double c = std::cos(radians);
    const double rest = 1.0 - c;
    return {{{c + rest * x * x, rest * x * y - s * z, rest * x * z + s * y, 0.0},
             {rest * x * y + s * z, c + rest * y * y, rest * y * z - s * x, 0.0},
             {rest * x * z - s * y, rest * y * z + s * x, c + rest * z * z, 0.0}}};
}

Transform operator*(const Transform& first, const Transform& second) {
    Transform result;
    for (unsigned row = 0; row < 3; ++row) {
        for (unsigned column = 0; column < 4; ++column) {
            double sum = column == 3 ? first.rows[row][3] : 0.0;
            for (unsigned i = 0; i < 3; ++i)
                sum += first.rows[row][i] * second.rows[i][column];
            result.rows[row][column] = sum;
        }
    }
    return result;
}

Transform invert(const Transform& transform) {
    const auto& m = transform.rows;
    Transform result;
    // The cofactors, transposed.
    for (unsigned row = 0; row < 3; ++row) {
        for (unsigned column = 0; column < 3; ++column) {
            const unsigned a = (column + 1) % 3;
            const unsigned b = (column + 2) % 3;
            const unsigned c = (row + 1) % 3;
            const unsigned d = (row + 2) % 3;
            result.rows[row][column] = m[a][c] * m[b][d] - m[a][d] * m[b][c];
        }
    }
    const double determinant =
        m[0][0] * result.rows[0][0] + m[0][1] * result.rows[1][0] + m[0][2] * result.rows[2][0];
    bool is_finite = true;
    for (auto& row : result.rows) {
        for (unsigned column = 0; column < 3; ++column) {
            row[column] /= determinant;
            is_finite &= std::isfinite(row[column]);
        }
        row[3] = -(row[0] * m[0][3] + row[1] * m[1][3] + row[2] * m[2][3]);
        is_finite &= std::isfinite(row[3]);
    }
    if (!is_finite)
        throw Error("a transform has no inverse: it is flat, or not finite");
    return result;
}

Transform blend(const Transform& first, const Transform& second, double fraction) {
    Transform result;
    for (unsigned row = 0; row < 3; ++row) {
        for (unsigned column = 0; column < 4; ++column)
            result.rows[row][column] =
                (1.0 - fraction) * first.rows[row][column] + fraction * second.rows[row][column];
    }
    return result;
}

Vector transform_point(const Transform& transform, const Vector& point) {
    const auto& m = transform.rows;
    const Vector moved = transform_direction(transform, point);
    return {moved.x + m[0][3], moved.y + m[1][3], moved.z + m[2][3]};
}

Vector transform_direction(const Transform& transform, const Vector& direction) {
    const auto& m = transform.rows;
    const Vector& d = direction;
    return {m[0][0] * d.x + m[0][1] * d.y + m[0][2] * d.z,
            m[1][0] * d.x + m[1][1] * d.y + m[1][2] * d.z,
            m[2][0] * d.x + m[2][1] * d.y + m[2][2] * d.z};
}

Box transform_box(const Transform& transform, const Box& box) {
    Box result = {{infinity, infinity, infinity}, {-infinity, -infinity, -infinity}};
    for (unsigned corner = 0; corner < 8; ++corner) {
        const Vector point = transform_point(transform, {corner & 1 ? box.max.x : box.min.x,
                                                         corner & 2 ? box.max.y : box.min.y,
                                                         corner & 4 ? box.max.z : box.min.z});
        result.min = {std::min(result.min.x, point.x), std::min(result.min.y, point.y),
                      std::min(result.min.z, point.z)};
        result.max = {std::max(result.max.x, point.x), std::max(result.max.y, point.y),
                      std::max(result.max.z, point.z)};
    }
    return result;
}

} // namespace gas_abi1
} // namespace gas
