// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bench/bench_workload.h>
#include <bench/peer/row_maker.h>

/// Tables without the peer.
namespace gas_peer {

/// The rows of the table "tree classes" for one scene: GasTree, GasCompressedTree, GasGridTree.
void add_tree_rows(gas_bench::Workload& workload, RowMaker& rows);

/// The rows of the table "spatial queries" for one scene: nodes that GasTree's queries visit, and
/// the fewest that any walk of the same tree needs.
void add_query_rows(gas_bench::Workload& workload, RowMaker& rows);

} // namespace gas_peer
