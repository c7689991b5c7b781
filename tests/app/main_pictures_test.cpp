// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <tests/app/small_pictures.h>

namespace {

using testing::HasSubstr;

/// Every build method on one and on two threads, and no tree at all, give one picture.
void expect_one_picture(const TemporaryFolder& folder, const std::vector<std::string>& scene) {
    const auto render_with = [&](std::vector<std::string> options) {
        options.insert(options.end(), scene.begin(), scene.end());
        return render_small(folder, options);
    };
    const std::string expected = render_with({"--brute-force"});
    EXPECT_THAT(expected, HasSubstr("PNG"));
    for (const char* method : {"median", "hybrid", "sah-fast", "sah"})
        for (const char* threads : {"1", "2"})
            EXPECT_TRUE(render_with({"--build", method, "--threads", threads}) == expected)
                << method << ", threads: " << threads;
}

class MainPicturesOfUsualScenes : public UsualScenes {};

TEST_P(MainPicturesOfUsualScenes, AreTheSameForEveryBuildAndThreadCount) {
    for_each_picture(expect_one_picture);
}

INSTANTIATE_TEST_SUITE_P(Scenes, MainPicturesOfUsualScenes, usual_scenes, name_usual_scene);

TEST(MainPictures, DifferWhereTheyAreMeantTo) {
    const TemporaryFolder folder;
    const std::string usual = render_small(folder, {});
    EXPECT_EQ(render_small(folder, {}), usual);
    for (const std::vector<std::string>& options : {std::vector<std::string>{"--motion"},
                                                    {"--seed", "2"},
                                                    {"--camera", "10,40"},
                                                    {"--camera", "22,9.5,2"},
                                                    {"--heatmap"}})
        EXPECT_NE(render_small(folder, options), usual) << options[0];
}

TEST(MainPictures, HeatMapsDoNotDependOnThreads) {
    const TemporaryFolder folder;
    const std::string one = render_small(folder, {"--heatmap", "--threads", "1"});
    EXPECT_EQ(render_small(folder, {"--heatmap", "--threads", "3"}), one);
    EXPECT_NE(render_small(folder, {"--heatmap", "--build", "median"}), one);
}

TEST(MainPictures, CountsAreReportedAsJson) {
    const TemporaryFolder folder;
    const std::string picture = folder.get_path("a.png");
    std::vector<std::string> arguments = {"render", "--json", "-o", picture};
    arguments.insert(arguments.end(), small_picture.begin(), small_picture.end());
    arguments.insert(arguments.end(), small_detail.begin(), small_detail.end());
    const ProgramResult result = run_program(arguments);
    ASSERT_EQ(result.exit_code, 0) << result.errors;
    const nlohmann::json report = nlohmann::json::parse(result.output);
    EXPECT_EQ(report["picture"], picture);
    EXPECT_EQ(report["width"], 18);
    EXPECT_EQ(report["rays"]["camera"], 18 * 9 * 2);
    EXPECT_GT(report["rays"]["shadow"], 0);
    EXPECT_GT(report["seconds"]["render"], 0.0);
    EXPECT_GT(report["scene"]["placed_items"], report["scene"]["items"]);
    EXPECT_THAT(result.errors, HasSubstr("Rendering 100 %")) << "progress stays out of the report";
}

TEST(MainPictures, StatisticsDifferByBuildMethod) {
    std::vector<double> costs;
    for (const char* method : {"median", "sah"}) {
        const ProgramResult result =
            run_program({"stats", "--json", "--quiet", "--detail", "0.01", "--build", method});
        ASSERT_EQ(result.exit_code, 0) << result.errors;
        const nlohmann::json report = nlohmann::json::parse(result.output);
        EXPECT_EQ(report["build_method"], method);
        const nlohmann::json& tree = report["trees"][1];
        EXPECT_EQ(tree["nodes"], 2 * tree["leaves"].get<unsigned>() - 1);
        EXPECT_EQ(tree["leaves_per_level"].size(), tree["depth"]);
        unsigned leaves = 0;
        for (const unsigned count : tree["leaves_per_level"])
            leaves += count;
        EXPECT_EQ(tree["leaves"], leaves);
        costs.push_back(tree["sah_cost"]);
    }
    EXPECT_LT(costs[1], costs[0]);
}

TEST(MainPictures, StatisticsOfAMeshAreAboutTheMesh) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    const ProgramResult text = run_program({"stats", mesh});
    EXPECT_EQ(text.exit_code, 0) << text.errors;
    EXPECT_THAT(text.output, HasSubstr("SAH cost"));
    EXPECT_THAT(text.output, testing::ContainsRegex(
                                 "mesh\n---- bbox\n-------- min \\(-1.*\n-------- max "
                                 "\\(1.*\n---- nodes 659\n---- tree depth [0-9]+\n---- memory "
                                 "usage 2[0-9]KB\n---- total memory usage 2[0-9.]+KB\n"));
    const std::string quiet = run_program({"stats", mesh, "--quiet"}).output;
    EXPECT_EQ(quiet, "");
    const ProgramResult result = run_program({"stats", mesh, "--json", "--quiet"});
    const nlohmann::json report = nlohmann::json::parse(result.output);
    ASSERT_EQ(report["trees"].size(), 1u);
    EXPECT_EQ(report["trees"][0]["leaves"], 2 * (11 * 11 + 11 * 4));
}

} // namespace
