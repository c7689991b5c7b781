// SPDX-License-Identifier: Apache-2.0
#pragma once

inline namespace gas_abi1 {

/// What the renderer is evaluating; the library passes it through to the callbacks untouched.
class CtxEval {
  public:
    /// A pointer for the callbacks' use; null until set. It is the same for all queries of this
    /// evaluation; a pointer of one query's own goes with its rays
    /// (GeometryRaytraceData::set_query_data).
    void* user_data = nullptr;
};

} // namespace gas_abi1
