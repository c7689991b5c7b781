// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <gas/diagnostics/gas_walk_counts.h>

namespace gas_bench {

/// The indices of rays that cost about as much, in ascending order.
using RayBin = std::vector<unsigned>;

/// Parts rays by their nodes into `side` bins of as many rays, and each of these by leaf calls into
/// `side` bins, so that nodes and leaf calls vary independently of each other. Rays of equal counts
/// may be parted; empty bins are left out.
std::vector<RayBin> make_ray_bins(const std::vector<GasWalkCounts>& counts, unsigned side);

} // namespace gas_bench
