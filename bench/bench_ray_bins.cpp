// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_ray_bins.h>

#include <algorithm>
#include <cstdint>
#include <numeric>

namespace gas_bench {

namespace {

/// `side` runs of as many rays, sorted by `get_count`; rays of equal counts keep their order.
template <typename GetCount>
std::vector<RayBin> part(RayBin rays, unsigned side, const GetCount& get_count) {
    std::stable_sort(rays.begin(), rays.end(),
                     [&get_count](unsigned a, unsigned b) { return get_count(a) < get_count(b); });
    std::vector<RayBin> bins;
    for (unsigned i = 0; i < side; ++i) {
        const auto begin = static_cast<std::ptrdiff_t>(rays.size() * i / side);
        const auto end = static_cast<std::ptrdiff_t>(rays.size() * (i + 1) / side);
        if (begin < end)
            bins.emplace_back(rays.begin() + begin, rays.begin() + end);
    }
    return bins;
}

} // namespace

std::vector<RayBin> make_ray_bins(const std::vector<GasWalkCounts>& counts, unsigned side) {
    RayBin all(counts.size());
    std::iota(all.begin(), all.end(), 0u);
    std::vector<RayBin> bins;
    const auto get_nodes = [&counts](unsigned ray) { return counts[ray].visited_nodes; };
    const auto get_leaf_calls = [&counts](unsigned ray) { return counts[ray].leaf_calls; };
    for (RayBin& row : part(std::move(all), side, get_nodes)) {
        for (RayBin& bin : part(std::move(row), side, get_leaf_calls)) {
            std::sort(bin.begin(), bin.end());
            bins.push_back(std::move(bin));
        }
    }
    return bins;
}

} // namespace gas_bench
