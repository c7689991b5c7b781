#pragma once

#include <bench/peer/peer_scene.h>

namespace gas_peer {

/// The cost, as gas_bench::get_sah_cost has it, of the tree that the peer's binned SAH builder
/// makes of the scene's boxes when it is asked for two children a node and one item a leaf. (A
/// scene's own tree, of more children a node, is out of reach.)
double get_peer_cost(const PeerDevice& device, const Scene& scene);

} // namespace gas_peer
