// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/ply_reader.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <string_view>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>

namespace gas_app {

namespace {

template <typename Number> double convert(const std::array<char, 8>& bytes) {
    Number number;
    std::memcpy(&number, bytes.data(), sizeof number);
    return static_cast<double>(number);
}

double convert(PlyType type, const std::array<char, 8>& bytes) {
    switch (type) {
    case PlyType::int8:
        return convert<std::int8_t>(bytes);
    case PlyType::uint8:
        return convert<std::uint8_t>(bytes);
    case PlyType::int16:
        return convert<std::int16_t>(bytes);
    case PlyType::uint16:
        return convert<std::uint16_t>(bytes);
    case PlyType::int32:
        return convert<std::int32_t>(bytes);
    case PlyType::uint32:
        return convert<std::uint32_t>(bytes);
    case PlyType::float32:
        return convert<float>(bytes);
    case PlyType::float64:
        break;
    }
    return convert<double>(bytes);
}

bool is_blank(char character) {
    return std::string_view(" \t\r\n\v\f").find(character) != std::string_view::npos;
}

} // namespace

double PlyReader::read(PlyType type) {
    return m_format == PlyFormat::ascii ? read_word() : read_bytes(type);
}

double PlyReader::read_word() {
    for (; m_next < m_text.size() && is_blank(m_text[m_next]); ++m_next) {
        // A carriage return alone ends a line, too.
        const bool pair =
            m_text[m_next] == '\r' && m_next + 1 < m_text.size() && m_text[m_next + 1] == '\n';
        if (m_text[m_next] == '\n' || (m_text[m_next] == '\r' && !pair))
            ++m_line;
    }
    m_place = m_next;
    while (m_next < m_text.size() && !is_blank(m_text[m_next]))
        ++m_next;
    if (m_place == m_next)
        fail_at_end();
    const std::string_view word(m_text.data() + m_place, m_next - m_place);
    double number = 0.0;
    if (!parse_number(word, number))
        fail(quote(word) + " is not a number");
    return number;
}

double PlyReader::read_bytes(PlyType type) {
    const unsigned size = get_size(type);
    m_place = m_next;
    if (get_rest() < size)
        fail_at_end();
    std::array<char, 8> bytes = {};
    std::memcpy(bytes.data(), m_text.data() + m_next, size);
    const bool is_little = m_format == PlyFormat::little_endian;
    if (is_little != (std::endian::native == std::endian::little))
        std::reverse(bytes.begin(), bytes.begin() + size);
    m_next += size;
    return convert(type, bytes);
}

std::uint64_t PlyReader::read_whole(PlyType type, std::uint64_t largest) {
    const double number = read(type);
    // Written so that a NaN fails.
    if (!(number >= 0.0 && number <= static_cast<double>(largest)) || number != std::floor(number))
        fail("expected a whole number from 0 to " + std::to_string(largest));
    return static_cast<std::uint64_t>(number);
}

std::uint64_t PlyReader::read_count(PlyType type) {
    const std::uint64_t count = read_whole(type, 0xFFFFFFFFu);
    if (count > get_rest()) // every number takes a byte or more
        fail_at_end();
    return count;
}

std::string PlyReader::get_place() const {
    const std::string place = m_format == PlyFormat::ascii ? "line " + std::to_string(m_line)
                                                           : "byte " + std::to_string(m_place);
    return place + ": " + quote(*m_element) + " " + std::to_string(m_item);
}

void PlyReader::fail(const std::string& message) const {
    throw UserError(m_path + ", " + get_place() + ": " + message);
}

void PlyReader::fail_at_end() const {
    throw UserError(m_path + ": ends in " + quote(*m_element) + " " + std::to_string(m_item) +
                    ", so the file may have been cut");
}

} // namespace gas_app
