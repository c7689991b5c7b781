// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/obj_text.h>

#include <gmock/gmock.h>

#include <apps/common/user_error.h>

namespace {

using gas_app::prepare_obj_text;
using testing::HasSubstr;
using testing::StartsWith;

const std::string three_vertices = "v 0 0 0\nv 1 0 0\nv 0 1 0\n";

/// What is wrong with the text; empty when nothing is.
std::string get_complaint(std::string text) {
    try {
        prepare_obj_text(text, "mesh.obj");
    } catch (const gas_app::UserError& error) {
        return error.what();
    }
    return "";
}

TEST(ObjText, AcceptsWhatTheFormatAllows) {
    for (const char* faces : {"f 1 2 3\n", "f -3 -2 -1\n", "f 1/1 2/2 3/3\n", "f 1//1 2//1 3//1",
                              "  f 1/1/1 2/2/1 3/3/1  \r\n", "f\t1 2 3 1\n", "f +1 +2 +3\n"})
        EXPECT_EQ(get_complaint(three_vertices + faces), "") << faces;
    for (const char* vertex : {"v +1.5 -.5 2.\n", "v 1e3 -2.5E-3 +1e+2\n", "v 1 2 3 1.0\n",
                               "v 1 2 3 0.1 0.2 0.3\n", "v 1e-400 0 0\n"})
        EXPECT_EQ(get_complaint(vertex), "") << vertex;
    EXPECT_EQ(get_complaint(""), "");
    EXPECT_EQ(get_complaint("# a comment\n\n   \nvn 0 0 1\nvt 0 0\n"), "");
}

TEST(ObjText, AcceptsAByteOrderMark) {
    std::string text = "\xEF\xBB\xBF" + three_vertices + "f 1 2 3\n";
    EXPECT_EQ(get_complaint(text), "");
    prepare_obj_text(text, "mesh.obj");
    EXPECT_EQ(text, "   " + three_vertices + "f 1 2 3\n");
}

TEST(ObjText, AcceptsFacesBeforeTheirVertices) {
    EXPECT_EQ(get_complaint("f 1 2 3\n" + three_vertices), "");
}

TEST(ObjText, LeavesOutFacesAtVerticesThatAreNotFinite) {
    const auto leave_out = [](std::string text, const std::string& expected) {
        const gas_app::ObjLeftOut left_out = prepare_obj_text(text, "mesh.obj");
        EXPECT_EQ(text, expected);
        return left_out;
    };
    const std::string others = "f 1 2 3\nf 3 4 1\nf -3 -2 -1\nv 5 5 5\nf -4/1 -3//2 -2\nf 4 3 5\n";
    const std::string fewer = "# 1 2 3\nf 3 4 1\n# -3 -2 -1\nv 5 5 5\n# -4/1 -3//2 -2\nf 4 3 5\n";
    for (const std::string word : {"nan", "-inf", "1e999", "-1e39", "NAN(1)"}) {
        const std::string zero = "0" + std::string(word.size() - 1, ' ');
        const gas_app::ObjLeftOut left_out =
            leave_out("v 0 0 0\nv 1 " + word + " " + word + "\nv 0 1 0\nv 1 1 0\n" + others,
                      "v 0 0 0\nv 1 " + zero + " " + zero + "\nv 0 1 0\nv 1 1 0\n" + fewer);
        EXPECT_EQ(left_out.bad_face_count, 3u) << word;
        EXPECT_EQ(left_out.short_faces.count, 0u);
        EXPECT_FALSE(left_out.bad_vertices.has(0));
        EXPECT_TRUE(left_out.bad_vertices.has(1));
        EXPECT_FALSE(left_out.bad_vertices.has(2));
    }
    const gas_app::ObjLeftOut none = leave_out(three_vertices, three_vertices);
    EXPECT_TRUE(none.bad_vertices.is_empty());
    // Faces may precede their vertices.
    EXPECT_EQ(leave_out("f 1 2 3\n" + three_vertices + "v nan 0 0\nf 1 2 4",
                        "f 1 2 3\n" + three_vertices + "v 0   0 0\n# 1 2 4")
                  .bad_face_count,
              1u);
}

TEST(ObjText, NamesFileLineAndVertexOfABadNumber) {
    for (const char* word : {"abc", "1.5x", "1e", "0x10", "-", "1,5", "--1"})
        EXPECT_EQ(get_complaint(std::string("v 0 ") + word + " 0\n"),
                  std::string("mesh.obj, line 1: vertex 1: '") + word + "' is not a number");
}

TEST(ObjText, FindsVerticesThatWereCutOff) {
    EXPECT_EQ(get_complaint("v 0 0 0\nv 1 2"),
              "mesh.obj, line 2: vertex 2 has only 2 of its three coordinates");
    EXPECT_EQ(get_complaint("v\n"),
              "mesh.obj, line 1: vertex 1 has only 0 of its three coordinates");
    EXPECT_EQ(get_complaint("v 0 0 -"), "mesh.obj, line 1: vertex 1: '-' is not a number");
}

TEST(ObjText, NamesTheLineOfABadFace) {
    const auto get_face_complaint = [](const std::string& face) {
        return get_complaint(three_vertices + face);
    };
    EXPECT_EQ(get_face_complaint("f 1 2 4\n"),
              "mesh.obj, line 4: a face refers to vertex 4, but the file has only 3");
    EXPECT_EQ(get_face_complaint("f 1 2 -4\n"),
              "mesh.obj, line 4: a face refers to vertex -4, but there are only 3 before it");
    EXPECT_EQ(get_face_complaint("f 0 1 2\n"),
              "mesh.obj, line 4: a face refers to vertex 0; counting starts at 1");
    EXPECT_EQ(get_face_complaint("f 1/0 2/1 3/1\n"),
              "mesh.obj, line 4: '1/0' refers to number 0; counting starts at 1");
    for (const char* word : {"x", "1x", "1.5", "/1", "1/", "1//", "1/2/3/4", "1/x"})
        EXPECT_EQ(get_face_complaint(std::string("f 1 2 ") + word),
                  std::string("mesh.obj, line 4: '") + word + "' is no reference to a vertex");
    for (const char* word : {"600000000", "99999999999999999999", "-99999999999"})
        EXPECT_THAT(get_face_complaint(std::string("f 1 2 ") + word), HasSubstr("beyond"));
}

TEST(ObjText, LeavesOutFacesOfFewerThanThreeCorners) {
    std::string text = three_vertices + "f 1 2\nf 1 2 3\nf 3/1\nf\n";
    const gas_app::ShortFaces faces = prepare_obj_text(text, "mesh.obj").short_faces;
    EXPECT_EQ(text, three_vertices + "# 1 2\nf 1 2 3\n# 3/1\n#\n");
    EXPECT_EQ(faces.count, 3u);
    EXPECT_EQ(faces.first_line, 4u);
    EXPECT_EQ(get_complaint(three_vertices + "f 1 4\n"),
              "mesh.obj, line 4: a face refers to vertex 4, but the file has only 3");
}

TEST(ObjText, JoinsLinesAtABackslash) {
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        std::string text =
            "v 0 \\" + end + "0 0" + end + "f -1 \\" + end + "-1\\" + end + "-1" + end;
        const std::string gap(end.size() + 1, ' ');
        EXPECT_EQ(prepare_obj_text(text, "mesh.obj").short_faces.count, 0u);
        EXPECT_EQ(text, "v 0 " + gap + "0 0" + end + "f -1 " + gap + "-1" + gap + "-1" + end);
    }
    EXPECT_EQ(get_complaint("v 0 0 \\\n0\nv 0 \\\n\\\none 0\n"),
              "mesh.obj, line 3: vertex 2: 'one' is not a number");
    EXPECT_EQ(get_complaint("v 0 \\\n0 0\nv 0 0\n"),
              "mesh.obj, line 3: vertex 2 has only 2 of its three coordinates");
    EXPECT_EQ(get_complaint("v 0 0 0\\"), "");
    EXPECT_EQ(get_complaint("\\"), "");
}

