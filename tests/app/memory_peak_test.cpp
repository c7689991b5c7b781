// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/report/memory_peak.h>

#include <fstream>
#include <memory>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

constexpr std::size_t megabyte = std::size_t{1} << 20;
constexpr std::size_t block_size = 16 * megabyte;

/// Holds a block for a moment, with something in every page of it.
void hold_block() {
    constexpr std::size_t page = 4096;
    const std::unique_ptr<volatile char[]> block(new volatile char[block_size]);
    for (std::size_t place = 0; place < block_size; place += page)
        block[place] = 1;
}

/// Whether this system is known to tell: it lets a process start its peak anew.
bool must_tell() {
#if defined(__linux__)
    return std::ofstream("/proc/self/clear_refs").is_open();
#else
    return false;
#endif
}

TEST(MemoryPeak, IsToldByLinux) {
    if (must_tell()) {
        const MemoryPeak peak;
        hold_block();
        const std::optional<std::size_t> growth = peak.get_growth();
        ASSERT_TRUE(growth);
        EXPECT_GE(*growth, block_size - megabyte);
        const std::optional<std::size_t> resident = get_peak_resident_size();
        ASSERT_TRUE(resident);
        EXPECT_GE(*resident, *growth);
    }
}

/// Where the system does not tell, there is nothing; it never tells at one time and not at another.
TEST(MemoryPeak, KnowsWhatWasHeldForAMoment) {
    const MemoryPeak peak;
    hold_block();
    const std::optional<std::size_t> growth = peak.get_growth();
    EXPECT_GE(growth.value_or(block_size), block_size - megabyte);
    EXPECT_LE(growth.value_or(block_size), 2 * block_size);
    EXPECT_EQ(growth.has_value(), MemoryPeak().get_growth().has_value());
}

TEST(MemoryPeak, ForgetsEarlierPeaks) {
    const bool knows = MemoryPeak().get_growth().has_value();
    hold_block();
    const MemoryPeak peak;
    EXPECT_EQ(peak.get_growth().has_value(), knows);
    EXPECT_LE(peak.get_growth().value_or(0), megabyte);
}

} // namespace
