// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The division of a box into the cells of a grid.
struct GasGridResolution {
    GMathVec3<double> corner;
    /// Cells per unit, a little less than exact: a centre on the far face stays in the last cell.
    GMathVec3<double> inverse_cell_size;
    /// At least 1 each.
    unsigned counts[3];

    /// For about `target` cells that are about as long as wide. An axis along which the box has
    /// next to no extent is not divided.
    GasGridResolution(const GMathBbox3<float>& box, unsigned target);

    /// The number of cells in 32 bits: a larger number wraps, and is never 0.
    unsigned get_cell_count() const;

    /// Finds the cell of a finite point. False: the point lies too far outside to have one.
    bool find_cell(const GMathVec3<float>& point, unsigned& cell) const;
};

} // namespace gas_abi1
