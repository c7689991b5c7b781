// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

/// The bytes that a fuzzer gives, read from the first to the last; zeros after these.
class FuzzInput {
  public:
    FuzzInput(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes), m_left(size) {}

    bool is_empty() const { return m_left == 0; }

    unsigned take_byte() {
        if (m_left == 0)
            return 0;
        --m_left;
        return *m_bytes++;
    }
    /// A number below `end`, which is at most 256.
    unsigned take_below(unsigned end) { return take_byte() % end; }

    /// Mostly a small number with equals among others of its kind; now and then any float.
    float take_float() {
        const unsigned byte = take_byte();
        if (byte < 250)
            return (static_cast<float>(byte) - 125.0f) * 0.125f;
        std::uint32_t bits = 0;
        for (unsigned i = 0; i < 4; ++i)
            bits = bits << 8 | take_byte();
        float number;
        std::memcpy(&number, &bits, sizeof number);
        return number;
    }

  private:
    const std::uint8_t* m_bytes;
    std::size_t m_left;
};
