// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>

#include <gmock/gmock.h>

#include <tests/app/program.h>

namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

const std::string triangle = "v 0 0 0\nv 1 0 0\nv 0 1 0\nf 1 2 3\n";

constexpr int failed = 1;
constexpr int bad_usage = 2;

/// A run that must fail with a message that holds `part`, and leave no file behind.
void expect_failure(const TemporaryFolder& folder, const std::vector<std::string>& arguments,
                    int exit_code, const std::string& part) {
    const unsigned file_count = folder.count_files();
    const ProgramResult result = run_program(arguments);
    EXPECT_EQ(result.exit_code, exit_code);
    EXPECT_THAT(result.errors, AllOf(StartsWith("gas: "), HasSubstr(part)));
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(folder.count_files(), file_count);
}

class MainBadInput : public testing::Test {
  protected:
    /// Renders and asks for statistics of a mesh that is not good.
    void expect_bad_mesh(const std::string& mesh, const std::string& part) const {
        expect_failure(folder, {"render", mesh, "-o", picture, "--size", "8x8", "--quiet"}, failed,
                       part);
        expect_failure(folder, {"stats", mesh, "--quiet"}, failed, part);
    }

    void expect_bad_options(std::vector<std::string> options, int exit_code,
                            const std::string& part) const {
        options.insert(options.begin(), {"render", mesh_path, "--quiet"});
        expect_failure(folder, options, exit_code, part);
    }

    const TemporaryFolder folder;
    const std::string picture = folder.get_path("picture.png");
    const std::string mesh_path = folder.write("good.obj", triangle);
};

TEST_F(MainBadInput, AcceptsTheMeshThatOthersAreMadeFrom) {
    const ProgramResult result =
        run_program({"render", mesh_path, "-o", picture, "--size", "8x8", "--quiet"});
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_EQ(folder.count_files(), 2u);
}

TEST_F(MainBadInput, NamesAMissingFile) {
    expect_bad_mesh(folder.get_path("none.obj"), "none.obj: cannot be opened: No such file");
}

TEST_F(MainBadInput, NamesADirectory) { expect_bad_mesh(folder.get_path(""), "is a directory"); }

TEST_F(MainBadInput, NamesAnEmptyFile) {
    expect_bad_mesh(folder.write("empty.obj", ""), "empty.obj: the file is empty");
    expect_bad_mesh(folder.write("words.obj", "# nothing\n\n"), "words.obj: holds no faces");
}

TEST_F(MainBadInput, NamesFacesThatAreOutOfRange) {
    for (const char* face : {"f 1 2 4\n", "f 0 1 2\n", "f -4 1 2\n", "f 1 2 999999999999\n"})
        expect_bad_mesh(folder.write("faces.obj", triangle + face), "faces.obj, line 5: ");
}

// Their boxes would be no boxes, and could hide other items.
TEST_F(MainBadInput, NamesVerticesThatAreNotFiniteAndLeavesOutTheirFaces) {
    const auto expect_left_out = [&](const std::string& mesh, const std::string& note) {
        const ProgramResult drawn =
            run_program({"render", mesh, "-o", picture, "--size", "8x8", "--quiet"});
        EXPECT_EQ(drawn.exit_code, 0) << drawn.errors;
        EXPECT_EQ(drawn.errors,
                  "gas: " + mesh + ": vertices that are not finite as floats: " + note + "\n");
        const ProgramResult counted = run_program({"stats", mesh, "--quiet", "--json"});
        EXPECT_EQ(counted.exit_code, 0) << counted.errors;
        EXPECT_THAT(counted.output, HasSubstr("\"leaves\": 1,"));
    };
    expect_left_out(folder.write("nan.obj", triangle + "v nan 0 0\nv 0 inf 0\nf 1 2 4\nf 5 1 3\n"),
                    "2, the first at line 5: vertex 4, 'nan'; faces left out with them: 2");
    const std::string header = "ply\nformat ascii 1.0\nelement vertex 4\nproperty float x\n"
                               "property float y\nproperty float z\nelement face 2\n"
                               "property list uchar int vertex_indices\nend_header\n";
    expect_left_out(folder.write("inf.ply", header + "0 0 0\n1 0 0\n0 1 0\n0 -inf 0\n"
                                                     "3 0 1 2\n4 0 1 2 3\n"),
                    "1, the first at line 13: 'vertex' 3, y; faces left out with them: 1");
    const std::string facet = "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
                              "vertex 0 1 0\nendloop\nendfacet\n";
    const std::string bad_facet = "facet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\n"
                                  "vertex 0 1e39 0\nendloop\nendfacet\n";
    expect_left_out(folder.write("far.stl", "solid a\n" + facet + bad_facet + "endsolid a\n"),
                    "1, the first at line 13: '1e39'; faces left out with them: 1");
    expect_bad_mesh(folder.write("none.obj", "v 0 0 0\nv nan 0 0\nv 0 1 0\nf 1 2 3\n"),
                    "none.obj: holds no faces");
}

