// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>

#include <gas/host/host.h>

TEST(AlignedMemory, StartsAtASixteenByteBoundary) {
    for (std::size_t size = 1; size < 200; ++size) {
        void* memory = sys_aligned_malloc(size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % 16, 0u) << size;
        std::memset(memory, 0xAB, size);
        sys_aligned_free(memory);
    }
}

TEST(AlignedMemory, LargeBlocksCanBeWrittenFromEndToEnd) {
    constexpr std::size_t huge_page = std::size_t{2} << 20;
    for (const std::size_t size : {2 * huge_page - 1, 2 * huge_page, 2 * huge_page + 1,
                                   3 * huge_page - 16, 3 * huge_page + 4096}) {
        for (const bool is_aligned : {false, true}) {
            void* memory = is_aligned ? sys_aligned_malloc(size) : sys_malloc(size);
            const std::size_t boundary = is_aligned ? 16 : alignof(std::max_align_t);
            EXPECT_EQ(reinterpret_cast<std::uintptr_t>(memory) % boundary, 0u) << size;
            std::memset(memory, 0xAB, size);
            EXPECT_EQ(static_cast<unsigned char*>(memory)[size - 1], 0xAB) << size;
            is_aligned ? sys_aligned_free(memory) : sys_free(memory);
        }
    }
}

TEST(AlignedMemory, NoBytesCanBeReleased) {
    void* memory = sys_aligned_malloc(0);
    EXPECT_NE(memory, nullptr);
    sys_aligned_free(memory);
    memory = sys_malloc(0);
    EXPECT_NE(memory, nullptr);
    sys_free(memory);
}

TEST(AlignedMemory, NullCanBeReleased) {
    sys_aligned_free(nullptr);
    sys_free(nullptr);
}

// Under the sanitizers this needs allocator_may_return_null=1, which the test run sets.
TEST(AlignedMemory, AbsurdSizesThrow) {
    const std::size_t largest = std::numeric_limits<std::size_t>::max();
    // A process of 32 bits may have a quarter of its addresses.
    const std::size_t smaller = sizeof(void*) == 8 ? largest / 4 : largest / 4 * 3;
    for (const std::size_t size : {largest / 2, smaller}) {
        EXPECT_THROW(sys_aligned_free(sys_aligned_malloc(size)), std::bad_alloc) << size;
        EXPECT_THROW(sys_free(sys_malloc(size)), std::bad_alloc) << size;
    }
}

TEST(AlignedMemory, TheCHeapGivesUsableMemory) {
    auto* numbers = static_cast<unsigned*>(sys_malloc(100 * sizeof(unsigned)));
    for (unsigned i = 0; i < 100; ++i)
        numbers[i] = i;
    EXPECT_EQ(numbers[99], 99u);
    sys_free(numbers);
}
