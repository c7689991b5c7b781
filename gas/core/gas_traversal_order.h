#pragma once

#include <cfloat>

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The traversal order code of two sibling boxes: the axis along which they are best separated
/// (bits 0 and 1), and whether the second lies on the low side (bit 2). The first of equal gaps
/// counts. `previous` when no gap compares (NaN, or below the lowest float).
inline unsigned gas_traversal_order(unsigned previous, const GMathVec3<float>& first_min,
                                    const GMathVec3<float>& first_max,
                                    const GMathVec3<float>& second_min,
                                    const GMathVec3<float>& second_max) {
    unsigned code = previous;
    float best = -FLT_MAX;
    const auto offer = [&](float gap, unsigned gap_code) {
        if (gap > best) {
            best = gap;
            code = gap_code;
        }
    };
    offer(second_min.x - first_max.x, 0);
    offer(first_min.x - second_max.x, 4);
    offer(second_min.y - first_max.y, 1);
    offer(first_min.y - second_max.y, 5);
    offer(second_min.z - first_max.z, 2);
    offer(first_min.z - second_max.z, 6);
    return code;
}

} // namespace gas_abi1
