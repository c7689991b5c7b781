// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bench/bench_workload.h>
#include <bench/peer/peer_scene.h>
#include <bench/peer/row_maker.h>

namespace gas_peer {

/// The rows of the table "GasTree and the peer" for one scene. One file for each kind.
void add_build_rows(gas_bench::Workload& workload, const PeerDevices& devices, RowMaker& rows);
void add_trace_rows(gas_bench::Workload& workload, const PeerDevices& devices, RowMaker& rows);

/// The usual build alone.
void add_first_build_row(const Scene& scene, const PeerDevices& devices, RowMaker& rows);

/// The rows of the table "growth" for one scene: the usual build and a call per ray, per item or
/// ray, and the same by the logarithm of the item count. All operations are included.
void add_growth_rows(gas_bench::Workload& workload, const PeerDevices& devices, RowMaker& rows);

} // namespace gas_peer
