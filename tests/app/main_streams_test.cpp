// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

namespace {

using testing::ContainsRegex;
using testing::Not;

/// Rays in streams or not, through wide nodes or not, give the picture of one ray at a time without
/// trees.
void expect_one_picture(const TemporaryFolder& folder, const Words& scene) {
    const std::string expected = render_small(folder, join({"--brute-force"}, scene));
    TriedWays ways;
    const auto expect = [&](const Words& options) {
        EXPECT_TRUE(!ways.take() || render_small(folder, join(options, scene)) == expected)
            << testing::PrintToString(options);
    };
    expect({"--brute-force", "--stream", "all"});
    for (const char* stream : {"off", "on", "all"}) {
        for (const char* tree : {"plain", "compressed", "grid"})
            for (const char* packet : {"1", "16"})
                expect({"--stream", stream, "--tree", tree, "--packet", packet});
        for (const char* threads : {"1", "3"})
            expect({"--stream", stream, "--wide", "off", "--threads", threads});
        expect({"--stream", stream, "--wide", "on", "--build", "median"});
    }
}

class MainStreamsOfUsualScenes : public UsualScenes {};

TEST_P(MainStreamsOfUsualScenes, GiveOnePicture) { for_each_picture(expect_one_picture); }

INSTANTIATE_TEST_SUITE_P(Scenes, MainStreamsOfUsualScenes, usual_scenes, name_usual_scene);

TEST(MainStreams, GiveOnePictureOfAForest) {
    const TemporaryFolder folder;
    for (const Words& scene : {Words{"--items", "3000"}, Words{"--items", "3000", "--motion"}}) {
        const std::string expected = render_small(folder, join({"--stream", "off"}, scene));
        for (const char* tree : {"plain", "compressed", "grid"})
            EXPECT_TRUE(render_small(folder, join({"--stream", "all", "--tree", tree}, scene)) ==
                        expected)
                << tree;
    }
}

/// More samples than are traced at a time, and more paths than are followed together.
TEST(MainStreams, GiveOnePictureOfManySamples) {
    const TemporaryFolder folder;
    const auto render_with = [&](const char* stream) {
        const ProgramResult result =
            run_program({"render", "--quiet", "-o", folder.get_path("many.png"), "--size", "16x9",
                         "--spp", "21", "--ao", "5", "--detail", "0.001", "--stream", stream});
        EXPECT_EQ(result.exit_code, 0) << result.errors;
        return folder.read("many.png");
    };
    const std::string expected = render_with("off");
    EXPECT_TRUE(render_with("on") == expected);
    EXPECT_TRUE(render_with("all") == expected);
}

TEST(MainStreams, ShareTheirCostsInHeatMaps) {
    const TemporaryFolder folder;
    const std::string single = render_small(folder, {"--heatmap", "--stream", "off"});
    EXPECT_TRUE(render_small(folder, {"--heatmap"}) == single) << "camera rays are no streams";
    for (const char* tree : {"plain", "compressed", "grid"}) {
        const Words streams = {"--heatmap", "--stream", "all", "--tree", tree};
        const std::string map = render_small(folder, streams);
        EXPECT_FALSE(map == single) << tree;
        EXPECT_TRUE(render_small(folder, join(streams, {"--threads", "3"})) == map) << tree;
    }
}

/// Of the procedural scene, kept small.
nlohmann::json get_small_report(const Words& arguments) {
    return get_report(join(arguments, {"--detail", "0.01"}));
}

TEST(MainStreams, AreReported) {
    const TemporaryFolder folder;
    const auto render = [&](const Words& options) {
        return get_small_report(
            join({"render", "-o", folder.get_path("a.png"), "--size", "8x8"}, options));
    };
    const auto expect = [](const nlohmann::json& report, bool camera, bool sun, bool scattered) {
        EXPECT_EQ(report["streams"]["camera"], camera);
        EXPECT_EQ(report["streams"]["sun"], sun);
        EXPECT_EQ(report["streams"]["scattered"], scattered);
    };
    expect(render({}), false, false, true);
    expect(render({"--stream", "off"}), false, false, false);
    expect(render({"--stream", "all"}), true, true, true);
    expect(render({"--stream", "all", "--packet", "4"}), false, true, true);
    expect(render({"--stream", "all", "--heatmap"}), true, true, true);
    EXPECT_EQ(render({})["packet"], 64);
    EXPECT_EQ(render({"--stream", "all"})["packet"], 1);
    EXPECT_EQ(render({"--stream", "on"})["rays"]["total"],
              render({"--stream", "off"})["rays"]["total"]);
}

TEST(MainWideNodes, AreCountedInReportsOfPictures) {
    const TemporaryFolder folder;
    const Words render = {"render", "-o", folder.get_path("a.png"), "--size", "8x8"};
    const nlohmann::json with = get_small_report(render);
    const nlohmann::json without = get_small_report(join(render, {"--wide", "off"}));
    EXPECT_EQ(with["wide_nodes"], true);
    EXPECT_EQ(without["wide_nodes"], false);
    const std::size_t bytes = with["scene"]["wide_bytes"];
    EXPECT_GT(bytes, 0u);
    EXPECT_EQ(without["scene"]["wide_bytes"], 0);
    EXPECT_EQ(with["scene"]["tree_bytes"], without["scene"]["tree_bytes"]);
    EXPECT_EQ(with["scene"]["tree_total_bytes"],
              without["scene"]["tree_total_bytes"].get<std::size_t>() + bytes);
    EXPECT_EQ(get_small_report(join(render, {"--tree", "compressed"}))["scene"]["wide_bytes"], 0);
    EXPECT_THAT(run_program(join(render, {"--detail", "0.01"})).output,
                ContainsRegex("trees of [0-9.]+ MB, [0-9.]+ of them wide nodes"));
}

TEST(MainWideNodes, AreCountedInStatistics) {
    const Words moving = {"stats", "--motion"};
    const nlohmann::json with = get_small_report(moving);
    const nlohmann::json without = get_small_report(join(moving, {"--wide", "off"}));
    for (std::size_t index = 0; index < with["trees"].size(); ++index) {
        const nlohmann::json& tree = with["trees"][index];
        SCOPED_TRACE(tree["name"]);
        const std::size_t bytes = tree["wide_bytes"];
        const unsigned leaves = tree["leaves"];
        EXPECT_EQ(bytes > 0, leaves > 1);
        EXPECT_EQ(tree["wide_bytes_per_item"], static_cast<double>(bytes) / leaves);
        EXPECT_EQ(tree["total_bytes"], tree["memory_bytes"].get<std::size_t>() +
                                           tree["motion_bytes"].get<std::size_t>() + bytes);
        const nlohmann::json& plain = without["trees"][index];
        EXPECT_EQ(plain["wide_bytes"], 0);
        EXPECT_EQ(plain["memory_bytes"], tree["memory_bytes"]);
    }
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    const auto contains = ContainsRegex("wide nodes +[0-9]+ bytes, [0-9.]+ per item");
    EXPECT_THAT(run_program({"stats", mesh}).output, contains);
    EXPECT_THAT(run_program({"stats", mesh, "--wide", "off"}).output, Not(contains));
}

} // namespace
