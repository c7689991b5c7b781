// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <bench/peer/anatomy_stage.h>
#include <bench/peer/table.h>

namespace gas_peer {

/// Adds what a ray's parts cost where a scene is made of one of them: rays that miss, rays that
/// visit nodes without a leaf, and rays that call empty leaves. All rays of a scene go the same
/// way, which is therefore predicted: it is the least that a part costs. `peer`: which of the
/// peer's contenders is compared.
void add_direct_rows(const AnatomyQuery& query, const std::string& peer, const PeerDevices& devices,
                     const MeasureSettings& settings, double reference_seconds, Section& section);

} // namespace gas_peer
