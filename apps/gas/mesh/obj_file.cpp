// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/obj_file.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <istream>
#include <sstream>
#include <streambuf>

#include <tiny_obj_loader.h>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>
#include <apps/gas/mesh/obj_text.h>

namespace gas_app {

namespace {

/// Lets a stream read a string without a copy, block by block.
class TextBuffer : public std::streambuf {
  public:
    TextBuffer(std::string& text, ReadProgress& progress) : m_text(text), m_progress(progress) {
        setg(text.data(), text.data(), text.data());
    }

  private:
    int_type underflow() override {
        constexpr std::ptrdiff_t block_size = 1 << 16;
        const std::ptrdiff_t rest = m_text.data() + m_text.size() - egptr();
        m_progress.reach(static_cast<std::size_t>(egptr() - m_text.data()));
        setg(m_text.data(), egptr(), egptr() + std::min(rest, block_size));
        return rest > 0 ? traits_type::to_int_type(*gptr()) : traits_type::eof();
    }

    std::string& m_text;
    ReadProgress& m_progress;
};

void print_warnings(const std::string& path, const std::string& warnings) {
    constexpr unsigned most_lines = 10;
    std::istringstream lines(warnings);
    std::string line;
    for (unsigned count = 0; std::getline(lines, line);) {
        if (line.empty() || line == ".")
            continue;
        if (++count > most_lines) {
            std::fprintf(stderr, "gas: %s: further warnings are left out\n", path.c_str());
            return;
        }
        std::fprintf(stderr, "gas: %s: warning: %s\n", path.c_str(), line.c_str());
    }
}

void add_triangles(TriangleMesh& mesh, const tinyobj::shape_t& shape, const std::string& path) {
    const std::vector<tinyobj::index_t>& indices = shape.mesh.indices;
    for (std::size_t corner = 0; corner + 2 < indices.size(); corner += 3) {
        TriangleMesh::Triangle triangle;
        for (unsigned offset = 0; offset < 3; ++offset) {
            const int vertex = indices[corner + offset].vertex_index;
            if (vertex < 0 || static_cast<std::size_t>(vertex) >= mesh.vertices.size())
                throw UserError(path + ": a face refers to a vertex that the file does not have");
            triangle[offset] = static_cast<unsigned>(vertex);
        }
        mesh.triangles.push_back(triangle);
    }
}

} // namespace

TriangleMesh parse_obj(std::string& text, const std::string& path, AppProgressBar* progress_bar,
                       float share) {
    // Parsing takes about twice as long.
    ReadProgress checked(progress_bar, 0.3f * share, text.size());
    const ObjLeftOut left_out = prepare_obj_text(text, path, &checked);
    ReadProgress parsed_text(progress_bar, 0.7f * share, text.size());
    TextBuffer buffer(text, parsed_text);
    std::istream stream(&buffer);
    tinyobj::attrib_t attributes;
    std::vector<tinyobj::shape_t> shapes;
    std::vector<tinyobj::material_t> materials;
    std::string warnings;
    std::string errors;
    constexpr bool triangulate = true;
    constexpr bool fill_in_colors = false;
    const bool parsed = tinyobj::LoadObj(&attributes, &shapes, &materials, &warnings, &errors,
                                         &stream, nullptr, triangulate, fill_in_colors);
    print_warnings(path, warnings);
    if (!parsed)
        throw UserError(path + ": " + (errors.empty() ? "cannot be parsed" : errors));
    print_short_faces(path, left_out.short_faces.count,
                      "line " + std::to_string(left_out.short_faces.first_line));
    left_out.bad_vertices.print(path, left_out.bad_face_count);

    TriangleMesh mesh;
    mesh.vertices.reserve(attributes.vertices.size() / 3);
    for (std::size_t first = 0; first + 2 < attributes.vertices.size(); first += 3)
        mesh.add_vertex(to_double(Vec3f{attributes.vertices[first], attributes.vertices[first + 1],
                                        attributes.vertices[first + 2]}));
    for (const tinyobj::shape_t& shape : shapes)
        add_triangles(mesh, shape, path);
    return mesh;
}

} // namespace gas_app
