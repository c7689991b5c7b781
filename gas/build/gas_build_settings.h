// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>
#include <gas/split/gas_build_method.h>

inline namespace gas_abi1 {

/// What a caller of `create` says of a build beside boxes and items.
struct GasBuildSettings {
    /// Counts only without a progress bar: with one, the bar's application chooses.
    GasBuildMethod method = GasBuildMethod::sah_fast;
    /// Null for none.
    AppProgressBar* progress_bar = nullptr;
    /// Of the bar, for this build.
    float progress_share = 1.0f;
    /// Null for a build on the calling thread alone.
    SysThreadTaskManager* task_manager = nullptr;
    unsigned thread_count = 1;
};

} // namespace gas_abi1
