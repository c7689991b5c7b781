// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <new>

#include <gas/host/aligned_memory.h>

// Sizes that wrap when they are rounded up; the library asks any host for less.
TEST(AlignedMemoryOfTheReferenceHost, SizesThatWouldWrapThrow) {
    const std::size_t largest = std::numeric_limits<std::size_t>::max();
    for (const std::size_t size : {largest, largest - 14, largest - 15, largest - 4096}) {
        EXPECT_THROW(sys_aligned_free(sys_aligned_malloc(size)), std::bad_alloc) << size;
        EXPECT_THROW(sys_free(sys_malloc(size)), std::bad_alloc) << size;
    }
}
