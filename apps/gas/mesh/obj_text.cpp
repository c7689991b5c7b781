// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/obj_text.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <string_view>
#include <utility>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>

namespace gas_app {

namespace {

constexpr std::string_view blanks = " \t";

/// Removes the next word from the front of `line`; empty when there is none.
std::string_view take_word(std::string_view& line) {
    const std::size_t start = std::min(line.find_first_not_of(blanks), line.size());
    const std::size_t end = std::min(line.find_first_of(blanks, start), line.size());
    const std::string_view word = line.substr(start, end - start);
    line.remove_prefix(end);
    return word;
}

class ObjTextCheck {
  public:
    ObjTextCheck(std::string& text, const std::string& path, ReadProgress* progress)
        : m_text(text), m_path(path), m_progress(progress) {}

    ObjLeftOut run() {
        blank_byte_order_mark();
        std::size_t start = 0;
        while (start < m_text.size()) {
            ++m_line;
            std::size_t end = find_line_end(start);
            const std::size_t continued = join_continued_lines(start, end);
            check_line(start, end);
            m_line += continued;
            start = skip_line_end(end);
            if (m_progress)
                m_progress->reach(start);
        }
        if (m_largest_reference > m_vertex_count) {
            m_line = m_largest_reference_line;
            fail("a face refers to vertex " + std::to_string(m_largest_reference) +
                 ", but the file has only " + std::to_string(m_vertex_count));
        }
        if (!m_left_out.bad_vertices.is_empty())
            leave_out_bad_faces();
        return std::move(m_left_out);
    }

  private:
    [[noreturn]] void fail(const std::string& message) const {
        throw UserError(m_path + ", line " + std::to_string(m_line) + ": " + message);
    }

    /// Some editors begin a text with one; the first line would not be recognised.
    void blank_byte_order_mark() {
        constexpr std::string_view mark = "\xEF\xBB\xBF";
        if (m_text.starts_with(mark))
            m_text.replace(0, mark.size(), mark.size(), ' ');
    }

    /// A carriage return alone ends a line, too.
    std::size_t find_line_end(std::size_t start) const {
        return std::min(m_text.find_first_of("\r\n", start), m_text.size());
    }

    std::size_t skip_line_end(std::size_t end) const {
        const bool pair = end + 1 < m_text.size() && m_text[end] == '\r' && m_text[end + 1] == '\n';
        return std::min(end + (pair ? 2 : 1), m_text.size());
    }

    /// A line that ends in a backslash goes on in the next one, unless it is a comment. Blanks what
    /// stands between the two, moves `end`, and returns how many lines were added.
    std::size_t join_continued_lines(std::size_t start, std::size_t& end) {
        const std::size_t first = m_text.find_first_not_of(blanks, start);
        if (first < end && m_text[first] == '#')
            return 0;
        std::size_t count = 0;
        for (; end > start && m_text[end - 1] == '\\'; ++count) {
            const std::size_t next = skip_line_end(end);
            std::fill(&m_text[end - 1], m_text.data() + next, ' ');
            end = find_line_end(next);
        }
        return count;
    }

    void check_line(std::size_t start, std::size_t end) {
        std::string_view line(m_text.data() + start, end - start);
        const std::string_view kind = take_word(line);
        if (kind == "v")
            check_vertex(line);
        else if (kind == "f")
            check_face(line, start);
        else if (kind != "vn" && kind != "vt" && !kind.empty())
            m_text[start] = '#';
    }

    void check_vertex(std::string_view line) {
        ++m_vertex_count;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const std::string_view word = take_word(line);
            if (word.empty())
                fail("vertex " + std::to_string(m_vertex_count) + " has only " +
                     std::to_string(axis) + " of its three coordinates");
            check_number(word);
        }
    }

    void check_number(std::string_view word) {
        const std::string name = "vertex " + std::to_string(m_vertex_count);
        double value = 0.0;
        if (!parse_number(word, value))
            fail(name + ": " + quote(word) + " is not a number");
        if (is_coordinate(value))
            return;
        m_left_out.bad_vertices.add(static_cast<std::size_t>(m_vertex_count - 1),
                                    "line " + std::to_string(m_line) + ": " + name + ", " +
                                        quote(word));
        // For the parser, which would read another number.
        const std::size_t start = static_cast<std::size_t>(word.data() - m_text.data());
        std::fill_n(m_text.begin() + static_cast<std::ptrdiff_t>(start), word.size(), ' ');
        m_text[start] = '0';
    }

