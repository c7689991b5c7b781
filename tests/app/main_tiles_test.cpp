// SPDX-License-Identifier: Apache-2.0
#include <csignal>

#include <gmock/gmock.h>

#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

// gas render --tiles and gas merge.

namespace {

using testing::HasSubstr;

/// A picture of 2 x 2 blocks, rendered whole and in tiles.
class MainTiles : public testing::Test {
  protected:
    MainTiles() : m_mesh(m_folder.write("mesh.obj", make_lumpy_sheet())) {}

    /// A small picture, but for what the options say.
    ProgramResult render(const std::string& picture, const Words& options) const {
        Words words = {"render", m_mesh, "-o", m_folder.get_path(picture), "--quiet"};
        const Words usual = {"--size", "24x20", "--spp", "2", "--ao", "1"};
        for (std::size_t option = 0; option < usual.size(); option += 2)
            if (std::find(options.begin(), options.end(), usual[option]) == options.end())
                words = join(words, {usual[option], usual[option + 1]});
        return run_program(join(words, options));
    }
    ProgramResult merge(const Words& tiles, const std::string& picture) const {
        return run_program(
            join(join({"merge"}, tiles), {"-o", m_folder.get_path(picture), "--quiet"}));
    }
    std::string get_tile(const std::string& name) const {
        return "a.png.tiles/tile-" + name + ".gastile";
    }

    TemporaryFolder m_folder;
    std::string m_mesh;
};

TEST_F(MainTiles, TheirPictureIsThatOfOneRun) {
    const Words options = {"--motion"};
    for (const char* format : {"png", "ppm", "pfm"})
        ASSERT_EQ(render(std::string("whole.") + format, options).exit_code, 0);
    const std::vector<std::vector<std::string>> splits = {
        {"1/1"}, {"1-2/2"}, {"3/3", "1-2/3"}, {"2-3/4", "1-4/4"}};
    for (const std::vector<std::string>& split : splits) {
        for (const std::string& tiles : split) {
            // Neither threads nor trees nor walks show in the light.
            const Words way = {"--tiles",   tiles,
                               "--threads", tiles.substr(0, 1),
                               "--tree",    tiles[0] == '1' ? "compressed" : "plain",
                               "--stream",  tiles[0] == '2' ? "off" : "all"};
            const ProgramResult made = render("a.png", join(options, way));
            ASSERT_EQ(made.exit_code, 0) << made.errors;
            EXPECT_EQ(made.errors, "");
        }
        for (const std::string format : {"png", "ppm", "pfm"}) {
            const ProgramResult merged =
                merge({m_folder.get_path("a.png.tiles")}, "joined." + format);
            ASSERT_EQ(merged.exit_code, 0) << merged.errors;
            EXPECT_TRUE(m_folder.read("joined." + format) == m_folder.read("whole." + format));
        }
        std::filesystem::remove_all(m_folder.get_path("a.png.tiles"));
    }
}

TEST_F(MainTiles, HoldCountsOfHeatMaps) {
    const Words options = {"--heatmap", "--packet", "4", "--size", "140x120", "--spp", "1"};
    const Words parent = {"--tiles-folder", m_folder.get_path("elsewhere")};
    ASSERT_EQ(render("whole.png", options).exit_code, 0);
    for (const char* tiles : {"1-5/7", "6/7", "7/7"})
        ASSERT_EQ(render("a.png", join(join(options, parent), {"--tiles", tiles})).exit_code, 0);
    ASSERT_EQ(merge({m_folder.get_path("elsewhere/a.png.tiles")}, "joined.png").exit_code, 0);
    EXPECT_TRUE(m_folder.read("joined.png") == m_folder.read("whole.png"));
    const ProgramResult light = merge({m_folder.get_path("elsewhere/a.png.tiles")}, "joined.pfm");
    EXPECT_EQ(light.exit_code, 1);
    EXPECT_THAT(light.errors, HasSubstr("a heat map is drawn in eight-bit colours"));
    // What it counts depends on the trees.
    const ProgramResult other =
        render("a.png", join(join(options, parent), {"--tiles", "1/7", "--wide", "off"}));
    EXPECT_THAT(other.errors, HasSubstr("was made with other options; it is made anew"));
}

TEST_F(MainTiles, RefusesPicturesThatAreNotWhole) {
    ASSERT_EQ(render("a.png", {"--tiles", "1-3/4"}).exit_code, 0);
    const std::string folder = m_folder.get_path("a.png.tiles");
    const auto expect = [&](const Words& words) {
        const ProgramResult result = merge({folder}, "joined.png");
        EXPECT_EQ(result.exit_code, 1);
        for (const std::string& part : words)
            EXPECT_THAT(result.errors, HasSubstr(part));
        EXPECT_THAT(result.errors, testing::EndsWith("joined.png: not written, for the tiles make "
                                                     "no whole picture\n"));
        EXPECT_EQ(m_folder.read("joined.png"), "");
    };
    expect({"gas: tile 4 of 4 is missing\n"});
    ASSERT_EQ(render("a.png", {"--tiles", "4/4"}).exit_code, 0);

    const std::string whole = m_folder.read(get_tile("2-of-4"));
    m_folder.write(get_tile("2-of-4"), whole.substr(0, whole.size() / 2));
    expect({"tile-2-of-4.gastile: is cut off\n", "gas: tile 2 of 4 is missing\n"});
    std::string damaged = whole;
    damaged[300] ^= 1;
    m_folder.write(get_tile("2-of-4"), damaged);
    expect({"tile-2-of-4.gastile: does not match its checksum\n"});

    // Of another scene, and with another option.
    m_folder.write("mesh.obj", make_triangle());
    ASSERT_EQ(render("a.png", {"--tiles", "2/4"}).exit_code, 0);
    expect({"tile-2-of-4.gastile: is of another scene or camera, unlike "});
    m_folder.write("mesh.obj", make_lumpy_sheet());
    ASSERT_EQ(render("a.png", {"--tiles", "2/4", "--spp", "3"}).exit_code, 0);
    expect({"tile-2-of-4.gastile: was made with other options, unlike "});
    ASSERT_EQ(render("a.png", {"--tiles", "2/4", "--seed", "3"}).exit_code, 0);
    expect({"tile-2-of-4.gastile: was made with other options, unlike "});
    const ProgramResult again = render("a.png", {"--tiles", "1-4/4"});
    EXPECT_THAT(again.errors, HasSubstr("tile-2-of-4.gastile: was made with other options; it is"));
    EXPECT_TRUE(m_folder.read(get_tile("2-of-4")) == whole);
}

/// Starts the program and kills it as soon as `file` is there, or it is done.
void run_and_kill(Words words, const std::string& file) {
    words.insert(words.begin(), GAS_APP_PROGRAM);
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const pid_t child = ::fork();
    if (child == 0) {
        ::execv(arguments[0], arguments.data());
        ::_exit(127);
    }
    while (!std::filesystem::exists(file) && ::waitpid(child, nullptr, WNOHANG) == 0)
        ::sched_yield();
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
}

TEST_F(MainTiles, AKilledRunIsTakenUp) {
    const Words options = {"--size", "96x64", "--spp", "4"};
    ASSERT_EQ(render("whole.ppm", options).exit_code, 0);
    const std::string first = m_folder.get_path("b.ppm.tiles/tile-01-of-24.gastile");
    run_and_kill(join({"render", m_mesh, "-o", m_folder.get_path("b.ppm"), "--quiet", "--ao", "1",
                       "--threads", "1", "--tiles", "1-24/24"},
                      options),
                 first);
    // What a killed process left of a file is in nobody's way.
    m_folder.write("b.ppm.tiles/.gas-1-0.partial", "half");
    const auto written = std::filesystem::last_write_time(first);
    const ProgramResult result = run_program(join(
        {"render", m_mesh, "-o", m_folder.get_path("b.ppm"), "--ao", "1", "--tiles", "1-24/24"},
        options));
    ASSERT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("b.ppm.tiles: tiles 1 to 24 of 24, "));
    EXPECT_EQ(std::filesystem::last_write_time(first), written);
    ASSERT_EQ(merge({m_folder.get_path("b.ppm.tiles")}, "joined.ppm").exit_code, 0);
    EXPECT_TRUE(m_folder.read("joined.ppm") == m_folder.read("whole.ppm"));
}

