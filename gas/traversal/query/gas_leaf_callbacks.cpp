// SPDX-License-Identifier: Apache-2.0
#include <gas/traversal/query/gas_leaf_callbacks.h>

inline namespace gas_abi1 {

void GasLeafCallbacks::ignore(void*, const unsigned&, const CtxEval&, CtxShader&,
                              GeometryRaytraceCtx&) {}

} // namespace gas_abi1
