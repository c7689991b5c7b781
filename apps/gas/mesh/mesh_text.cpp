// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/mesh_text.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>

#include <apps/common/user_error.h>

namespace gas_app {

std::string read_file(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        throw UserError(path + ": is a directory, not a file");
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"),
                                                               std::fclose);
    if (!file)
        throw UserError(path + ": cannot be opened: " + std::strerror(errno));

    std::string text;
    std::string block(1 << 16, '\0');
    while (const std::size_t size = std::fread(block.data(), 1, block.size(), file.get()))
        text.append(block, 0, size);
    if (std::ferror(file.get()))
        throw UserError(path + ": cannot be read: " + std::strerror(errno));
    return text;
}

std::string quote(std::string_view word) {
    constexpr std::size_t longest = 40;
    std::string text = "'";
    for (const char character : word.substr(0, longest))
        text += character >= ' ' && character <= '~' ? character : '?';
    return text + (word.size() > longest ? "...'" : "'");
}

bool parse_number(std::string_view word, double& number) {
    const std::string text(word);
    char* end = nullptr;
    number = std::strtod(text.c_str(), &end);
    const bool hexadecimal = word.find_first_of("xX") != std::string_view::npos;
    return !word.empty() && end == text.c_str() + text.size() && !hexadecimal;
}

bool is_coordinate(double number) {
    return std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max());
}

void print_short_faces(const std::string& path, std::size_t count, const std::string& first) {
    if (count > 0)
        std::fprintf(stderr,
                     "gas: %s: faces of fewer than three corners are left out: %zu, the first at "
                     "%s\n",
                     path.c_str(), count, first.c_str());
}

void BadVertices::add(std::size_t vertex, const std::string& place) {
    if (m_vertices.empty())
        m_first_place = place;
    if (m_vertices.empty() || m_vertices.back() != vertex)
        m_vertices.push_back(vertex);
}

bool BadVertices::has(std::size_t vertex) const {
    return std::binary_search(m_vertices.begin(), m_vertices.end(), vertex);
}

bool BadVertices::has_any(const unsigned* corners, unsigned count) const {
    return std::any_of(corners, corners + count, [this](unsigned corner) { return has(corner); });
}

void BadVertices::print(const std::string& path, std::size_t face_count) const {
    if (!is_empty())
        std::fprintf(stderr,
                     "gas: %s: vertices that are not finite as floats: %zu, the first at %s; faces "
                     "left out with them: %zu\n",
                     path.c_str(), m_vertices.size(), m_first_place.c_str(), face_count);
}

} // namespace gas_app
