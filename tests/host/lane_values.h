// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gas/host/host.h>
#include <gas/host/simd/simd_scalar.h>

// Four lanes as plain values, for the tests of the lanes in use and of the portable back end.

namespace lanes {

using Bits = std::array<std::uint32_t, 4>;

inline Bits to_bits(const SimdF& lanes) {
    float floats[4];
    lanes.store(floats);
    Bits bits;
    std::memcpy(bits.data(), floats, sizeof floats);
    return bits;
}
inline Bits to_bits(const gas_simd_scalar::Lanes& lanes) {
    Bits bits;
    std::memcpy(bits.data(), lanes.lane, sizeof lanes.lane);
    return bits;
}

/// Calls `check` with four pairs at a time until every pair of values was in every lane. The second
/// of a pair goes on by `stride` values from lane to lane, the first by 7.
template <typename Value, typename Check>
void for_all_pairs(const std::vector<Value>& values, std::size_t stride, const Check& check) {
    const std::size_t count = values.size();
    for (std::size_t i = 0; i < count; ++i) {
        for (std::size_t j = 0; j < count; ++j) {
            std::array<Value, 4> a;
            std::array<Value, 4> b;
            for (std::size_t lane = 0; lane < 4; ++lane) {
                a[lane] = values[(i + 7 * lane) % count];
                b[lane] = values[(j + stride * lane) % count];
            }
            check(a, b);
        }
    }
}

} // namespace lanes
