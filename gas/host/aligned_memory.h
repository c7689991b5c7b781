// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// `size` bytes at a 16-byte boundary, uninitialised; released with `sys_aligned_free`. Throws
/// std::bad_alloc when there is no memory; a size of 0 gives a pointer that can be released. Blocks
/// of several megabytes, here and below, are in huge pages where the system has some.
GAS_HOST_EXPORT void* sys_aligned_malloc(std::size_t size);
/// Null is allowed.
GAS_HOST_EXPORT void sys_aligned_free(void* memory);

/// The C heap: as `malloc`, but throws std::bad_alloc in place of returning null.
GAS_HOST_EXPORT void* sys_malloc(std::size_t size);
/// Null is allowed.
GAS_HOST_EXPORT void sys_free(void* memory);

} // namespace gas_abi1
