// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include <apps/common/user_error.h>
#include <apps/gas/mesh/mesh_file.h>
#include <apps/gas/mesh/polygon.h>

#include <fuzz/fuzz_check.h>
#include <fuzz/fuzz_file.h>
#include <fuzz/fuzz_input.h>

// The program's mesh files. Any bytes are a mesh that holds together, or an error that names the
// file; and a mesh that is written in any format comes back the same.

namespace {

using fuzz::expect;
using gas_app::TriangleMesh;
using gas_app::Vec3;
using Polygon = std::vector<unsigned>;

enum class Kind { obj, stl, ply };

const fuzz::File& get_file(Kind kind) {
    static const fuzz::File files[] = {fuzz::File("mesh.obj"), fuzz::File("mesh.stl"),
                                       fuzz::File("mesh.ply")};
    return files[static_cast<unsigned>(kind)];
}

/// Notes and warnings go nowhere; what sanitizers print does not pass through here.
class Silence {
  public:
    Silence() : m_errors(std::exchange(stderr, get_nowhere())) {}
    Silence(const Silence&) = delete;
    Silence& operator=(const Silence&) = delete;
    ~Silence() { stderr = m_errors; }

  private:
    static std::FILE* get_nowhere() {
        static std::FILE* const nowhere = std::fopen("/dev/null", "w");
        return nowhere;
    }

    std::FILE* m_errors;
};

TriangleMesh load(Kind kind, const std::string& bytes) {
    const fuzz::File& file = get_file(kind);
    file.write(bytes);
    const Silence silence;
    return gas_app::load_mesh_file(file.get_path());
}

bool has_same_bits(const Vec3& first, const Vec3& second) {
    return std::memcmp(&first, &second, sizeof first) == 0;
}

bool are_equal(const TriangleMesh& first, const TriangleMesh& second) {
    return first.triangles == second.triangles &&
           std::equal(first.vertices.begin(), first.vertices.end(), second.vertices.begin(),
                      second.vertices.end(), has_same_bits);
}

/// Finite floats, each place once, in the order in which triangles use them.
void expect_sound(const TriangleMesh& mesh) {
    expect(!mesh.triangles.empty(), "a mesh has triangles");
    unsigned used = 0;
    for (const TriangleMesh::Triangle& triangle : mesh.triangles) {
        for (const unsigned vertex : triangle) {
            expect(vertex <= used, "vertices stand in the order of their use");
            used = std::max(used, vertex + 1);
        }
    }
    expect(used == mesh.vertices.size(), "every vertex is used, and no other");
    std::vector<std::array<double, 3>> places;
    for (const Vec3& vertex : mesh.vertices) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double coordinate = vertex[axis];
            expect(std::isfinite(static_cast<float>(coordinate)) &&
                       static_cast<double>(static_cast<float>(coordinate)) == coordinate,
                   "a coordinate is a finite float");
        }
        places.push_back({vertex.x, vertex.y, vertex.z});
    }
    std::sort(places.begin(), places.end());
    expect(std::adjacent_find(places.begin(), places.end()) == places.end(),
           "vertices in one place are one");
}

// Writers: plain ones of each format.

void append_number(std::string& text, double number) {
    char digits[40];
    std::snprintf(digits, sizeof digits, " %.9g", number);
    text += digits;
}

void append_vertex(std::string& text, const Vec3& vertex) {
    for (unsigned axis = 0; axis < 3; ++axis)
        append_number(text, vertex[axis]);
    text += '\n';
}

template <typename Number> void append_bytes(std::string& bytes, Number number, bool is_big) {
    std::array<char, sizeof(Number)> raw;
    std::memcpy(raw.data(), &number, sizeof number);
    if (is_big == (std::endian::native == std::endian::little))
        std::reverse(raw.begin(), raw.end());
    bytes.append(raw.data(), raw.size());
}

/// Numbers from the last vertex back where `is_relative`.
std::string write_obj(const std::vector<Vec3>& vertices, const std::vector<Polygon>& faces,
                      bool is_relative) {
    std::string text = "# a mesh\n";
    for (const Vec3& vertex : vertices) {
        text += 'v';
        append_vertex(text, vertex);
    }
    text += "vn 0 0 1\nvt 0 0\n";
    const char* const endings[] = {"", "//1", "/1", "/1/1"};
    for (const Polygon& face : faces) {
        text += 'f';
        for (const unsigned corner : face) {
            const long number = static_cast<long>(corner);
            const long count = static_cast<long>(vertices.size());
            text += ' ' + std::to_string(is_relative ? number - count : number + 1) +
                    endings[face.size() % 4];
        }
        text += "\r\n";
    }
    return text;
}

enum class PlyForm { ascii, little, big };

std::string write_ply(const std::vector<Vec3>& vertices, const std::vector<Polygon>& faces,
                      PlyForm form) {
    const char* const names[] = {"ascii", "binary_little_endian", "binary_big_endian"};
    std::string text = "ply\nformat " + std::string(names[static_cast<unsigned>(form)]) +
                       " 1.0\nelement vertex " + std::to_string(vertices.size()) +
                       "\nproperty float x\nproperty double y\nproperty float z\nelement face " +
                       std::to_string(faces.size()) +
                       "\nproperty list uchar int vertex_indices\nend_header\n";
    if (form == PlyForm::ascii) {
        for (const Vec3& vertex : vertices)
            append_vertex(text, vertex);
        for (const Polygon& face : faces) {
            text += std::to_string(face.size());
            for (const unsigned corner : face)
                text += ' ' + std::to_string(corner);
            text += '\n';
        }
        return text;
    }
    const bool is_big = form == PlyForm::big;
    for (const Vec3& vertex : vertices) {
        append_bytes(text, static_cast<float>(vertex.x), is_big);
        append_bytes(text, vertex.y, is_big);
        append_bytes(text, static_cast<float>(vertex.z), is_big);
    }
    for (const Polygon& face : faces) {
        append_bytes(text, static_cast<std::uint8_t>(face.size()), is_big);
        for (const unsigned corner : face)
            append_bytes(text, static_cast<std::int32_t>(corner), is_big);
    }
    return text;
}

