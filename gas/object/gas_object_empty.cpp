// SPDX-License-Identifier: Apache-2.0
#include <gas/object/gas_object_empty.h>

inline namespace gas_abi1 {

namespace {

void hit_nothing(const GasObject*, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}

} // namespace

GasObjectEmpty::GasObjectEmpty() { set_raytrace_callbacks(hit_nothing, hit_nothing); }

GasObjectEmpty::GasObjectEmpty(const GasObjectEmpty& other) = default;
GasObjectEmpty& GasObjectEmpty::operator=(const GasObjectEmpty& other) = default;
GasObjectEmpty::~GasObjectEmpty() = default;

GMathBbox3<double> GasObjectEmpty::get_bbox() const { return {{0.0, 0.0, 0.0}, {0.0, 0.0, 0.0}}; }

const GasObjectEmpty& GasObjectEmpty::get_gas() {
    static const GasObjectEmpty empty;
    return empty;
}

} // namespace gas_abi1
