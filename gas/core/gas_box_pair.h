#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The boxes of two siblings, in lanes x, y, z; lane w is 0.
struct GasBoxPair {
    SimdF first_min;
    SimdF first_max;
    SimdF second_min;
    SimdF second_max;
};

} // namespace gas_abi1
