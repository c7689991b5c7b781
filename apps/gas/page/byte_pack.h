// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <string>
#include <vector>

namespace gas_app {

/// Arrays of numbers for a page, which reads them by their places. Of each array first the lowest
/// bytes of all numbers, then the next ones: so they deflate better.
class BytePack {
  public:
    /// Of an array: where it begins, and how many numbers it has.
    struct Place {
        std::size_t offset = 0;
        std::size_t count = 0;
    };

    template <typename Number> Place add(const std::vector<Number>& numbers) {
        const Place place{m_bytes.size(), numbers.size()};
        m_bytes.resize(place.offset + numbers.size() * sizeof(Number));
        for (std::size_t index = 0; index < numbers.size(); ++index) {
            unsigned char bytes[sizeof(Number)];
            std::memcpy(bytes, &numbers[index], sizeof(Number));
            for (std::size_t byte = 0; byte < sizeof(Number); ++byte)
                m_bytes[place.offset + byte * numbers.size() + index] = bytes[byte];
        }
        return place;
    }

    /// Deflated, as zlib writes it, in base 64. Throws when memory runs out.
    std::string encode() const;

  private:
    std::vector<unsigned char> m_bytes;
};

} // namespace gas_app
