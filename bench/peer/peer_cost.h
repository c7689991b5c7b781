// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bench/peer/peer_scene.h>

namespace gas_peer {

/// The cost, as of gas_bench::get_sah_cost, of the tree that the peer's binned SAH builder makes of
/// the scene's boxes with two children a node and one item a leaf. (A scene's own tree, with more
/// children a node, is not accessible.)
double get_peer_cost(const PeerDevice& device, const Scene& scene);

} // namespace gas_peer