TEST_F(MainBadInput, NamesTheLineWhereAFileWasCut) {
    expect_bad_mesh(folder.write("cut.obj", "v 0 0 0\nv 1 0"), "cut.obj, line 2: vertex 2 has");
    expect_bad_mesh(folder.write("cut.obj", triangle + "f 1 2/"), "cut.obj, line 5: '2/' is no");
    expect_bad_mesh(folder.write("cut.obj", "f 1 2 3\nv 0 0 0\n"),
                    "cut.obj, line 1: a face refers to vertex 3");
}

TEST_F(MainBadInput, TellsHowManyFacesAreTooShort) {
    const std::string mesh = folder.write("short.obj", triangle + "f 1 2\nf 1\nf 1 2 3");
    const ProgramResult result =
        run_program({"render", mesh, "-o", picture, "--size", "8x8", "--quiet"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_EQ(result.errors, "gas: " + mesh + ": faces of fewer than three corners are left out: " +
                                 "2, the first at line 5\n");
    expect_bad_mesh(folder.write("lines.obj", "v 0 0 0\nv 1 0 0\nf 1 2\n"),
                    "lines.obj: holds no faces");
}

TEST_F(MainBadInput, NamesWhatIsWrongWithPlyAndStlFiles) {
    const std::string header = "ply\nformat ascii 1.0\nelement vertex 1\nproperty float x\n"
                               "property float y\nproperty float z\nend_header\n";
    expect_bad_mesh(folder.write("none.ply", "v 0 0 0\n"), "none.ply, line 1: a PLY file begins");
    expect_bad_mesh(folder.write("cut.ply", header + "1 2"), "cut.ply: ends in 'vertex' 0");
    expect_bad_mesh(folder.write("word.ply", header + "1 2 x"),
                    "word.ply, line 8: 'vertex' 0: 'x'");
    expect_bad_mesh(folder.write("points.ply", header + "1 2 3\n"), "points.ply: holds no faces");
    expect_bad_mesh(folder.write("none.stl", "v 0 0 0\n"), "none.stl: is neither");
    expect_bad_mesh(folder.write("cut.stl", "solid a\nfacet"), "cut.stl, line 2: the file ends");
}

TEST_F(MainBadInput, NamesAMeshWithoutSize) {
    expect_bad_mesh(folder.write("point.obj", "v 1 2 3\nf 1 1 1\n"), "point.obj: ");
}

TEST_F(MainBadInput, RefusesOutputsThatCannotBeWritten) {
    expect_bad_options({"-o", folder.get_path("none/a.png")}, failed, "there is no folder");
    expect_bad_options({"-o", folder.get_path("")}, failed, "is a directory");
    expect_bad_options({"-o", mesh_path}, failed, "would overwrite the input");
    expect_bad_options({"-o", ""}, failed, "output");
    expect_bad_options({"-o", "/dev/full", "--size", "8x8"}, failed,
                       "/dev/full: cannot be written");
    EXPECT_EQ(folder.read("good.obj"), triangle);
}

TEST_F(MainBadInput, NamesTheOptionThatIsWrong) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--size", "0x100"},   {"--size", "100"},        {"--size", "99999x99999"},
        {"--size", "-5x5"},    {"--spp", "0"},           {"--spp", "-1"},
        {"--spp", "many"},     {"--spp", "99999999999"}, {"--ao", "-1"},
        {"--ao", "5000"},      {"--threads", "-1"},      {"--threads", "100000"},
        {"--build", "best"},   {"--packet", "0"},        {"--packet", "257"},
        {"--packet", "-4"},    {"--packet", "4x4"},      {"--camera", "1"},
        {"--camera", "nan,0"}, {"--camera", "0,200"},    {"--up", "w"},
        {"--detail", "0"},     {"--detail", "nan"},      {"--seed", "-1"},
        {"--seed", "x"},       {"--unknown", "1"},       {"--heatmap", "--brute-force"},
        {"--tree", "Grid"},    {"--tree", "Plain"},      {"--repeat", "0"},
        {"--repeat", "010"},   {"--repeat", "0x10"},     {"--spp", "010"},
        {"--ao", "00"},        {"--threads", "0x2"},     {"--packet", "010"},
        {"--stream", "yes"},   {"--stream", "ON"},       {"--wide", "all"},
        {"--wide", "1"}};
    for (const std::vector<std::string>& options : wrong) {
        SCOPED_TRACE(options[0] + " " + options[1]);
        expect_bad_options({"-o", picture, options[0], options[1]}, bad_usage, options[0]);
    }
}

