// SPDX-License-Identifier: Apache-2.0
#include <gas/rays/gas_make_ray_calls.h>

inline namespace gas_abi1 {

constexpr GasRayCalls gas_abi1_avx2_ray_calls = gas_make_ray_calls();

} // namespace gas_abi1
