// SPDX-License-Identifier: Apache-2.0
#pragma once

inline namespace gas_abi1 {

/// A node's box (AABB) as the ray engines take it: min x, y, z, 0, then max x, y, z, 0. Each half
/// loads as one SimdF.
struct alignas(16) GasBbox {
    float min[4];
    float max[4];
};

static_assert(sizeof(GasBbox) == 32, "two four-lane vectors");

} // namespace gas_abi1
