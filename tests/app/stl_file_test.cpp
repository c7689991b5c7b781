// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/stl_file.h>

#include <cstring>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include <apps/common/user_error.h>

namespace {

using gas_app::parse_stl;
using gas_app::TriangleMesh;
using gas_app::Vec3;
using testing::HasSubstr;

const std::string facet = "  facet normal 0 0 1\n    outer loop\n      vertex 0 0 0\n"
                          "      vertex 2 0 0\n      vertex 0 1e0 0\n    endloop\n  endfacet\n";
const std::string ascii = "solid a part\n" + facet + facet + "endsolid a part\n";

/// Two triangles; numbers begin with their lowest byte.
std::string make_binary(const std::string& title) {
    std::string text = title;
    text.resize(80);
    text += std::string("\2\0\0\0", 4);
    for (unsigned triangle = 0; triangle < 2; ++triangle)
        // 2 is 0x40000000, 1 is 0x3F800000.
        text += std::string(12, '\x7F') + std::string(12, '\0') + std::string("\0\0\0\x40", 4) +
                std::string(12, '\0') + std::string("\0\0\x80\x3F", 4) + std::string(4 + 2, '\0');
    return text;
}

std::string get_complaint(const std::string& text) {
    try {
        parse_stl(text, "mesh.stl");
    } catch (const gas_app::UserError& error) {
        return error.what();
    }
    return "";
}

std::string replace(std::string text, const std::string& what, const std::string& by) {
    const std::size_t place = text.find(what);
    EXPECT_NE(place, std::string::npos) << what;
    return text.replace(place, what.size(), by);
}

void expect_two_triangles(const TriangleMesh& mesh) {
    ASSERT_EQ(mesh.triangles.size(), 2u);
    ASSERT_EQ(mesh.vertices.size(), 6u);
    EXPECT_EQ(mesh.vertices[3], (Vec3{0, 0, 0}));
    EXPECT_EQ(mesh.vertices[4], (Vec3{2, 0, 0}));
    EXPECT_EQ(mesh.vertices[5], (Vec3{0, 1, 0}));
}

TEST(StlFile, ReadsBothFormats) {
    expect_two_triangles(parse_stl(ascii, "a.stl"));
    expect_two_triangles(parse_stl(make_binary("a part"), "a.stl"));
    expect_two_triangles(parse_stl(make_binary("solid as others begin"), "a.stl"));
}

TEST(StlFile, RoundsWordsToFloats) {
    const TriangleMesh mesh =
        parse_stl(replace(ascii, "vertex 2 0 0", "vertex 0.1 0.3 0.7"), "a.stl");
    const Vec3 expected = {static_cast<double>(0.1f), static_cast<double>(0.3f),
                           static_cast<double>(0.7f)};
    EXPECT_EQ(mesh.vertices[1], expected);
}

TEST(StlFile, ReadsWhatOthersWrite) {
    expect_two_triangles(parse_stl(
        "\r\n SOLID\r\n" + facet + "endsolid\r\nsolid b\r\n" +
            replace(facet, "facet normal 0 0 1", "FACET NORMAL nan nan nan") + "endsolid b",
        "a.stl"));
    expect_two_triangles(parse_stl(make_binary("more follows") + "more", "a.stl"));
    EXPECT_EQ(parse_stl("solid nothing\nendsolid nothing\n", "a.stl").triangles.size(), 0u);
}

TEST(StlFile, NamesThePlaceOfWhatIsWrong) {
    EXPECT_EQ(get_complaint(replace(ascii, "vertex 2 0 0", "vertex 2 x 0")),
              "mesh.stl, line 5: 'x' is not a number");
    EXPECT_EQ(get_complaint(replace(ascii, "vertex 2 0 0\n", "")),
              "mesh.stl, line 6: expected vertex, found 'endloop'");
    EXPECT_EQ(get_complaint(replace(ascii, "    endloop", "vertex 1 1 1\nendloop")),
              "mesh.stl, line 7: expected endloop, found 'vertex'");
    EXPECT_EQ(get_complaint(replace(ascii, "endsolid a part", "end")),
              "mesh.stl, line 16: expected facet or endsolid, found 'end'");
    EXPECT_EQ(get_complaint(ascii + "junk\n"), "mesh.stl, line 17: expected solid, found 'junk'");
}

TEST(StlFile, LeavesOutTrianglesThatAreNotFinite) {
    std::string binary = make_binary("");
    const unsigned infinity = 0x7F800000u;
    std::memcpy(&binary[84 + 50 + 12 + 8], &infinity, sizeof infinity);
    const std::pair<std::string, std::string> cases[] = {
        {replace(ascii, "vertex 2 0 0", "vertex 2 inf nan"), "line 5: 'inf'"},
        {binary, "byte 154: a corner of triangle 2"}};
    for (const auto& [text, place] : cases) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(parse_stl(text, "mesh.stl").triangles.size(), 1u);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "gas: mesh.stl: vertices that are not finite as floats: 1, the first at " +
                      place + "; faces left out with them: 1\n");
    }
}

TEST(StlFile, FindsWhereAFileWasCut) {
    const std::size_t last_word = ascii.find("endsolid") + 8;
    for (std::size_t size = 6; size < last_word; ++size)
        EXPECT_NE(get_complaint(ascii.substr(0, size)), "") << size;
    EXPECT_THAT(get_complaint(ascii.substr(0, 70)), HasSubstr("mesh.stl, line 5: the file ends"));
    const std::string binary = make_binary("");
    for (std::size_t size = 1; size < binary.size(); ++size)
        EXPECT_NE(get_complaint(binary.substr(0, size)), "") << size;
    EXPECT_EQ(get_complaint(binary.substr(0, 100)),
              "mesh.stl, byte 80: 2 triangles take 184 bytes, but the file has 100, so it may have "
              "been cut");
}

} // namespace
