// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/ply_file.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include <apps/common/user_error.h>

namespace {

using gas_app::parse_ply;
using gas_app::TriangleMesh;
using gas_app::Vec3;
using testing::HasSubstr;

const std::string quad_header = "comment made by hand\n"
                                "element vertex 4\n"
                                "property float x\n"
                                "property double y\n"
                                "property uchar red\n"
                                "property float z\n"
                                "element edge 1\n"
                                "property list uchar float weights\n"
                                "element face 2\n"
                                "property list uchar int vertex_indices\n"
                                "property short flags\n"
                                "end_header\n";

/// A quad and a triangle.
const std::string quad = "ply\nformat ascii 1.0\n" + quad_header +
                         "0 0 255 0\n2 0 255 0\n2 1 255 0\n0 1 255 0\n"
                         "2 0.5 0.25\n"
                         "4 0 1 2 3 -7\n3 0 1 2 9\n";

/// Appends the bytes of numbers in one order.
class Bytes {
  public:
    explicit Bytes(bool is_big) : m_is_big(is_big) {}

    template <typename Number> Bytes& add(Number number) {
        std::string bytes(sizeof number, '\0');
        std::memcpy(bytes.data(), &number, sizeof number);
        if (m_is_big == (std::endian::native == std::endian::little))
            std::reverse(bytes.begin(), bytes.end());
        m_text += bytes;
        return *this;
    }
    const std::string& get() const { return m_text; }