    /// Once all vertices are known: faces may precede them. The text was checked, and lines that
    /// went on are one.
    void leave_out_bad_faces() {
        m_vertex_count = 0;
        for (std::size_t start = 0; start < m_text.size();) {
            const std::size_t end = find_line_end(start);
            std::string_view line(m_text.data() + start, end - start);
            const std::string_view kind = take_word(line);
            if (kind == "v")
                ++m_vertex_count;
            if (kind == "f" && has_bad_corner(line)) {
                m_text[start] = '#';
                ++m_left_out.bad_face_count;
            }
            start = skip_line_end(end);
        }
    }

    bool has_bad_corner(std::string_view line) const {
        for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
            std::string_view rest = word;
            const long long index = take_index(rest, word);
            const long long vertex = index < 0 ? m_vertex_count + index : index - 1;
            if (m_left_out.bad_vertices.has(static_cast<std::size_t>(vertex)))
                return true;
        }
        return false;
    }

    /// A face of one or two corners covers nothing, and becomes a comment.
    void check_face(std::string_view line, std::size_t start) {
        unsigned count = 0;
        for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
            check_reference(word);
            ++count;
        }
        if (count >= 3)
            return;
        m_text[start] = '#';
        if (m_left_out.short_faces.count++ == 0)
            m_left_out.short_faces.first_line = m_line;
    }

    /// `vertex`, `vertex/texture`, `vertex//normal` or `vertex/texture/normal`.
    void check_reference(std::string_view word) {
        std::string_view rest = word;
        check_vertex_number(take_index(rest, word));
        for (unsigned part = 0; part < 2 && !rest.empty(); ++part) {
            rest.remove_prefix(1);
            const bool left_out = part == 0 && rest.starts_with('/');
            if (!left_out && take_index(rest, word) == 0)
                fail(quote(word) + " refers to number 0; counting starts at 1");
        }
        if (!rest.empty())
            fail(quote(word) + " is no reference to a vertex");
    }

    /// Removes a number from the front of `rest`, up to its end or a slash.
    long long take_index(std::string_view& rest, std::string_view word) const {
        long long index = 0;
        const char* begin = rest.data();
        const char* end = begin + rest.size();
        // The parser accepts a plus sign, and from_chars does not.
        const char* digits = rest.starts_with('+') ? begin + 1 : begin;
        const auto [stop, error] = std::from_chars(digits, end, index);
        if (error == std::errc::result_out_of_range || std::abs(index) > largest_index)
            fail(quote(word) + " refers to a number beyond " + std::to_string(largest_index));
        if (error != std::errc() || (stop != end && *stop != '/'))
            fail(quote(word) + " is no reference to a vertex");
        rest.remove_prefix(static_cast<std::size_t>(stop - begin));
        return index;
    }

    void check_vertex_number(long long index) {
        if (index == 0)
            fail("a face refers to vertex 0; counting starts at 1");
        if (index < -m_vertex_count)
            fail("a face refers to vertex " + std::to_string(index) + ", but there are only " +
                 std::to_string(m_vertex_count) + " before it");
        // Faces may precede their vertices, so existence is checked at the end.
        if (index > m_largest_reference) {
            m_largest_reference = index;
            m_largest_reference_line = m_line;
        }
    }

    static constexpr long long largest_index = 500'000'000;

    std::string& m_text;
    const std::string& m_path;
    ReadProgress* m_progress;
    std::size_t m_line = 0;
    long long m_vertex_count = 0;
    long long m_largest_reference = 0;
    std::size_t m_largest_reference_line = 0;
    ObjLeftOut m_left_out;
};

} // namespace

ObjLeftOut prepare_obj_text(std::string& text, const std::string& path, ReadProgress* progress) {
    return ObjTextCheck(text, path, progress).run();
}

} // namespace gas_app
