// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

namespace {

using testing::HasSubstr;
using testing::Not;

std::string render_with(const TemporaryFolder& folder, const Words& options, const Words& scene) {
    return render_small(folder, join(options, scene));
}

/// Compressed trees give the picture of plain ones, in whatever way they are built and walked.
void expect_one_picture(const TemporaryFolder& folder, const Words& scene) {
    const std::string expected = render_with(folder, {}, scene);
    EXPECT_TRUE(render_with(folder, {"--tree", "plain"}, scene) == expected);
    EXPECT_TRUE(render_with(folder, {"--tree", "compressed", "--brute-force"}, scene) == expected);
    TriedWays ways;
    const auto expect = [&](const Words& options) {
        const Words compressed = join({"--tree", "compressed"}, options);
        EXPECT_TRUE(!ways.take() || render_with(folder, compressed, scene) == expected)
            << testing::PrintToString(options);
    };
    for (const char* packet : {"1", "4", "64"})
        for (const char* threads : {"1", "2"})
            expect({"--packet", packet, "--threads", threads});
    for (const char* method : {"median", "hybrid", "sah-fast", "sah"})
        expect({"--packet", "1", "--build", method});
}

class MainTreesOfUsualScenes : public UsualScenes {};

TEST_P(MainTreesOfUsualScenes, GiveOnePicture) { for_each_picture(expect_one_picture); }

INSTANTIATE_TEST_SUITE_P(Scenes, MainTreesOfUsualScenes, usual_scenes, name_usual_scene);

TEST(MainTrees, GiveOnePictureWhateverTheSizeOfTheMesh) {
    const TemporaryFolder folder;
    const std::string usual = render_small(
        folder,
        {folder.write("usual.obj", "v 0 0 0\nv 1 0 0\nv 0 1 0\nv 1 1 1\nf 1 2 3\nf 2 3 4\n")});
    const std::string large = folder.write("large.obj", "v 0 0 0\nv 4096 0 0\nv 0 4096 0\n"
                                                        "v 4096 4096 4096\nf 1 2 3\nf 2 3 4\n");
    const std::string small =
        folder.write("small.obj", "v 0 0 0\nv 0.000244140625 0 0\nv 0 0.000244140625 0\n"
                                  "v 0.000244140625 0.000244140625 0.000244140625\n"
                                  "f 1 2 3\nf 2 3 4\n");
    for (const std::string& mesh : {large, small})
        for (const char* tree : {"plain", "compressed"})
            EXPECT_TRUE(render_with(folder, {"--tree", tree}, {mesh}) == usual) << mesh << tree;
}

TEST(MainTrees, HaveHeatMapsOfTheirOwn) {
    const TemporaryFolder folder;
    for (const char* packet : {"1", "16"}) {
        const Words common = {"--heatmap", "--packet", packet};
        const std::string map = render_with(folder, {"--tree", "compressed"}, common);
        EXPECT_FALSE(map == render_with(folder, {"--tree", "plain"}, common)) << packet;
        EXPECT_TRUE(map == render_with(folder, {"--tree", "compressed", "--threads", "3"}, common))
            << packet;
        const std::string grid = render_with(folder, {"--tree", "grid"}, common);
        EXPECT_FALSE(map == grid) << packet;
        EXPECT_TRUE(grid == render_with(folder, {"--tree", "grid", "--threads", "3"}, common))
            << packet;
    }
}

TEST(MainTrees, AreNamedInReports) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    const Words render = {"render", mesh, "-o", folder.get_path("a.png"), "--size", "8x8"};
    EXPECT_EQ(get_report(render)["tree"], "plain");
    for (const char* tree : {"plain", "compressed"}) {
        Words chosen = render;
        chosen.insert(chosen.end(), {"--tree", tree});
        EXPECT_EQ(get_report(chosen)["tree"], tree);
        EXPECT_THAT(run_program(chosen).output, HasSubstr(std::string(tree) + " trees"));
        EXPECT_EQ(get_report({"stats", mesh, "--tree", tree})["tree"], tree);
        EXPECT_THAT(run_program({"stats", mesh, "--tree", tree}).output,
                    testing::ContainsRegex("tree +" + std::string(tree)));
    }
}

TEST(MainTrees, HaveStatisticsOfTheirOwn) {
    const Words scene = {"stats", "--detail", "0.01"};
    Words compressed = scene;
    compressed.insert(compressed.end(), {"--tree", "compressed"});
    const nlohmann::json plain_report = get_report(scene);
    const nlohmann::json report = get_report(compressed);
    ASSERT_EQ(report["trees"].size(), plain_report["trees"].size());
    for (std::size_t index = 0; index < report["trees"].size(); ++index) {
        const nlohmann::json& tree = report["trees"][index];
        const nlohmann::json& plain = plain_report["trees"][index];
        SCOPED_TRACE(tree["name"]);
        for (const char* field : {"name", "leaves", "depth", "leaves_per_level"})
            EXPECT_EQ(tree[field], plain[field]) << field;
        const unsigned leaves = tree["leaves"];
        EXPECT_EQ(tree["nodes"], leaves - 1);
        EXPECT_EQ(tree["node_bytes"], 16 * (leaves - 1));
        EXPECT_EQ(plain["node_bytes"], 32 * (2 * leaves - 1));
        EXPECT_EQ(tree["total_bytes"], tree["memory_bytes"]);
        EXPECT_TRUE(tree.contains("build_peak_bytes"));
        // Scales are powers of two, so that ratios of areas keep their digits.
        const double cost = plain["sah_cost"];
        EXPECT_NEAR(tree["exact_sah_cost"], cost, 1e-9 * cost);
        EXPECT_GT(tree["sah_cost"], tree["exact_sah_cost"]);
        EXPECT_GT(tree["tightness"], 1.0);
        EXPECT_LT(tree["tightness"], 1.5);
        EXPECT_EQ(tree["tightness_per_level"].size(), tree["depth"]);
        EXPECT_FALSE(plain.contains("tightness"));
    }
}

TEST(MainTrees, CountTheirMotionSamples) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    const auto get_tree = [&](const char* kind) {
        return get_report({"stats", mesh, "--motion", "--tree", kind})["trees"][0];
    };
    const std::size_t pointer = sizeof(void*);
    const nlohmann::json plain = get_tree("plain");
    const unsigned plain_nodes = plain["nodes"];
    EXPECT_EQ(plain["motion_samples"], 5);
    EXPECT_EQ(plain["motion_bytes"], 5 * (24 * plain_nodes + 4 + pointer));
    const nlohmann::json compressed = get_tree("compressed");
    const unsigned compressed_nodes = compressed["nodes"];
    EXPECT_EQ(compressed["motion_samples"], 5);
    EXPECT_EQ(compressed["motion_bytes"], 5 * (7 * compressed_nodes + 9 + 24 + pointer));
    EXPECT_THAT(run_program({"stats", mesh, "--motion"}).output,
                testing::ContainsRegex("motion +[0-9]+ bytes for 5 samples"));
    EXPECT_THAT(run_program({"stats", mesh}).output,
                Not(testing::ContainsRegex("motion +[0-9]+ bytes for 5 samples")));
}

} // namespace
