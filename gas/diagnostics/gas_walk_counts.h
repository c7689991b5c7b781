// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

inline namespace gas_abi1 {

/// What a query did: for heat maps and benchmarks. The counting engines are instantiations of the
/// shipped ones: they take the same ways, over the same nodes, and make the very same calls. The
/// library itself carries no counters.
struct GasWalkCounts {
    /// For rays that go alone and for streams: nodes that were expanded, their children tested; a
    /// wide node is one, however many boxes it holds. For rays that go together (static nearest-hit
    /// batches): nodes, leaves included, whose own box was tested, each once however many packets
    /// or rays the test took. In a grid: those of the tree over its cells and of the cells' trees.
    std::uint64_t visited_nodes = 0;
    /// Leaf callbacks, each for one ray or for a range of rays that go together.
    std::uint64_t leaf_calls = 0;
};

} // namespace gas_abi1
