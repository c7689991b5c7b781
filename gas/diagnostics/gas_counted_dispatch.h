// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/diagnostics/gas_counted_rays.h>
#include <gas/diagnostics/gas_counting_probe.h>
#include <gas/traversal/gas_ray_dispatch.h>

inline namespace gas_abi1 {

/// Calls `trace` with what is asked as constants.
template <GasRayWay way, typename Trace> void gas_with_call(GasRayCall call, const Trace& trace) {
    switch (call) {
    case GasRayCall::hit_static:
        return trace.template operator()<GasRayCall::hit_static, way>();
    case GasRayCall::hit_motion:
        return trace.template operator()<GasRayCall::hit_motion, way>();
    case GasRayCall::nearest_static:
        return trace.template operator()<GasRayCall::nearest_static, way>();
    case GasRayCall::nearest_motion:
        return trace.template operator()<GasRayCall::nearest_motion, way>();
    }
}

template <typename Trace> void gas_with_call(GasRayCall call, GasRayWay way, const Trace& trace) {
    if (way == GasRayWay::stream)
        gas_with_call<GasRayWay::stream>(call, trace);
    else
        gas_with_call<GasRayWay::query>(call, trace);
}

} // namespace gas_abi1