TEST_F(MainBadInput, NamesAnInstructionSetThatIsNone) {
    const char* const before = std::getenv("GAS_ISA");
    const std::string old_value = before ? before : "";
    for (const char* name : {"AVX2", "sse", ""}) {
        ::setenv("GAS_ISA", name, true);
        expect_bad_options({"-o", picture}, bad_usage,
                           "GAS_ISA: '" + std::string(name) + "' is neither baseline nor avx2");
    }
    if (before)
        ::setenv("GAS_ISA", old_value.c_str(), true);
    else
        ::unsetenv("GAS_ISA");
}

TEST_F(MainBadInput, NamesWhatIsWrongWithItemsAndCells) {
    const std::vector<std::string> render = {"render", "--quiet", "-o", picture};
    const auto expect = [&](std::vector<std::string> options, const std::string& part) {
        for (std::vector<std::string> arguments : {render, {"stats", "--quiet"}}) {
            arguments.insert(arguments.end(), options.begin(), options.end());
            SCOPED_TRACE(testing::PrintToString(arguments));
            expect_failure(folder, arguments, bad_usage, part);
        }
    };
    for (const char* number : {"0", "-1", "1.5", "many", "200000001", "99999999999999999999", "",
                               "010", "0x10", "+1", " 1"}) {
        expect({"--items", number}, "--items");
        expect({"--tree", "grid", "--cells", number}, "--cells");
    }
    expect({mesh_path, "--items", "100"}, "mesh excludes --items");
    expect({"--items", "100", "--detail", "2"}, "--items excludes --detail");
    expect({"--up", "y", "--items", "100"}, "--items excludes --up");
    for (const char* tree : {"plain", "compressed"}) {
        expect({"--tree", tree, "--cells", "4"}, "--cells: only");
        expect({"--tree", tree, "--cell-progress"}, "--cell-progress: only");
    }
}

TEST_F(MainBadInput, NeedsASubcommandAndAnOutput) {
    expect_failure(folder, {}, bad_usage, "subcommand");
    expect_failure(folder, {"--loud"}, bad_usage, "--loud: there is no such");
    expect_failure(folder, {"paint"}, bad_usage, "paint: there is no such");
    expect_failure(folder, {"render"}, bad_usage, "--output");
    expect_failure(folder, {"stats", "-o", picture}, bad_usage, "-o");
    expect_failure(folder, {"stats", mesh_path, "--threads", "many"}, bad_usage, "--threads");
    expect_failure(folder, {"stats", mesh_path, "--tree", "tall"}, bad_usage, "--tree tall: ");
}

TEST_F(MainBadInput, NamesAnUnknownOptionBeforeOneThatIsMissing) {
    expect_failure(folder, {"render", "--foo"}, bad_usage, "--foo: gas render has no such option");
    expect_failure(folder, {"render", "--foo", mesh_path}, bad_usage, "--foo: gas render");
    expect_failure(folder, {"render", mesh_path, "--foo=3", "-q"}, bad_usage, "--foo: gas render");
    expect_failure(folder, {"query", mesh_path, "--boxes", "1"}, bad_usage, "--boxes: gas query");
    expect_failure(folder, {"stats", mesh_path, "-z"}, bad_usage, "-z: gas stats");
    expect_failure(folder, {"render", mesh_path, mesh_path}, bad_usage, "--output");
}

TEST_F(MainBadInput, ReportsAFullStandardOutput) {
    const std::string shell = std::string(GAS_APP_PROGRAM) + " stats --quiet --json " + mesh_path;
    EXPECT_EQ(WEXITSTATUS(std::system((shell + " >/dev/full 2>/dev/null").c_str())), 1);
}

TEST_F(MainBadInput, HelpsWhenAsked) {
    for (const std::vector<std::string>& arguments : {std::vector<std::string>{"--help"},
                                                      {"render", "--help"},
                                                      {"stats", "-h"},
                                                      {"query", "-h"}}) {
        const ProgramResult result = run_program(arguments);
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_THAT(result.output, HasSubstr("Options:"));
    }
    EXPECT_THAT(run_program({"render", "--help"}).output,
                HasSubstr("each from 1 to 16384, at most 67108864\n      pixels"));
}

TEST_F(MainBadInput, TellsItsVersionWhenAsked) {
    const ProgramResult result = run_program({"--version"});
    EXPECT_EQ(result.exit_code, 0);
    EXPECT_THAT(result.output, testing::MatchesRegex("gas [0-9]+\\.[0-9]+\\.[0-9]+\n"));
    EXPECT_EQ(result.errors, "");
}

} // namespace
