// SPDX-License-Identifier: Apache-2.0
#include <new>

#include <gas/host/core_vector.h>

inline namespace gas_abi1 {

void core_throw_bad_length() { throw std::bad_array_new_length(); }

} // namespace gas_abi1
