// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/ply_header.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <sstream>
#include <string_view>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>

namespace gas_app {

namespace {

struct TypeName {
    std::string_view name;
    PlyType type;
};

constexpr std::array<TypeName, 16> type_names = {{{"char", PlyType::int8},
                                                  {"int8", PlyType::int8},
                                                  {"uchar", PlyType::uint8},
                                                  {"uint8", PlyType::uint8},
                                                  {"short", PlyType::int16},
                                                  {"int16", PlyType::int16},
                                                  {"ushort", PlyType::uint16},
                                                  {"uint16", PlyType::uint16},
                                                  {"int", PlyType::int32},
                                                  {"int32", PlyType::int32},
                                                  {"uint", PlyType::uint32},
                                                  {"uint32", PlyType::uint32},
                                                  {"float", PlyType::float32},
                                                  {"float32", PlyType::float32},
                                                  {"double", PlyType::float64},
                                                  {"float64", PlyType::float64}}};

class PlyHeaderParser {
  public:
    PlyHeaderParser(const std::string& text, const std::string& path)
        : m_text(text), m_path(path), m_line_end(find_line_end(text)) {}

    PlyHeader run() {
        take_line(); // `ply`
        bool has_format = false;
        for (;;) {
            std::istringstream line(take_line());
            std::string keyword;
            line >> keyword;
            if (keyword == "end_header")
                break;
            if (keyword == "format") {
                read_format(line);
                has_format = true;
            } else if (keyword == "element") {
                read_element(line);
            } else if (keyword == "property") {
                read_property(line);
            } else if (keyword != "comment" && keyword != "obj_info" && !keyword.empty()) {
                fail(quote(keyword) + " is no part of a header");
            }
        }
        if (!has_format)
            fail("the header names no format");
        m_header.size = m_next;
        m_header.line = m_line + 1;
        return m_header;
    }

  private:
    [[noreturn]] void fail(const std::string& message) const {
        throw UserError(m_path + ", line " + std::to_string(m_line) + ": " + message);
    }

    /// Lines end as the first one does: binary data may begin with any byte.
    static std::string_view find_line_end(const std::string& text) {
        const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
        return std::string_view(text).substr(end).starts_with("\r\n") ? "\r\n"
               : text.substr(end, 1) == "\r"                          ? "\r"
                                                                      : "\n";
    }

    std::string take_line() {
        ++m_line;
        const std::size_t end = m_text.find(m_line_end, m_next);
        if (end == std::string::npos)
            fail("the file ends before the header's end_header");
        std::string line = m_text.substr(m_next, end - m_next);
        m_next = end + m_line_end.size();
        return line;
    }

    void read_format(std::istringstream& line) {
        std::string name;
        line >> name;
        if (name == "ascii")
            m_header.format = PlyFormat::ascii;
        else if (name == "binary_little_endian")
            m_header.format = PlyFormat::little_endian;
        else if (name == "binary_big_endian")
            m_header.format = PlyFormat::big_endian;
        else
            fail(quote(name) + " is no format; expected ascii, binary_little_endian or "
                               "binary_big_endian");
    }

    void read_element(std::istringstream& line) {
        PlyElement element;
        std::string count;
        line >> element.name >> count;
        const char* const end = count.data() + count.size();
        const auto [stop, error] = std::from_chars(count.data(), end, element.count);
        if (error != std::errc() || stop != end || element.count > largest_count)
            fail("element " + quote(element.name) + ": " + quote(count) + " is no count up to " +
                 std::to_string(largest_count));
        m_header.elements.push_back(std::move(element));
    }

    void read_property(std::istringstream& line) {
        if (m_header.elements.empty())
            fail("a property precedes all elements");
        PlyProperty property;
        std::string type;
        line >> type;
        if (type == "list") {
            property.is_list = true;
            line >> type;
            property.count_type = find_type(type);
            line >> type;
        }
        property.type = find_type(type);
        if (!(line >> property.name))
            fail("a property has no name");
        m_header.elements.back().properties.push_back(std::move(property));
    }

    PlyType find_type(const std::string& name) const {
        for (const TypeName& type : type_names)
            if (type.name == name)
                return type.type;
        fail(quote(name) + " is no type of numbers");
    }

    static constexpr std::uint64_t largest_count = 1'000'000'000;

    const std::string& m_text;
    const std::string& m_path;
    std::string_view m_line_end;
    std::size_t m_next = 0;
    std::size_t m_line = 0;
    PlyHeader m_header;
};

} // namespace

unsigned get_size(PlyType type) {
    constexpr std::array<unsigned, 8> sizes = {1, 1, 2, 2, 4, 4, 4, 8};
    return sizes[static_cast<unsigned>(type)];
}

bool is_ply(const std::string& text) {
    return text.starts_with("ply\n") || text.starts_with("ply\r") || text == "ply";
}

PlyHeader parse_ply_header(const std::string& text, const std::string& path) {
    return PlyHeaderParser(text, path).run();
}

} // namespace gas_app
