// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/mesh_file.h>

#include <algorithm>
#include <filesystem>
#include <numeric>
#include <tuple>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_text.h>
#include <apps/gas/mesh/obj_file.h>
#include <apps/gas/mesh/ply_file.h>
#include <apps/gas/mesh/ply_header.h>
#include <apps/gas/mesh/stl_file.h>

namespace gas_app {

namespace {

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

/// In small letters.
std::string get_extension(const std::string& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    for (char& letter : extension)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return extension;
}

TriangleMesh parse(std::string& text, const std::string& path, AppProgressBar* progress_bar,
                   float share) {
    const std::string extension = get_extension(path);
    if (is_ply(text))
        return parse_ply(text, path, progress_bar, share);
    if (extension == ".ply")
        throw UserError(path + ", line 1: a PLY file begins with a line 'ply'");
    return extension == ".stl" ? parse_stl(text, path, progress_bar, share)
                               : parse_obj(text, path, progress_bar, share);
}

} // namespace

TriangleMesh load_mesh_file(const std::string& path, AppProgressBar* progress_bar) {
    // The rest is for what is done to all vertices.
    constexpr float parse_share = 0.8f;
    std::string text = read_file(path);
    if (text.empty())
        throw UserError(path + ": the file is empty");
    TriangleMesh mesh = parse(text, path, progress_bar, parse_share);
    if (mesh.triangles.empty())
        throw UserError(path + ": holds no faces, so there is nothing to build a tree over");
    merge_equal_vertices(mesh);
    drop_unused_vertices(mesh);
    return mesh;
}

} // namespace gas_app
