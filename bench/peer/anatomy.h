// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bench/peer/peer_scene.h>
#include <bench/peer/row_maker.h>
#include <bench/peer/table.h>

namespace gas_peer {

/// The sections of the table "anatomy", one for each query and way: what a ray costs at the start,
/// for a node, for a leaf call and for an intersection, fitted to the times of many groups of rays
/// and beside that measured directly. `is_quick`: over tiny scenes. Rays with answers that are not
/// explained are added to `unexplained_count`.
void measure_anatomy(const PeerDevices& devices, const MeasureSettings& settings, bool is_quick,
                     Table& table, unsigned& unexplained_count);

} // namespace gas_peer
