// SPDX-License-Identifier: Apache-2.0
#pragma once

inline namespace gas_abi1 {

/// How a build divides the items of a node. The values are those of an application's build method
/// setting, where any other counts as `sah_fast`. `{}` is `median`. SAH: surface area
/// heuristic.
enum class GasBuildMethod {
    /// At the middle of the centres' bounds along their widest axis: the fastest build.
    median = 0,
    /// The median above 128 items, below that as `sah_fast`.
    hybrid = 1,
    /// Binned SAH along the widest axis: what a build takes that is told nothing.
    sah_fast = 2,
    /// Binned SAH along all three axes: the slowest build, the fastest rays.
    sah = 3
};

} // namespace gas_abi1