std::string write_ascii_stl(const TriangleMesh& mesh) {
    std::string text = "solid mesh\n";
    for (const TriangleMesh::Triangle& triangle : mesh.triangles) {
        text += "facet normal 0 0 1\nouter loop\n";
        for (const unsigned vertex : triangle) {
            text += "vertex";
            append_vertex(text, mesh.vertices[vertex]);
        }
        text += "endloop\nendfacet\n";
    }
    return text + "endsolid mesh\n";
}

std::string write_binary_stl(const TriangleMesh& mesh) {
    std::string bytes(80, ' ');
    append_bytes(bytes, static_cast<std::uint32_t>(mesh.triangles.size()), false);
    for (const TriangleMesh::Triangle& triangle : mesh.triangles) {
        bytes.append(12, '\0');
        for (const unsigned vertex : triangle) {
            for (unsigned axis = 0; axis < 3; ++axis)
                append_bytes(bytes, static_cast<float>(mesh.vertices[vertex][axis]), false);
        }
        bytes.append(2, '\0');
    }
    return bytes;
}

/// What is written of a mesh without polygons comes back as it was.
void expect_same_from_all(const TriangleMesh& mesh) {
    std::vector<Polygon> faces;
    for (const TriangleMesh::Triangle& triangle : mesh.triangles)
        faces.emplace_back(triangle.begin(), triangle.end());
    for (const PlyForm form : {PlyForm::ascii, PlyForm::little, PlyForm::big})
        expect(are_equal(load(Kind::ply, write_ply(mesh.vertices, faces, form)), mesh),
               "a mesh comes back from PLY");
    expect(are_equal(load(Kind::stl, write_ascii_stl(mesh)), mesh), "from STL of words");
    expect(are_equal(load(Kind::stl, write_binary_stl(mesh)), mesh), "from STL of bytes");
}

void check_bytes(Kind kind, const std::string& bytes) {
    TriangleMesh mesh;
    try {
        mesh = load(kind, bytes);
    } catch (const gas_app::UserError& error) {
        expect(std::string(error.what()).starts_with(get_file(kind).get_path()),
               "an error names the file");
        return;
    }
    expect_sound(mesh);
    expect_same_from_all(mesh);
}

/// One vertex for each place, in the order of use, tried one by one.
TriangleMesh merge(const TriangleMesh& mesh) {
    TriangleMesh merged;
    std::vector<unsigned> origins;
    for (TriangleMesh::Triangle triangle : mesh.triangles) {
        for (unsigned& vertex : triangle) {
            unsigned first = 0;
            while (!(mesh.vertices[first] == mesh.vertices[vertex]))
                ++first;
            const auto place = std::find(origins.begin(), origins.end(), first);
            vertex = static_cast<unsigned>(place - origins.begin());
            if (place == origins.end()) {
                origins.push_back(first);
                merged.add_vertex(mesh.vertices[first]);
            }
        }
        merged.triangles.push_back(triangle);
    }
    return merged;
}

/// Polygons over vertices whose coordinates are short, in OBJ and PLY.
void check_mesh(FuzzInput& input) {
    TriangleMesh mesh;
    const unsigned vertex_count = 1 + input.take_below(32);
    for (unsigned i = 0; i < vertex_count; ++i) {
        Vec3 vertex{0.0, 0.0, 0.0};
        for (unsigned axis = 0; axis < 3; ++axis)
            vertex[axis] = static_cast<double>(input.take_lattice());
        mesh.add_vertex(vertex);
    }
    std::vector<Polygon> faces;
    do {
        Polygon face(input.take_chance(8) ? input.take_below(12) : 3 + input.take_below(3));
        for (unsigned& corner : face)
            corner = input.take_byte() % vertex_count;
        if (face.size() >= 3)
            gas_app::add_polygon(mesh, face.data(), static_cast<unsigned>(face.size()));
        faces.push_back(face);
    } while (!input.is_empty() && faces.size() < 40);
    // OBJ has no faces without corners.
    std::vector<Polygon> obj_faces = faces;
    std::erase_if(obj_faces, [](const Polygon& face) { return face.empty(); });
    const auto write = [&](unsigned form) {
        if (form < 3)
            return write_ply(mesh.vertices, faces, static_cast<PlyForm>(form));
        return write_obj(mesh.vertices, obj_faces, form == 3);
    };
    const bool has_polygons = std::any_of(faces.begin(), faces.end(),
                                          [](const Polygon& face) { return face.size() > 3; });
    const TriangleMesh expected = merge(mesh);
    for (unsigned form = 0; form < 5; ++form) {
        TriangleMesh found;
        try {
            found = load(form < 3 ? Kind::ply : Kind::obj, write(form));
        } catch (const gas_app::UserError&) {
            expect(expected.triangles.empty(), "only a mesh without triangles is refused");
            continue;
        }
        // The parser of OBJ cuts polygons in its own way.
        if (form < 3 || !has_polygons)
            expect(are_equal(found, expected), "polygons come back as triangles");
        else
            expect_sound(found);
    }
    if (!expected.triangles.empty())
        expect_same_from_all(expected);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const unsigned choice = input.take_below(4);
    if (choice == 3)
        check_mesh(input);
    else
        check_bytes(static_cast<Kind>(choice), input.take_rest());
    return 0;
}