TEST_F(MainTiles, RefusesOtherChoices) {
    const auto expect = [&](const Words& options, const std::string& part) {
        const ProgramResult result = render("a.png", options);
        EXPECT_EQ(result.exit_code, 2);
        EXPECT_THAT(result.errors, HasSubstr(part));
    };
    for (const char* tiles : {"", "1", "1/", "/4", "0/4", "0-1/4", "3-2/4", "1-2-3/4", "-1/4",
                              "1-/4", "a/4", "1/4x", "1/99999999999"})
        expect({std::string("--tiles=") + tiles}, "--tiles");
    expect({"--tiles", "1-5/4"}, "there is no tile 5 of 4");
    expect({"--tiles", "1/5"}, "is cut into at most 4 tiles");
    expect({"--tiles", "1/2", "--repeat", "2"}, "--repeat");
    expect({"--tiles-folder", "x"}, "--tiles");
    const ProgramResult pipe = run_program({"render", m_mesh, "-o", "-", "--tiles", "1/2"});
    EXPECT_EQ(pipe.exit_code, 2);
    EXPECT_THAT(pipe.errors, HasSubstr("--tiles: standard output"));
    m_folder.write("a.png.tiles", "a file");
    const ProgramResult blocked = render("a.png", {"--tiles", "1/2"});
    EXPECT_EQ(blocked.exit_code, 1);
    EXPECT_THAT(blocked.errors, HasSubstr("a.png.tiles: this folder cannot be made"));
    EXPECT_EQ(merge({m_folder.get_path("a.png.tiles")}, "joined.png").exit_code, 1);
    EXPECT_EQ(run_program({"merge", "-o", "joined.png"}).exit_code, 2);
}

TEST_F(MainTiles, ReportsTellWhatWasMade) {
    ASSERT_EQ(render("a.png", {"--tiles", "2/4"}).exit_code, 0);
    const ProgramResult made = render("a.png", {"--tiles", "1-3/4", "--json"});
    const auto report = nlohmann::json::parse(made.output);
    EXPECT_EQ(report["made"], 2);
    EXPECT_EQ(report["already_there"], 1);
    EXPECT_EQ(report["tiles"], 4);
    EXPECT_EQ(report["each"].size(), 3u);
    EXPECT_EQ(report["each"][1]["was_there"], true);
    ASSERT_EQ(render("a.png", {"--tiles", "4/4"}).exit_code, 0);
    const ProgramResult joined = run_program(
        {"merge", m_folder.get_path("a.png.tiles"), "-o", m_folder.get_path("a.png"), "--json"});
    EXPECT_EQ(nlohmann::json::parse(joined.output)["tiles"], 4);
    EXPECT_EQ(nlohmann::json::parse(joined.output)["heat_map"], false);
}

} // namespace
