// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <cstring>

#include <gmock/gmock.h>

#include <apps/gas/image/light_picture.h>
#include <apps/gas/image/picture.h>

#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

namespace {

using testing::HasSubstr;
using testing::StartsWith;

const Words render = join(join({"render", "--quiet"}, small_picture), small_detail);
const std::string png_start = "\x89PNG";
const std::string exr_start = "\x76\x2f\x31\x01";

/// The first bytes of what is written to a file of that name.
std::string get_start(const std::string& name, const Words& options = {}) {
    const TemporaryFolder folder;
    const ProgramResult result =
        run_program(join(join(render, options), {"-o", folder.get_path(name)}));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    return folder.read(name).substr(0, 4);
}

TEST(MainOutput, HasTheFormatOfItsName) {
    EXPECT_EQ(get_start("a.png"), png_start);
    EXPECT_EQ(get_start("a.b.PNG"), png_start);
    EXPECT_EQ(get_start("a.ppm"), "P6\n1");
    EXPECT_EQ(get_start("a.pfm"), "PF\n1");
    EXPECT_EQ(get_start("a.png", {"--format", "pfm"}), "PF\n1");
    EXPECT_EQ(get_start("picture", {"--format", "ppm"}), "P6\n1");
    if (gas_app::can_encode_exr()) {
        EXPECT_EQ(get_start("a.exr"), exr_start);
    }
}

TEST(MainOutput, RefusesOtherNamesBeforeTheWork) {
    const TemporaryFolder folder;
    const auto expect = [&](const Words& options, const std::string& part) {
        // The mesh does not exist, which would be found first by whoever begins to work.
        const ProgramResult result =
            run_program(join({"render", folder.get_path("none.obj")}, options));
        EXPECT_EQ(result.exit_code, 2);
        EXPECT_THAT(result.errors, StartsWith("gas: "));
        EXPECT_THAT(result.errors, HasSubstr(part));
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(folder.count_files(), 0u);
    };
    for (const char* name : {"a.jpg", "a", "a.", "png", ".png", "a.png.gz", "a.hdr"})
        expect({"-o", folder.get_path(name)}, "expected a name that ends in .png");
    expect({"-o", folder.get_path("a.png"), "--format", "jpg"}, "--format jpg: expected png");
    expect({"-o", folder.get_path("a.pfm"), "--heatmap"}, "--heatmap: ");
    expect({"-o", "-", "--json"}, "--json: ");
    if (!gas_app::can_encode_exr())
        expect({"-o", folder.get_path("a.exr")}, "without OpenEXR");
}

TEST(MainOutput, GoesToStandardOutput) {
    const TemporaryFolder folder;
    const std::string picture = render_small(folder, {});
    const ProgramResult quiet = run_program(join(render, {"-o", "-"}));
    EXPECT_EQ(quiet.exit_code, 0);
    EXPECT_TRUE(quiet.output == picture);
    EXPECT_EQ(quiet.errors, "");

    Words talkative = render;
    talkative[1] = "--motion";
    const ProgramResult moving = run_program(join(talkative, {"-o", "-", "--format", "ppm"}));
    EXPECT_EQ(moving.output.size(), std::string("P6\n18 9\n255\n").size() + 3 * 18 * 9);
    EXPECT_THAT(moving.output, StartsWith("P6\n18 9\n255\n"));
    EXPECT_THAT(moving.errors, HasSubstr("standard output: 18 x 9, "));
}

TEST(MainOutput, ReportsAFullStandardOutput) {
    std::string shell = GAS_APP_PROGRAM;
    for (const std::string& word : join(render, {"-o", "-"}))
        shell += " " + word;
    EXPECT_EQ(WEXITSTATUS(std::system((shell + " >/dev/full 2>/dev/null").c_str())), 1);
}

TEST(MainOutput, PointsOutAMeshThatLiesOnItsBack) {
    const TemporaryFolder folder;
    const std::string tent = folder.write("tent.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\n"
                                                      "v 0.5 0.5 2\nf 4 3 2 1\nf 1 2 5\n"
                                                      "f 2 3 5\nf 3 4 5\nf 4 1 5\n");
    const auto get_errors = [&](const Words& options) {
        const Words words = {"render", tent, "--size", "8x8", "-o", folder.get_path("a.png")};
        return run_program(join(words, options)).errors;
    };
    EXPECT_THAT(get_errors({}),
                StartsWith("gas: " + tent + ": its z axis may point up; if so, add --up z\n"));
    for (const Words& options : {Words{"--up", "z"}, Words{"--up", "y"}, Words{"--quiet"}})
        EXPECT_THAT(get_errors(options), testing::Not(HasSubstr("may point up")));
}

TEST(MainOutput, HoldsTheLightThatColoursAreMadeOf) {
    const TemporaryFolder folder;
    for (const char* name : {"a.ppm", "a.pfm"})
        run_program(join(render, {"-o", folder.get_path(name)}));
    const std::string colors = folder.read("a.ppm");
    const std::string light = folder.read("a.pfm");
    const std::size_t pixels = 18 * 9;
    ASSERT_EQ(light.size(), std::string("PF\n18 9\n-1.0\n").size() + 12 * pixels);
    // Rows of light go upwards. A brighter pixel has the larger code, up to noise of one.
    for (std::size_t index = 0; index < pixels; ++index) {
        float red = 0.0f;
        std::memcpy(&red, light.data() + light.size() - 12 * (18 * (index / 18 + 1) - index % 18),
                    sizeof red);
        const gas_app::Vec3 pixel_light{static_cast<double>(red), 0, 0};
        const gas_app::Color8 low = gas_app::encode_light(pixel_light * 0.9999, 0.0);
        const gas_app::Color8 high = gas_app::encode_light(pixel_light * 1.0001, 1.0);
        const auto code = static_cast<unsigned char>(colors[colors.size() - 3 * (pixels - index)]);
        EXPECT_GE(code, low.red) << index;
        EXPECT_LE(code, high.red) << index;
    }
}

} // namespace