  private:
    bool m_is_big;
    std::string m_text;
};

std::string make_binary_quad(bool is_big) {
    Bytes bytes(is_big);
    const Vec3 places[] = {{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}};
    for (const Vec3& place : places)
        bytes.add(static_cast<float>(place.x)).add(place.y).add(std::uint8_t{255}).add(0.0f);
    bytes.add(std::uint8_t{2}).add(0.5f).add(0.25f);
    bytes.add(std::uint8_t{4}).add(0).add(1).add(2).add(3).add(std::int16_t{-7});
    bytes.add(std::uint8_t{3}).add(0).add(1).add(2).add(std::int16_t{9});
    const std::string format = is_big ? "binary_big_endian" : "binary_little_endian";
    return "ply\nformat " + format + " 1.0\n" + quad_header + bytes.get();
}

std::string get_complaint(const std::string& text) {
    try {
        parse_ply(text, "mesh.ply");
    } catch (const gas_app::UserError& error) {
        return error.what();
    }
    return "";
}

void expect_quad(const TriangleMesh& mesh) {
    EXPECT_EQ(mesh.vertices, (std::vector<Vec3>{{0, 0, 0}, {2, 0, 0}, {2, 1, 0}, {0, 1, 0}}));
    EXPECT_EQ(mesh.triangles.size(), 3u);
    EXPECT_EQ(mesh.triangles.back(), (TriangleMesh::Triangle{0, 1, 2}));
}

std::string replace(std::string text, const std::string& what, const std::string& by) {
    const std::size_t place = text.find(what);
    EXPECT_NE(place, std::string::npos) << what;
    return text.replace(place, what.size(), by);
}

TEST(PlyFile, ReadsAllFormats) {
    expect_quad(parse_ply(quad, "a.ply"));
    expect_quad(parse_ply(make_binary_quad(false), "a.ply"));
    expect_quad(parse_ply(make_binary_quad(true), "a.ply"));
}

TEST(PlyFile, ReadsLinesThatEndInAnyWay) {
    for (const std::string end : {"\r\n", "\r"}) {
        std::string text;
        for (const char letter : quad)
            text += letter == '\n' ? end : std::string(1, letter);
        expect_quad(parse_ply(text, "a.ply"));
        text.resize(text.size() - end.size());
        expect_quad(parse_ply(text, "a.ply"));
    }
}

TEST(PlyFile, ReadsFacesBeforeVerticesAndTheOtherNameOfCorners) {
    const TriangleMesh mesh =
        parse_ply("ply\nformat ascii 1.0\nelement face 1\nproperty list uint8 uint32 vertex_index\n"
                  "element vertex 3\nproperty float32 x\nproperty float32 y\nproperty float32 z\n"
                  "end_header\n3 2 1 0\n0 0 0 1 0 0 0 1 0",
                  "a.ply");
    EXPECT_EQ(mesh.triangles, (std::vector<TriangleMesh::Triangle>{{2, 1, 0}}));
}

TEST(PlyFile, LeavesOutFacesOfFewerThanThreeCorners) {
    std::string text = replace(quad, "4 0 1 2 3 -7", "2 0 1 -7");
    EXPECT_EQ(parse_ply(text, "a.ply").triangles.size(), 1u);
    text = replace(text, "3 0 1 2 9", "0 9");
    EXPECT_EQ(parse_ply(text, "a.ply").triangles.size(), 0u);
}

TEST(PlyFile, NamesTheLineOfABadHeader) {
    const auto expect = [](const std::string& what, const std::string& by,
                           const std::string& complaint) {
        EXPECT_EQ(get_complaint(replace(quad, what, by)), "mesh.ply, line " + complaint) << by;
    };
    expect("ascii", "text",
           "2: 'text' is no format; expected ascii, binary_little_endian or binary_big_endian");
    expect("format ascii 1.0\n", "", "13: the header names no format");
    expect("element vertex 4", "element vertex x",
           "4: element 'vertex': 'x' is no count up to "
           "1000000000");
    expect("element vertex 4", "element vertex -4",
           "4: element 'vertex': '-4' is no count up to "
           "1000000000");
    expect("property float x", "property half x", "5: 'half' is no type of numbers");
    expect("property float x", "property float", "5: a property has no name");
    expect("comment made", "remark", "3: 'remark' is no part of a header");
    expect("comment made by hand", "property float x", "3: a property precedes all elements");
    EXPECT_EQ(get_complaint("ply\nformat ascii 1.0\n"),
              "mesh.ply, line 3: the file ends before the header's end_header");
}

TEST(PlyFile, NamesWhatElementsLack) {
    EXPECT_EQ(get_complaint(replace(quad, "property double y", "property double v")),
              "mesh.ply: its vertices have no property y");
    EXPECT_EQ(get_complaint(replace(quad, "vertex_indices", "corners")),
              "mesh.ply: its faces have no list vertex_indices");
}

TEST(PlyFile, NamesThePlaceOfABadNumber) {
    EXPECT_EQ(get_complaint(replace(quad, "2 1 255 0", "2 one 255 0")),
              "mesh.ply, line 17: 'vertex' 2: 'one' is not a number");
    EXPECT_EQ(get_complaint(replace(quad, "4 0 1 2 3", "4 0 1 2 -3")),
              "mesh.ply, line 20: 'face' 0: expected a whole number from 0 to 4294967294");
    EXPECT_EQ(get_complaint(replace(quad, "4 0 1 2 3", "-4 0 1 2 3")),
              "mesh.ply, line 20: 'face' 0: expected a whole number from 0 to 4294967295");
    EXPECT_EQ(get_complaint(replace(quad, "4 0 1 2 3", "4 0 1 2 4")),
              "mesh.ply: face 0 refers to vertex 4, but there are only 4, counted from 0");
    EXPECT_EQ(get_complaint(replace(quad, "4 0 1 2 3", "4000000000 0 1 2 3")),
              "mesh.ply: ends in 'face' 0, so the file may have been cut");
}

TEST(PlyFile, LeavesOutFacesAtVerticesThatAreNotFinite) {
    std::string binary = make_binary_quad(false);
    const std::size_t data = binary.find("end_header\n") + 11;
    const float infinity = std::numeric_limits<float>::infinity();
    std::memcpy(&binary[data + 17], &infinity, sizeof infinity);
    const std::pair<std::string, std::string> cases[] = {
        {replace(quad, "2 1 255 0", "2 nan 255 0"), "line 17: 'vertex' 2, y"},
        {replace(quad, "2 1 255 0", "1e39 1 255 0"), "line 17: 'vertex' 2, x"},
        {binary, "byte " + std::to_string(data + 17) + ": 'vertex' 1, x"}};
    for (const auto& [text, place] : cases) {
        testing::internal::CaptureStderr();
        const TriangleMesh mesh = parse_ply(text, "mesh.ply");
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "gas: mesh.ply: vertices that are not finite as floats: 1, the first at " +
                      place + "; faces left out with them: 2\n");
        EXPECT_TRUE(mesh.triangles.empty());
        EXPECT_EQ(mesh.vertices.size(), 4u);
    }
}

TEST(PlyFile, FindsWhereAFileWasCut) {
    for (const std::string& whole :
         {quad.substr(0, quad.size() - 1), make_binary_quad(false), make_binary_quad(true)})
        for (std::size_t size = 3; size < whole.size(); ++size)
            EXPECT_THAT(get_complaint(whole.substr(0, size)), HasSubstr("mesh.ply")) << size;
}

TEST(PlyFile, IsNotImpressedByLargeCounts) {
    for (const char* count : {"999999999", "1000000000"})
        EXPECT_THAT(get_complaint(replace(quad, "vertex 4", std::string("vertex ") + count)),
                    HasSubstr("mesh.ply"));
    EXPECT_EQ(get_complaint(replace(quad, "element edge",
                                    "element nothing 1000000000\n"
                                    "element edge")),
              "");
}

} // namespace
