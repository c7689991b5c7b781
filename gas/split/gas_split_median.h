#pragma once

#include <cfloat>

#include <gas/split/gas_split_context.h>
#include <gas/split/gas_split_items.h>

inline namespace gas_abi1 {

/// Cuts at the middle of the centres' bounds along their widest axis. Centres that coincide or
/// overflow are halved in the order they have.
template <GasSplitContext Context>
void gas_split_median(const Context& context, unsigned* items, unsigned count,
                      unsigned& left_count) {
    const GMathBbox3<float> bounds = gas_center_bounds(items, count, context.centers);
    const unsigned axis = gas_widest_axis(bounds);
    const float position = (bounds.min[axis] + bounds.max[axis]) * 0.5f;
    const float extent = bounds.max[axis] - bounds.min[axis];
    if (position > FLT_MAX || extent > FLT_MAX || !gas_is_divisible(extent)) {
        left_count = count / 2;
        return;
    }
    left_count = gas_partition_items(items, count, context.centers, axis, position);
}

} // namespace gas_abi1