TEST(ObjText, DoesNotJoinComments) {
    EXPECT_EQ(get_complaint(" # C:\\\nv 0 0 0\nf 1 1 1\n"), "");
    EXPECT_EQ(get_complaint("# C:\\\nv 0 0\n"),
              "mesh.obj, line 2: vertex 1 has only 2 of its three coordinates");
}

TEST(ObjText, NamesTheFirstLineWithTheLargestNumber) {
    EXPECT_THAT(get_complaint(three_vertices + "f 1 2 9\nf 1 2 9\nf 1 2 3\n"),
                StartsWith("mesh.obj, line 4: a face refers to vertex 9"));
}

TEST(ObjText, CountsLinesOfEveryKind) {
    EXPECT_THAT(get_complaint("# one\r# two\r\n# three\nv one 0 0"), HasSubstr("line 4"));
}

TEST(ObjText, QuotesNoControlCharactersAndNoLongWords) {
    EXPECT_THAT(get_complaint("v \x1b[31m 0 0\n"), HasSubstr("'?[31m'"));
    const std::string complaint = get_complaint("v " + std::string(5000, 'a') + " 0 0\n");
    EXPECT_LT(complaint.size(), 200u);
}

TEST(ObjText, TurnsOtherLinesIntoComments) {
    std::string text = "mtllib /dev/zero\nv 0 0 0\nt crease 2000000000/0/0\nusemtl stone\ng x\n";
    prepare_obj_text(text, "mesh.obj");
    EXPECT_EQ(text, "#tllib /dev/zero\nv 0 0 0\n# crease 2000000000/0/0\n#semtl stone\n# x\n");
}

} // namespace
