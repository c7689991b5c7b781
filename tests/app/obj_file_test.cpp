// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/mesh_file.h>

#include <gmock/gmock.h>

#include <apps/common/user_error.h>

#include <tests/app/temporary_folder.h>

namespace {

using gas_app::load_mesh_file;
using gas_app::TriangleMesh;
using testing::AllOf;
using testing::HasSubstr;

std::string get_complaint(const std::string& path) {
    try {
        load_mesh_file(path);
    } catch (const gas_app::UserError& error) {
        return error.what();
    }
    return "";
}

TriangleMesh load(const std::string& text) {
    const TemporaryFolder folder;
    return load_mesh_file(folder.write("mesh.obj", text));
}

TEST(ObjFile, ReadsTrianglesAndCutsPolygons) {
    const TriangleMesh mesh = load("v 0 0 0\nv 2 0 0\nv 2 1 0\nv 0 1 0\nv 1 3 0\n"
                                   "f 1 2 3 4\nf 4 3 5\nf 1 2 3 5 4\n");
    EXPECT_EQ(mesh.vertices.size(), 5u);
    EXPECT_EQ(mesh.triangles.size(), 2u + 1u + 3u);
    EXPECT_EQ(mesh.get_box(), (gas_app::Box{{0.0, 0.0, 0.0}, {2.0, 3.0, 0.0}}));
}

TEST(ObjFile, SharesVerticesInOnePlaceAndDropsUnusedOnes) {
    const TriangleMesh mesh = load("v 0 0 0\nv 1 0 0\nv 0 1 0\nv 9 9 9\nv 1 0 0\nv 0 1 0\nv 1 1 0\n"
                                   "f 1 2 3\nf 5 7 6\n");
    EXPECT_EQ(mesh.vertices.size(), 4u);
    EXPECT_EQ(mesh.triangles.size(), 2u);
    EXPECT_EQ(mesh.get_box().max, (gas_app::Vec3{1.0, 1.0, 0.0}));
}

TEST(ObjFile, ReadsLinesThatEndInAnyWay) {
    for (const std::string end : {"\n", "\r\n", "\r"}) {
        const std::string text =
            "v 0 0 0" + end + "v 1 0 0" + end + "v 0 1 0" + end + "f 1 2 3" + end;
        EXPECT_EQ(load(text).triangles.size(), 1u);
    }
}

TEST(ObjFile, ReadsAFaceOverSeveralLines) {
    const TriangleMesh mesh = load("v 0 0 0\nv 2 0 \\\n0\nv 2 1 0\nv 0 1 0\nf 1 2 \\\n  3 4");
    EXPECT_EQ(mesh.triangles.size(), 2u);
    EXPECT_EQ(mesh.get_box().max, (gas_app::Vec3{2.0, 1.0, 0.0}));
}

TEST(ObjFile, DoesNotReadMaterialFiles) {
    const TriangleMesh mesh =
        load("mtllib /dev/zero\nusemtl a\nv 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n");
    EXPECT_EQ(mesh.triangles.size(), 1u);
}

TEST(ObjFile, RefusesWhatIsNoMesh) {
    const TemporaryFolder folder;
    EXPECT_THAT(get_complaint(folder.get_path("none.obj")),
                AllOf(HasSubstr("none.obj"), HasSubstr("No such file")));
    EXPECT_THAT(get_complaint(folder.get_path("")), HasSubstr("is a directory"));
    EXPECT_THAT(get_complaint(folder.write("empty.obj", "")),
                AllOf(HasSubstr("empty.obj"), HasSubstr("is empty")));
    EXPECT_THAT(get_complaint(folder.write("points.obj", "v 0 0 0\nv 1 0 0\n")),
                AllOf(HasSubstr("points.obj"), HasSubstr("no faces")));
    EXPECT_THAT(get_complaint(folder.write("noise.obj", std::string("\x7f"
                                                                    "ELF\0\1\2\n\0v",
                                                                    10))),
                HasSubstr("no faces"));
}

TEST(ObjFile, FindsWhereAFileWasCut) {
    const std::string text = "v 0.125 0.25 0.5\nv 1.5 0.25 0.5\nv 0.125 1.5 0.5\nf 1 2 3\n";
    const TemporaryFolder folder;
    const std::size_t whole = text.size() - 1; // the last line need not end
    for (std::size_t size = 1; size < whole; ++size)
        EXPECT_NE(get_complaint(folder.write("cut.obj", text.substr(0, size))), "") << size;
    for (const std::size_t size : {whole, text.size()})
        EXPECT_EQ(get_complaint(folder.write("whole.obj", text.substr(0, size))), "");
}

} // namespace
