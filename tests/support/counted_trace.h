// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/diagnostics/gas_counted_rays.h>

#include <tests/support/recording_callbacks.h>

namespace support {

/// Runs one query through the counting engines; `shortcut` is what the tree's queries take.
template <typename Tree, typename... Shortcut>
void trace_counted(const Tree& tree, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
                   GasWalkCounts& counts, Shortcut... shortcut) {
    gas_counted_rays(tree, static_cast<GasRayCall>(query), GasRayWay::query, CtxEval(), shader,
                     rays, shortcut..., counts);
}

/// Runs the stream of that kind.
template <typename Tree, typename... Shortcut>
void trace_counted_stream(const Tree& tree, RayQuery query, CtxShader& shader,
                          GeometryRaytraceCtx& rays, GasWalkCounts& counts, Shortcut... shortcut) {
    gas_counted_rays(tree, static_cast<GasRayCall>(query), GasRayWay::stream, CtxEval(), shader,
                     rays, shortcut..., counts);
}

} // namespace support
