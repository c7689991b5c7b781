// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/stl_file.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string_view>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>
#include <apps/gas/mesh/read_progress.h>

namespace gas_app {

namespace {

// A binary file: a header, the count of triangles, and for each a normal, three corners and two
// bytes. Numbers begin with their lowest byte.
constexpr std::size_t header_size = 80;
constexpr std::size_t first_triangle = header_size + 4;
constexpr std::size_t triangle_size = 50;

std::uint32_t read_number(const std::string& text, std::size_t place) {
    std::uint32_t number = 0;
    for (unsigned byte = 0; byte < 4; ++byte)
        number |= std::uint32_t{static_cast<unsigned char>(text[place + byte])} << 8 * byte;
    return number;
}

float read_float(const std::string& text, std::size_t place) {
    const std::uint32_t bits = read_number(text, place);
    float number = 0.0f;
    std::memcpy(&number, &bits, sizeof number);
    return number;
}

/// The size that the count in a binary file asks for; nothing where there is no count.
std::optional<std::size_t> get_binary_size(const std::string& text) {
    if (text.size() < first_triangle)
        return std::nullopt;
    return first_triangle + std::size_t{read_number(text, header_size)} * triangle_size;
}

/// Over the last three vertices, if none of them is bad.
void add_last_triangle(TriangleMesh& mesh, const BadVertices& bad_vertices) {
    const unsigned count = static_cast<unsigned>(mesh.vertices.size());
    const TriangleMesh::Triangle corners = {count - 3, count - 2, count - 1};
    if (!bad_vertices.has_any(corners.data(), 3))
        mesh.triangles.push_back(corners);
}

TriangleMesh parse_binary(const std::string& text, const std::string& path,
                          ReadProgress& progress) {
    const std::optional<std::size_t> size = get_binary_size(text);
    if (!size)
        throw UserError(path + ": is neither an ascii STL file, which begins with 'solid', nor a "
                               "binary one, which has 84 bytes or more");
    const std::uint32_t count = read_number(text, header_size);
    if (*size > text.size())
        throw UserError(path + ", byte 80: " + std::to_string(count) + " triangles take " +
                        std::to_string(*size) + " bytes, but the file has " +
                        std::to_string(text.size()) + ", so it may have been cut");
    TriangleMesh mesh;
    BadVertices bad_vertices;
    for (std::uint32_t triangle = 0; triangle < count; ++triangle) {
        // Behind the normal.
        std::size_t place = first_triangle + triangle * triangle_size + 12;
        for (unsigned corner = 0; corner < 3; ++corner) {
            Vec3 vertex{0.0, 0.0, 0.0};
            for (unsigned axis = 0; axis < 3; ++axis, place += 4) {
                vertex[axis] = static_cast<double>(read_float(text, place));
                if (!is_coordinate(vertex[axis]))
                    bad_vertices.add(mesh.vertices.size(), "byte " + std::to_string(place) +
                                                               ": a corner of triangle " +
                                                               std::to_string(triangle + 1));
            }
            mesh.add_vertex(vertex);
        }
        add_last_triangle(mesh, bad_vertices);
        progress.reach(place);
    }
    bad_vertices.print(path, count - mesh.triangles.size());
    return mesh;
}

class AsciiStlParser {
  public:
    AsciiStlParser(const std::string& text, const std::string& path, ReadProgress& progress)
        : m_text(text), m_path(path), m_progress(progress) {}

    TriangleMesh run() {
        while (is_more()) {
            expect("solid");
            pass_line();
            while (take_word("facet or endsolid") != "endsolid")
                read_facet();
            pass_line();
        }
        m_bad_vertices.print(m_path, m_mesh.vertices.size() / 3 - m_mesh.triangles.size());
        return std::move(m_mesh);
    }

  private:
    [[noreturn]] void fail(const std::string& message) const {
        throw UserError(m_path + ", line " + std::to_string(m_line) + ": " + message);
    }

    /// The word `facet` was taken.
    void read_facet() {
        if (m_word != "facet")
            fail("expected facet or endsolid, found " + quote(m_word));
        expect("normal");
        for (unsigned axis = 0; axis < 3; ++axis)
            take_word("a normal of three numbers");
        expect("outer");
        expect("loop");
        for (unsigned corner = 0; corner < 3; ++corner)
            read_corner();
        expect("endloop");
        expect("endfacet");
        m_progress.reach(m_next);
        add_last_triangle(m_mesh, m_bad_vertices);
    }

    void read_corner() {
        expect("vertex");
        Vec3 vertex{0.0, 0.0, 0.0};
        for (unsigned axis = 0; axis < 3; ++axis) {
            take_word("three coordinates");
            if (!parse_number(m_word, vertex[axis]))
                fail(quote(m_word) + " is not a number");
            if (!is_coordinate(vertex[axis]))
                m_bad_vertices.add(m_mesh.vertices.size(),
                                   "line " + std::to_string(m_line) + ": " + quote(m_word));
            // One by one: GCC 12 leaves the rounding of two side by side out.
            vertex[axis] = static_cast<double>(static_cast<float>(vertex[axis]));
        }
        m_mesh.add_vertex(vertex);
    }

    void expect(const std::string& word) {
        if (take_word(word) != word)
            fail("expected " + word + ", found " + quote(m_word));
    }

    /// The next word, in small letters; `expected` names it where the file ends.
    const std::string& take_word(const std::string& expected) {
        if (!is_more())
            fail("the file ends where " + expected + " is expected, so it may have been cut");
        const std::size_t start = m_next;
        while (m_next < m_text.size() && !is_blank(m_text[m_next]))
            ++m_next;
        m_word = m_text.substr(start, m_next - start);
        for (char& letter : m_word)
            if (letter >= 'A' && letter <= 'Z')
                letter = static_cast<char>(letter - 'A' + 'a');
        return m_word;
    }

    /// Passes over blanks.
    bool is_more() {
        for (; m_next < m_text.size() && is_blank(m_text[m_next]); ++m_next)
            if (m_text[m_next] == '\n')
                ++m_line;
        return m_next < m_text.size();
    }

    /// The name of a solid is the rest of its line.
    void pass_line() { m_next = std::min(m_text.find('\n', m_next), m_text.size()); }

    static bool is_blank(char character) {
        return std::string_view(" \t\r\n\v\f").find(character) != std::string_view::npos;
    }

    const std::string& m_text;
    const std::string& m_path;
    ReadProgress& m_progress;
    std::size_t m_next = 0;
    std::size_t m_line = 1;
    std::string m_word;
    TriangleMesh m_mesh;
    BadVertices m_bad_vertices;
};

/// Binary files may begin with `solid` as well, but then have the size that they tell.
bool is_ascii(const std::string& text) {
    const std::size_t start = std::min(text.find_first_not_of(" \t\r\n"), text.size());
    const std::string_view rest = std::string_view(text).substr(start, 5);
    constexpr std::string_view solid = "solid";
    const bool begins =
        std::equal(rest.begin(), rest.end(), solid.begin(), solid.end(),
                   [](char letter, char small) { return (letter | 0x20) == small; });
    return begins && get_binary_size(text) != text.size() && text.find('\0') == std::string::npos;
}

} // namespace

TriangleMesh parse_stl(const std::string& text, const std::string& path,
                       AppProgressBar* progress_bar, float share) {
    ReadProgress progress(progress_bar, share, text.size());
    return is_ascii(text) ? AsciiStlParser(text, path, progress).run()
                          : parse_binary(text, path, progress);
}

} // namespace gas_app
