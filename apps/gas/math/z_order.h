// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace gas_app {

/// The even bits of a number, compacted: the column of a place on a Z-order curve (Morton
/// 1966); of half the number, its row.
inline unsigned take_even_bits(unsigned bits) {
    unsigned number = 0;
    for (unsigned bit = 0; bit < 16; ++bit)
        number |= (bits >> (2 * bit) & 1u) << bit;
    return number;
}

} // namespace gas_app
