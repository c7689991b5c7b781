// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

inline namespace gas_abi1 {

/// The checksum of saved trees: 64 bits, eight words side by side, so that it takes about as long
/// as reading memory does. Bytes are summed in blocks, each on its own, so that several threads can
/// do it. It finds accidents, not intent: whoever changes a file can change it, too.
struct GasFileChecksum {
    static constexpr std::size_t row_size = 64;
    static constexpr std::size_t block_size = std::size_t{1} << 20;
    static constexpr std::uint64_t factor = 0x9E3779B97F4A7C15u;

    static std::uint64_t mix(std::uint64_t sum, std::uint64_t word) {
        return std::rotl((sum ^ word) * factor, 29);
    }

    /// Of `size` bytes, a multiple of `row_size` and at most `block_size`.
    static std::uint64_t sum_block(const void* bytes, std::size_t size) {
        std::uint64_t lanes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        const char* const rows = static_cast<const char*>(bytes);
        for (std::size_t row = 0; row < size; row += row_size) {
            std::uint64_t words[8];
            std::memcpy(words, rows + row, row_size);
            for (unsigned lane = 0; lane < 8; ++lane)
                lanes[lane] = mix(lanes[lane], words[lane]);
        }
        std::uint64_t sum = size;
        for (const std::uint64_t lane : lanes)
            sum = mix(sum, lane);
        return sum;
    }

    /// Of a whole, from the sums of its blocks in order: starts with `start`, takes each sum.
    static constexpr std::uint64_t start = 0;
    static std::uint64_t finish(std::uint64_t sum) {
        sum ^= sum >> 32;
        sum *= factor;
        return sum ^ sum >> 29;
    }
};

} // namespace gas_abi1
