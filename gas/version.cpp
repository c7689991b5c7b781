// SPDX-License-Identifier: Apache-2.0
#include <gas/version.h>

inline namespace gas_abi1 {

unsigned gas_get_version() { return GAS_VERSION; }

const char* gas_get_version_string() { return GAS_VERSION_STRING; }

} // namespace gas_abi1
