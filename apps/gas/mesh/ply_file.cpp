// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/ply_file.h>

#include <algorithm>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>
#include <apps/gas/mesh/ply_header.h>
#include <apps/gas/mesh/ply_reader.h>
#include <apps/gas/mesh/polygon.h>
#include <apps/gas/mesh/read_progress.h>

namespace gas_app {

namespace {

constexpr int no_axis = -1;

/// 0 to 2 for `x`, `y` and `z`.
int get_axis(const PlyProperty& property) {
    for (int axis = 0; axis < 3; ++axis)
        if (!property.is_list && property.name == std::string(1, "xyz"[axis]))
            return axis;
    return no_axis;
}

bool is_corner_list(const PlyProperty& property) {
    return property.is_list &&
           (property.name == "vertex_indices" || property.name == "vertex_index");
}

class PlyParser {
  public:
    PlyParser(const std::string& text, const std::string& path, AppProgressBar* progress_bar,
              float share)
        : m_path(path), m_header(parse_ply_header(text, path)), m_reader(text, path, m_header),
          m_progress(progress_bar, share, text.size()) {}

    TriangleMesh run() {
        for (const PlyElement& element : m_header.elements) {
            if (element.name == "vertex")
                read_vertices(element);
            else if (element.name == "face")
                read_faces(element);
            else
                pass_over(element);
        }
        add_faces();
        return std::move(m_mesh);
    }

  private:
    void begin(const PlyElement& element, std::uint64_t item) {
        m_reader.begin(element.name, item);
        m_progress.reach(m_reader.get_next());
    }

    void read_vertices(const PlyElement& element) {
        for (int axis = 0; axis < 3; ++axis)
            if (std::none_of(element.properties.begin(), element.properties.end(),
                             [axis](const PlyProperty& p) { return get_axis(p) == axis; }))
                throw UserError(m_path + ": its vertices have no property " + "xyz"[axis]);
        for (std::uint64_t item = 0; item < element.count; ++item) {
            begin(element, item);
            Vec3 vertex{0.0, 0.0, 0.0};
            for (const PlyProperty& property : element.properties) {
                const int axis = get_axis(property);
                if (axis == no_axis)
                    pass_over(property);
                else
                    vertex[static_cast<unsigned>(axis)] = read_coordinate(property);
            }
            m_mesh.add_vertex(vertex);
        }
    }

    double read_coordinate(const PlyProperty& property) {
        const double number = m_reader.read(property.type);
        if (!is_coordinate(number)) {
            m_bad_vertices.add(m_mesh.vertices.size(), m_reader.get_place() + ", " + property.name);
            return 0.0;
        }
        // As floats, like the coordinates of other files.
        return static_cast<double>(static_cast<float>(number));
    }

    void read_faces(const PlyElement& element) {
        if (std::none_of(element.properties.begin(), element.properties.end(), is_corner_list))
            throw UserError(m_path + ": its faces have no list vertex_indices");
        for (std::uint64_t item = 0; item < element.count; ++item) {
            begin(element, item);
            for (const PlyProperty& property : element.properties) {
                if (is_corner_list(property))
                    read_corners(property);
                else
                    pass_over(property);
            }
        }
    }

    void read_corners(const PlyProperty& property) {
        const std::uint64_t count = m_reader.read_count(property.count_type);
        m_corner_counts.push_back(static_cast<unsigned>(count));
        for (std::uint64_t corner = 0; corner < count; ++corner)
            m_corners.push_back(
                static_cast<unsigned>(m_reader.read_whole(property.type, 0xFFFFFFFEu)));
    }

    void pass_over(const PlyElement& element) {
        for (std::uint64_t item = 0; item < element.count && !element.properties.empty(); ++item) {
            begin(element, item);
            for (const PlyProperty& property : element.properties)
                pass_over(property);
        }
    }

    void pass_over(const PlyProperty& property) {
        const std::uint64_t count = property.is_list ? m_reader.read_count(property.count_type) : 1;
        for (std::uint64_t number = 0; number < count; ++number)
            m_reader.read(property.type);
    }

    /// Once all vertices are there: faces may precede them.
    void add_faces() {
        const std::size_t vertex_count = m_mesh.vertices.size();
        std::size_t short_count = 0;
        std::size_t first_short = 0;
        std::size_t bad_count = 0;
        const unsigned* corners = m_corners.data();
        for (std::size_t face = 0; face < m_corner_counts.size(); ++face) {
            const unsigned count = m_corner_counts[face];
            for (unsigned corner = 0; corner < count; ++corner)
                if (corners[corner] >= vertex_count)
                    throw UserError(m_path + ": face " + std::to_string(face) +
                                    " refers to vertex " + std::to_string(corners[corner]) +
                                    ", but there are only " + std::to_string(vertex_count) +
                                    ", counted from 0");
            if (count < 3) {
                if (short_count++ == 0)
                    first_short = face;
            } else if (m_bad_vertices.has_any(corners, count)) {
                ++bad_count;
            } else {
                add_polygon(m_mesh, corners, count);
            }
            corners += count;
        }
        print_short_faces(m_path, short_count, "face " + std::to_string(first_short));
        m_bad_vertices.print(m_path, bad_count);
    }

    const std::string& m_path;
    PlyHeader m_header;
    PlyReader m_reader;
    ReadProgress m_progress;
    TriangleMesh m_mesh;
    BadVertices m_bad_vertices;
    std::vector<unsigned> m_corner_counts;
    /// Of all faces, one after the other.
    std::vector<unsigned> m_corners;
};

} // namespace

TriangleMesh parse_ply(const std::string& text, const std::string& path,
                       AppProgressBar* progress_bar, float share) {
    return PlyParser(text, path, progress_bar, share).run();
}

} // namespace gas_app
