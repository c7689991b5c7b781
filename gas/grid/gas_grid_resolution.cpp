// SPDX-License-Identifier: Apache-2.0
#include <gas/grid/gas_grid_resolution.h>

#include <cmath>
#include <cstdint>

inline namespace gas_abi1 {

namespace {

/// The low 32 bits of a number truncated towards zero; 0 for one that 64 bits do not hold.
unsigned truncate(double value) {
    constexpr double limit = 9223372036854775808.0; // 2^63
    if (!(value > -limit && value < limit))
        return 0;
    return static_cast<unsigned>(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
}

/// Maths libraries may round this function differently: where the product of a scale and an extent
/// lies next to a half, a grid may have one cell more or less along an axis.
double cube_root(double value) { return std::pow(value, 1.0 / 3.0); }

struct Axis {
    double inverse_cell_size;
    unsigned count;
};

Axis divide(double extent, double relative_extent, double scale) {
    constexpr double smallest_extent = 1e-8;
    constexpr double shrink = 0.9999;
    if (!(extent > smallest_extent))
        return {0.0, 1};
    const unsigned rounded = truncate(scale * relative_extent + 0.5);
    const unsigned count = rounded ? rounded : 1;
    const double cell_size = extent / count;
    return {shrink / cell_size, count};
}

} // namespace

GasGridResolution::GasGridResolution(const GMathBbox3<float>& box, unsigned target)
    : corner{static_cast<double>(box.min.x), static_cast<double>(box.min.y),
             static_cast<double>(box.min.z)} {
    const double size_x = static_cast<double>(box.max.x) - corner.x;
    const double size_y = static_cast<double>(box.max.y) - corner.y;
    const double size_z = static_cast<double>(box.max.z) - corner.z;
    const double size_yz = size_y > size_z ? size_y : size_z;
    const double largest = size_x > size_yz ? size_x : size_yz;
    const double inverse_largest = 1.0 / largest;

    // At least a tenth, so that a flat box is not divided without end; also in place of a NaN.
    const auto get_relative = [inverse_largest](double size) {
        constexpr double least = 0.1;
        const double relative = size * inverse_largest;
        return relative > least ? relative : least;
    };
    const double relative_x = get_relative(size_x);
    const double relative_y = get_relative(size_y);
    const double relative_z = get_relative(size_z);
    const double scale =
        cube_root(static_cast<double>(target) / ((relative_x * relative_y) * relative_z));

    const Axis x = divide(size_x, relative_x, scale);
    const Axis y = divide(size_y, relative_y, scale);
    const Axis z = divide(size_z, relative_z, scale);
    inverse_cell_size = {x.inverse_cell_size, y.inverse_cell_size, z.inverse_cell_size};
    counts[0] = x.count;
    counts[1] = y.count;
    counts[2] = z.count;
}

unsigned GasGridResolution::get_cell_count() const {
    const unsigned count = counts[0] * counts[1] * counts[2];
    return count ? count : 1;
}

bool GasGridResolution::find_cell(const GMathVec3<float>& point, unsigned& cell) const {
    const unsigned x = truncate((static_cast<double>(point.x) - corner.x) * inverse_cell_size.x);
    const unsigned y = truncate((static_cast<double>(point.y) - corner.y) * inverse_cell_size.y);
    const unsigned z = truncate((static_cast<double>(point.z) - corner.z) * inverse_cell_size.z);
    if (x >= counts[0] || y >= counts[1] || z >= counts[2])
        return false;
    cell = (z * counts[1] + y) * counts[0] + x;
    // Only where the number of cells has wrapped.
    const unsigned cell_count = get_cell_count();
    if (cell >= cell_count)
        cell %= cell_count;
    return true;
}

} // namespace gas_abi1
