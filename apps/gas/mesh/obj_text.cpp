// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/obj_text.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <string_view>

#include <apps/common/user_error.h>

namespace gas_app {

namespace {

constexpr std::string_view blanks = " \t";
constexpr std::size_t longest_quote = 40;

/// Removes the next word from the front of `line`; empty when there is none.
std::string_view take_word(std::string_view& line) {
    const std::size_t start = std::min(line.find_first_not_of(blanks), line.size());
    const std::size_t end = std::min(line.find_first_of(blanks, start), line.size());
    const std::string_view word = line.substr(start, end - start);
    line.remove_prefix(end);
    return word;
}

/// The word for a message: short, and without bytes that a terminal might act on.
std::string quote(std::string_view word) {
    std::string text = "'";
    for (const char character : word.substr(0, longest_quote))
        text += character >= ' ' && character <= '~' ? character : '?';
    return text + (word.size() > longest_quote ? "...'" : "'");
}

class ObjTextCheck {
  public:
    ObjTextCheck(std::string& text, const std::string& path) : m_text(text), m_path(path) {}

    void run() {
        blank_byte_order_mark();
        std::size_t start = 0;
        while (start < m_text.size()) {
            ++m_line;
            // A carriage return alone ends a line, too.
            const std::size_t end = std::min(m_text.find_first_of("\r\n", start), m_text.size());
            check_line(start, end);
            const bool pair =
                end + 1 < m_text.size() && m_text[end] == '\r' && m_text[end + 1] == '\n';
            start = end + (pair ? 2 : 1);
        }
        if (m_largest_reference > m_vertex_count) {
            m_line = m_largest_reference_line;
            fail("a face refers to vertex " + std::to_string(m_largest_reference) +
                 ", but the file has only " + std::to_string(m_vertex_count));
        }
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

    void check_line(std::size_t start, std::size_t end) {
        std::string_view line(m_text.data() + start, end - start);
        const std::string_view kind = take_word(line);
        if (kind == "v")
            check_vertex(line);
        else if (kind == "f")
            check_face(line);
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

    void check_number(std::string_view word) const {
        const std::string name = "vertex " + std::to_string(m_vertex_count);
        const std::string number(word);
        char* end = nullptr;
        const double value = std::strtod(number.c_str(), &end);
        const bool hexadecimal = word.find_first_of("xX") != std::string_view::npos;
        if (end != number.c_str() + number.size() || hexadecimal)
            fail(name + ": " + quote(word) + " is not a number");
        if (!std::isfinite(value))
            fail(name + " is not finite: " + quote(word));
        if (std::abs(value) > static_cast<double>(std::numeric_limits<float>::max()))
            fail(name + ": " + quote(word) + " is too large for a coordinate");
    }

    void check_face(std::string_view line) {
        unsigned count = 0;
        for (std::string_view word = take_word(line); !word.empty(); word = take_word(line)) {
            check_reference(word);
            ++count;
        }
        if (count < 3)
            fail("a face needs three vertices or more, this one has " + std::to_string(count));
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
    std::size_t m_line = 0;
    long long m_vertex_count = 0;
    long long m_largest_reference = 0;
    std::size_t m_largest_reference_line = 0;
};

} // namespace

void prepare_obj_text(std::string& text, const std::string& path) {
    ObjTextCheck(text, path).run();
}

} // namespace gas_app
