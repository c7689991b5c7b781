// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <bench/peer/machine.h>
#include <bench/peer/row_maker.h>
#include <bench/peer/table.h>

namespace gas_peer {

/// All results of a run.
struct Report {
    Machine machine;
    MeasureSettings settings;
    std::vector<Table> tables;
    /// Rays with answers that are not explained.
    unsigned unexplained_count = 0;
};

/// Everything, as JSON.
std::string format_json(const Report& report);

/// A chart of a table's second column: a bar for the mean of each operation's ratios, a mark for
/// its floor. Readable on light and dark pages.
std::string format_svg(const Table& table, const Machine& machine);

} // namespace gas_peer
