// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>

#include <gas/split/gas_sah_workspace.h>

inline namespace gas_abi1 {

/// What the split algorithms need of a context, for any tree class.
template <typename Context>
concept GasSplitContext = requires(const Context& context) {
    { context.bboxes } -> std::convertible_to<const GMathBbox3<float>*>;
    { context.centers } -> std::convertible_to<const GMathVec3<float>*>;
    { context.sah_workspace } -> std::convertible_to<GasSahWorkspace*>;
};

} // namespace gas_abi1
