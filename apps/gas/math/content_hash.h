// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include <gas/files/gas_file_checksum.h>

namespace gas_app {

/// A number of 64 bits that tells contents apart: equal for equal bytes that were added in the same
/// pieces. It finds accidents, not intent.
class ContentHash {
  public:
    void add_bytes(const void* bytes, std::size_t size) {
        const char* const start = static_cast<const char*>(bytes);
        m_sum = GasFileChecksum::mix(m_sum, size);
        for (std::size_t place = 0; place < size; place += sizeof(std::uint64_t)) {
            std::uint64_t word = 0;
            std::memcpy(&word, start + place, std::min(sizeof word, size - place));
            m_sum = GasFileChecksum::mix(m_sum, word);
        }
    }
    void add(const std::string& text) { add_bytes(text.data(), text.size()); }
    /// A value without gaps between its parts, and many of them.
    template <typename Value> void add(const Value& value) {
        static_assert(std::is_trivially_copyable_v<Value>);
        add_bytes(&value, sizeof value);
    }
    template <typename Value> void add(const std::vector<Value>& values) {
        static_assert(std::is_trivially_copyable_v<Value>);
        add_bytes(values.data(), values.size() * sizeof(Value));
    }

    std::uint64_t get() const { return GasFileChecksum::finish(m_sum); }

  private:
    std::uint64_t m_sum = 1;
};

} // namespace gas_app
