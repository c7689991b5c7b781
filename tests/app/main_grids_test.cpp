// SPDX-License-Identifier: Apache-2.0
#include <numeric>

#include <gmock/gmock.h>

#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

namespace {

using testing::HasSubstr;
using testing::Not;

/// Grids give the picture of plain trees, however they are divided, built and walked.
void expect_one_picture(const TemporaryFolder& folder, const Words& scene) {
    const std::string expected = render_small(folder, scene);
    TriedWays ways;
    const auto expect = [&](const Words& options) {
        const Words grid = join(join({"--tree", "grid"}, options), scene);
        EXPECT_TRUE(!ways.take() || render_small(folder, grid) == expected)
            << testing::PrintToString(options);
    };
    expect({});
    expect({"--brute-force"});
    expect({"--build", "median"});
    expect({"--cell-progress"});
    for (const char* cells : {"1", "20", "200000000"})
        for (const char* packet : {"1", "4", "64"})
            expect({"--cells", cells, "--packet", packet});
    for (const char* threads : {"1", "2", "7"})
        expect({"--threads", threads});
    expect({"--repeat", "2"});
}

class MainGridsOfUsualScenes : public UsualScenes {};

TEST_P(MainGridsOfUsualScenes, GiveThePictureOfPlainTrees) { for_each_picture(expect_one_picture); }

INSTANTIATE_TEST_SUITE_P(Scenes, MainGridsOfUsualScenes, usual_scenes, name_usual_scene);

TEST(MainGrids, GiveThePictureOfPlainTreesOfAForest) {
    const TemporaryFolder folder;
    const std::string expected = render_small(folder, {"--items", "20000"});
    const std::string moving = render_small(folder, {"--items", "20000", "--motion"});
    EXPECT_FALSE(moving == expected);
    for (const char* tree : {"compressed", "grid"})
        for (const char* packet : {"1", "4", "64"}) {
            const Words options = {"--items", "20000", "--tree", tree, "--packet", packet};
            EXPECT_TRUE(render_small(folder, options) == expected) << tree << packet;
            EXPECT_TRUE(render_small(folder, join(options, {"--motion"})) == moving)
                << tree << packet;
        }
    for (const char* threads : {"1", "2", "7"})
        EXPECT_TRUE(render_small(folder, {"--items", "20000", "--tree", "grid", "--cells", "3000",
                                          "--threads", threads}) == expected)
            << threads;
}

TEST(MainGrids, GiveThePictureOfATinyForestAsBruteForceDoes) {
    const TemporaryFolder folder;
    for (const char* items : {"1", "700", "1001"}) {
        const std::string expected = render_small(folder, {"--items", items, "--brute-force"});
        EXPECT_TRUE(render_small(folder, {"--items", items}) == expected) << items;
        EXPECT_TRUE(render_small(folder, {"--items", items, "--tree", "grid"}) == expected)
            << items;
    }
}

TEST(MainGrids, AskForEachBoxOnceAndForThoseOfTouchedCells) {
    const TemporaryFolder folder;
    const Words render = {"render", "-o",   folder.get_path("a.png"),
                          "--size", "18x9", "--spp",
                          "1",      "--ao", "0",
                          "--tree", "grid", "--items",
                          "50000"};
    const nlohmann::json report = get_report(render);
    const nlohmann::json& grids = report["grids"];
    EXPECT_EQ(report["tree"], "grid");
    EXPECT_EQ(grids["boxes_asked_by_build"], report["scene"]["items"]);
    EXPECT_GT(grids["built_cells"], 0);
    EXPECT_LT(grids["built_cells"], grids["cells"]);
    EXPECT_GT(grids["boxes_asked_by_rays"], 0);
    EXPECT_LT(grids["boxes_asked_by_rays"], report["scene"]["items"]);

    const nlohmann::json again = get_report(join(render, {"--repeat", "3"}));
    EXPECT_EQ(again["seconds"]["renders"].size(), 3u);
    EXPECT_EQ(again["grids"], grids) << "cells are built once";

    // Above them, the boxes at all five samples are asked for at once.
    const nlohmann::json moving = get_report(join(render, {"--motion"}));
    const unsigned items = report["scene"]["items"];
    const unsigned land = items - 50000;
    EXPECT_EQ(moving["grids"]["boxes_asked_by_build"], items + 5 * (items - land));
}

TEST(MainGrids, AreReported) {
    const TemporaryFolder folder;
    const Words render = {"render", "-o",      folder.get_path("a.png"),
                          "--size", "18x9",    "--spp",
                          "1",      "--items", "5000"};
    const std::string plain = run_program(render).output;
    EXPECT_THAT(plain, HasSubstr("first pixel after"));
    EXPECT_THAT(plain, Not(HasSubstr("grids:")));
    const std::string grid = run_program(join(render, {"--tree", "grid", "--repeat", "2"})).output;
    EXPECT_THAT(grid, HasSubstr("grid trees"));
    EXPECT_THAT(grid, HasSubstr("once more in"));
    EXPECT_THAT(grid, testing::ContainsRegex("grids: [0-9]+ cells, [0-9]+ of them built"));

    const nlohmann::json report = get_report(render);
    EXPECT_FALSE(report.contains("grids"));
    const nlohmann::json& seconds = report["seconds"];
    EXPECT_GE(seconds["first_pixel"], seconds["build"]);
    EXPECT_GE(seconds["total"], seconds["first_pixel"]);
    EXPECT_TRUE(report.contains("peak_resident_bytes"));
}

TEST(MainGrids, HaveStatisticsOfTheirOwn) {
    const nlohmann::json report =
        get_report({"stats", "--items", "50000", "--tree", "grid", "--cells", "800"});
    ASSERT_EQ(report["trees"].size(), 3u);
    EXPECT_EQ(report["trees"][2]["name"], "instances");
    EXPECT_EQ(report["trees"][2]["tree"], "plain");
    const nlohmann::json& grid = report["trees"][0];
    EXPECT_EQ(grid["name"], "forest");
    EXPECT_EQ(grid["tree"], "grid");
    EXPECT_EQ(grid["items"], 50000);
    EXPECT_EQ(grid["boxes_asked_by_build"], 50000);
    EXPECT_GT(grid["cells"], 100);
    EXPECT_LE(grid["cells"], 1200);

    const std::vector<unsigned> sizes = grid["cells_per_size"];
    EXPECT_EQ(std::accumulate(sizes.begin(), sizes.end(), 0u), grid["cells"]);
    const unsigned largest = grid["largest_cell"];
    EXPECT_GE(largest, 1u << (sizes.size() - 1));
    EXPECT_LT(largest, 1u << sizes.size());

    const nlohmann::json& before = grid["before_picture"];
    const nlohmann::json& after = grid["after_picture"];
    EXPECT_EQ(before["built_cells"], 0);
    EXPECT_GT(after["built_cells"], 0);
    EXPECT_LT(after["built_cells"], grid["cells"]);
    const unsigned cells = grid["cells"];
    EXPECT_EQ(before["list_bytes"], 4 * 50000 + 16 * cells);
    EXPECT_EQ(before["total_bytes"],
              before["memory_bytes"].get<unsigned>() + before["list_bytes"].get<unsigned>());
    EXPECT_GT(after["memory_bytes"], before["memory_bytes"]);
    EXPECT_EQ(after["list_bytes"], before["list_bytes"]);
    EXPECT_EQ(before["motion_bytes"], 0);
}

TEST(MainGrids, AreReportedWithAllTheyHold) {
    const TemporaryFolder folder;
    const Words picture = {"render",  "-o",   folder.get_path("a.png"),
                           "--size",  "8x5",  "--spp",
                           "1",       "--ao", "0",
                           "--items", "5000", "--tree"};
    const auto get_rest = [&](const Words& options) {
        const nlohmann::json scene = get_report(join(picture, options))["scene"];
        return scene["tree_total_bytes"].get<long>() - scene["wide_bytes"].get<long>() -
               scene["tree_bytes"].get<long>();
    };
    EXPECT_EQ(get_rest({"plain"}), 0);
    EXPECT_EQ(get_rest({"compressed"}), 0);
    EXPECT_GT(get_rest({"plain", "--motion"}), 0);
    EXPECT_GT(get_rest({"compressed", "--motion"}), 0);

    const nlohmann::json report = get_report(join(picture, {"grid"}));
    const long items = report["scene"]["items"];
    const long cells = report["grids"]["cells"];
    const long lists = 4 * items + 16 * cells;
    EXPECT_EQ(get_rest({"grid"}), lists);
    EXPECT_GT(get_rest({"grid", "--motion"}), lists);
}

TEST(MainGrids, CountTheirMotionSamples) {
    const nlohmann::json report =
        get_report({"stats", "--items", "20000", "--tree", "grid", "--motion"});
    const nlohmann::json& grid = report["trees"][0];
    EXPECT_EQ(grid["motion_samples"], 5);
    const unsigned cells = grid["cells"];
    const unsigned nodes = 2 * cells - 1;
    EXPECT_EQ(grid["before_picture"]["motion_bytes"], 5 * (24 * nodes + 4 + sizeof(void*)));
    EXPECT_GT(grid["after_picture"]["motion_bytes"], grid["before_picture"]["motion_bytes"]);
}

TEST(MainGrids, HaveStatisticsOfAMesh) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    EXPECT_EQ(get_report({"stats", mesh, "--tree", "grid"})["trees"].size(), 1u);
    const std::string text = run_program({"stats", mesh, "--tree", "grid"}).output;
    for (const char* part : {"mesh\n  tree             grid\n", "before a picture", "built cells",
                             " in all, ", "after a picture", "cells by the number of their items"})
        EXPECT_THAT(text, HasSubstr(part));
    EXPECT_EQ(run_program({"stats", mesh, "--tree", "grid", "--quiet"}).output, "");
}

} // namespace
