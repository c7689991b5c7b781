// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/obj_file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <istream>
#include <memory>
#include <numeric>
#include <sstream>
#include <streambuf>
#include <tuple>

#include <tiny_obj_loader.h>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/obj_text.h>

namespace gas_app {

namespace {

/// Lets a stream read a string without a copy.
class TextBuffer : public std::streambuf {
  public:
    explicit TextBuffer(std::string& text) {
        setg(text.data(), text.data(), text.data() + text.size());
    }
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

/// A file that was cut inside its last number would be read as complete, with a wrong triangle.
void check_last_line_ends(const std::string& text, const std::string& path) {
    if (text.back() != '\n' && text.back() != '\r')
        throw UserError(path + ": the last line does not end, so the file may have been cut; " +
                        "if it is whole, end it with a new line");
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

TriangleMesh parse(std::string& text, const std::string& path) {
    TextBuffer buffer(text);
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

    TriangleMesh mesh;
    mesh.vertices.reserve(attributes.vertices.size() / 3);
    for (std::size_t first = 0; first + 2 < attributes.vertices.size(); first += 3)
        mesh.add_vertex(to_double(Vec3f{attributes.vertices[first], attributes.vertices[first + 1],
                                        attributes.vertices[first + 2]}));
    for (const tinyobj::shape_t& shape : shapes)
        add_triangles(mesh, shape, path);
    return mesh;
}

/// Makes faces share vertices in the same place, where the file does not: normals are averaged over
/// neighbours.
void merge_equal_vertices(TriangleMesh& mesh) {
    std::vector<unsigned> order(mesh.vertices.size());
    std::iota(order.begin(), order.end(), 0u);
    std::sort(order.begin(), order.end(), [&](unsigned a, unsigned b) {
        const Vec3& p = mesh.vertices[a];
        const Vec3& q = mesh.vertices[b];
        return std::tie(p.x, p.y, p.z, a) < std::tie(q.x, q.y, q.z, b);
    });
    std::vector<unsigned> places(mesh.vertices.size());
    for (std::size_t index = 0; index < order.size(); ++index) {
        const bool same =
            index > 0 && mesh.vertices[order[index]] == mesh.vertices[order[index - 1]];
        places[order[index]] = same ? places[order[index - 1]] : order[index];
    }
    for (TriangleMesh::Triangle& triangle : mesh.triangles)
        for (unsigned& vertex : triangle)
            vertex = places[vertex];
}

/// Vertices that no face uses would make the camera frame too large a box.
void drop_unused_vertices(TriangleMesh& mesh) {
    constexpr unsigned unused = 0xFFFFFFFFu;
    std::vector<unsigned> places(mesh.vertices.size(), unused);
    std::vector<Vec3> vertices;
    for (TriangleMesh::Triangle& triangle : mesh.triangles)
        for (unsigned& vertex : triangle) {
            if (places[vertex] == unused) {
                places[vertex] = static_cast<unsigned>(vertices.size());
                vertices.push_back(mesh.vertices[vertex]);
            }
            vertex = places[vertex];
        }
    mesh.vertices = std::move(vertices);
}

} // namespace

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

TriangleMesh load_obj_file(const std::string& path) {
    std::string text = read_file(path);
    if (text.empty())
        throw UserError(path + ": the file is empty");
    prepare_obj_text(text, path);
    TriangleMesh mesh = parse(text, path);
    if (mesh.triangles.empty())
        throw UserError(path + ": holds no faces, so there is nothing to build a tree over");
    check_last_line_ends(text, path);
    merge_equal_vertices(mesh);
    drop_unused_vertices(mesh);
    return mesh;
}

} // namespace gas_app
