// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace gas_app {

/// What the readers of mesh files share.

/// The whole file as bytes; throws a UserError.
std::string read_file(const std::string& path);

/// The word for a message: short, and without bytes that a terminal might act on.
std::string quote(std::string_view word);

/// The whole word as a decimal number, which may be infinite or NaN; false when it is none.
bool parse_number(std::string_view word, double& number);

/// Whether the number is finite as a float.
bool is_coordinate(double number);

/// Says on standard error how many faces of one or two corners were left out, if any, and where the
/// first one is.
void print_short_faces(const std::string& path, std::size_t count, const std::string& first);

/// Vertices with a coordinate that is a NaN, infinite or too large for a float. What has a corner
/// at one has no box that a tree may hold, and is left out.
class BadVertices {
  public:
    /// Vertices come in ascending order, each as often as it has such a coordinate; `place` says
    /// where and what it is.
    void add(std::size_t vertex, const std::string& place);
    bool is_empty() const { return m_vertices.empty(); }
    bool has(std::size_t vertex) const;
    bool has_any(const unsigned* corners, unsigned count) const;
    /// Says on standard error how many there are, if any, where the first one is, and how many
    /// faces were left out with them.
    void print(const std::string& path, std::size_t face_count) const;

  private:
    std::vector<std::size_t> m_vertices;
    std::string m_first_place;
};

} // namespace gas_app
