// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <apps/common/instruction_set.h>

#include <tests/app/reports.h>

namespace {

using testing::ContainsRegex;
using testing::HasSubstr;

/// Of the procedural scene, kept small.
nlohmann::json get_small_report(const Words& arguments) {
    return get_report(join(arguments, {"--detail", "0.01"}));
}

/// Way, width of the shapes' nodes and of those over the instances.
void expect_walk(const nlohmann::json& walk, const char* way, unsigned width,
                 unsigned instance_width) {
    EXPECT_EQ(walk["way"], way);
    EXPECT_EQ(walk["node_width"], width);
    EXPECT_EQ(walk["instance_node_width"], instance_width);
}

TEST(MainWalks, AreNamedInReports) {
    const TemporaryFolder folder;
    const Words render = {"render", "-o", folder.get_path("a.png"), "--size", "8x8"};
    const auto get_walks = [&](const Words& options) {
        const nlohmann::json report = get_small_report(join(render, options));
        const bool is_counted = report["heat_map"];
        EXPECT_EQ(report["instruction_set"], is_counted
                                                 ? gas_app::get_counted_instruction_set_name()
                                                 : gas_app::get_instruction_set_name());
        return report["walks"];
    };
    const nlohmann::json usual = get_walks({});
    expect_walk(usual["camera"], "packets", 2, 2);
    expect_walk(usual["sun"], "single", 4, 4);
    expect_walk(usual["scattered"], "streams", 4, 4);
    expect_walk(get_walks({"--packet", "1"})["camera"], "single", 4, 4);
    expect_walk(get_walks({"--motion"})["camera"], "single", 4, 4);
    expect_walk(get_walks({"--stream", "all", "--wide", "off"})["camera"], "streams", 2, 2);
    expect_walk(get_walks({"--tree", "compressed"})["sun"], "single", 2, 2);
    expect_walk(get_walks({"--tree", "grid"})["sun"], "single", 2, 4);
    const nlohmann::json brute = get_walks({"--brute-force"})["camera"];
    EXPECT_EQ(brute["way"], "brute force");
    EXPECT_TRUE(brute["node_width"].is_null());

    const nlohmann::json map = get_walks({"--heatmap"});
    expect_walk(map["camera"], "single", 4, 4);
    EXPECT_EQ(map.size(), 1u) << "of camera rays alone";
    const std::string name = std::string(", ") + gas_app::get_instruction_set_name();
    const auto print = [&](const Words& options) {
        return run_program(join(join(render, {"--detail", "0.01"}), options)).output;
    };
    EXPECT_THAT(print({}), HasSubstr("walks: from the camera packets, width 2" + name));
    EXPECT_THAT(print({"--heatmap", "--tree", "grid"}),
                ContainsRegex("camera rays: [0-9.]+ nodes and [0-9.]+ leaves each \\(single, "
                              "width 2, instances' 4, "));
}

TEST(MainWalks, AreNamedInStatistics) {
    for (const char* tree : {"plain", "compressed", "grid"}) {
        const nlohmann::json report = get_small_report({"stats", "--tree", tree});
        EXPECT_EQ(report["instruction_set"], gas_app::get_instruction_set_name());
        EXPECT_EQ(report["trees"][1]["node_width"], tree == std::string("plain") ? 4 : 2) << tree;
        EXPECT_THAT(run_program({"stats", "--detail", "0.01", "--tree", tree}).output,
                    ContainsRegex("node width +[24] boxes to a ray"));
    }
}

TEST(MainWalks, AreCountedInHeatMaps) {
    const TemporaryFolder folder;
    const auto count = [&](const Words& options) {
        const Words render = {"render", "-o",   folder.get_path("a.png"),
                              "--size", "18x9", "--heatmap"};
        const nlohmann::json report = get_small_report(join(render, options));
        const nlohmann::json& counts = report["counts"];
        const double rays = report["rays"]["camera"];
        EXPECT_EQ(counts["nodes_per_ray"], counts["visited_nodes"].get<double>() / rays);
        EXPECT_EQ(counts["leaves_per_ray"], counts["leaf_calls"].get<double>() / rays);
        EXPECT_GT(counts["leaves_per_ray"], 0.0);
        EXPECT_GT(counts["nodes_per_ray"], 1.0);
        return counts["nodes_per_ray"].get<double>();
    };
    const double wide = count({});
    const double binary = count({"--wide", "off"});
    EXPECT_LT(1.5 * wide, binary);
    EXPECT_GT(1.5 * count({"--tree", "compressed"}), binary);
    count({"--tree", "grid"});
    count({"--tree", "grid", "--stream", "all"});
    EXPECT_LT(count({"--packet", "64"}), wide) << "a packet tests a node once";
    EXPECT_FALSE(get_small_report({"render", "-o", folder.get_path("a.png"), "--size", "8x8"})
                     .contains("counts"));
}

} // namespace
