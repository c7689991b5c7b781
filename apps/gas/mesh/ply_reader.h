// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/mesh/ply_header.h>

namespace gas_app {

/// Reads the numbers of a PLY file, one after the other.
class PlyReader {
  public:
    /// Both outlive the reader.
    PlyReader(const std::string& text, const std::string& path, const PlyHeader& header)
        : m_text(text), m_path(path), m_format(header.format), m_next(header.size),
          m_line(header.line) {}

    /// Names what is read next, for messages; `item` counts from 0.
    void begin(const std::string& element, std::uint64_t item) {
        m_element = &element;
        m_item = item;
    }
    /// The next number.
    double read(PlyType type);
    /// The next number, which is a whole one from 0 to `largest`.
    std::uint64_t read_whole(PlyType type, std::uint64_t largest);
    /// The count of a list.
    std::uint64_t read_count(PlyType type);

    /// How much of the text was read.
    std::size_t get_next() const { return m_next; }
    /// Where the number that was read last is: a line or a byte, and its element.
    std::string get_place() const;
    /// Throws a UserError with the place of the number that was read last.
    [[noreturn]] void fail(const std::string& message) const;

  private:
    [[noreturn]] void fail_at_end() const;
    double read_word();
    double read_bytes(PlyType type);
    std::size_t get_rest() const { return m_text.size() - m_next; }

    const std::string& m_text;
    const std::string& m_path;
    PlyFormat m_format;
    std::size_t m_next;
    std::size_t m_line;
    /// Where the number that was read last begins.
    std::size_t m_place = 0;
    const std::string* m_element = nullptr;
    std::uint64_t m_item = 0;
};

} // namespace gas_app
