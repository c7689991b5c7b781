// SPDX-License-Identifier: Apache-2.0
#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

namespace {

/// Every packet size, and every build method on one and on two threads, gives the picture of one
/// ray at a time without trees.
void expect_one_picture(const TemporaryFolder& folder, const Words& scene) {
    const std::string expected =
        render_small(folder, join({"--packet", "1", "--brute-force"}, scene));
    TriedWays ways;
    const auto expect = [&](const Words& options) {
        EXPECT_TRUE(!ways.take() || render_small(folder, join(options, scene)) == expected)
            << testing::PrintToString(options);
    };
    for (const char* packet : {"3", "64"})
        expect({"--packet", packet, "--brute-force"});
    for (const char* packet : {"1", "3", "4", "16", "64", "256"})
        expect({"--packet", packet, "--threads", "1"});
    for (const char* method : {"median", "hybrid", "sah-fast", "sah"})
        for (const char* threads : {"1", "2"})
            expect({"--packet", "16", "--build", method, "--threads", threads});
    expect({}); // the usual packet
}

class MainPacketsOfUsualScenes : public UsualScenes {};

TEST_P(MainPacketsOfUsualScenes, GiveOnePicture) { for_each_picture(expect_one_picture); }

INSTANTIATE_TEST_SUITE_P(Scenes, MainPacketsOfUsualScenes, usual_scenes, name_usual_scene);

/// Of a triangle that lies in the axes' planes, seen along an axis.
TEST(MainPackets, GiveOnePictureOfFacesSeenEdgeOn) {
    const TemporaryFolder folder;
    const std::string box =
        "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0\nv 0 0 1\nv 1 0 1\nv 1 1 1\nv 0 1 1\n"
        "f 1 2 3 4\nf 5 6 7 8\nf 1 2 6 5\nf 4 3 7 8\nf 1 4 8 5\nf 2 3 7 6\n";
    const std::string mesh = folder.write("box.obj", box);
    expect_one_picture(folder, {mesh, "--camera", "0,0"});
    expect_one_picture(folder, {mesh, "--camera", "90,90,3"});
}

TEST(MainPackets, GiveOnePictureOfManySamples) {
    const TemporaryFolder folder;
    const auto render_with = [&](const char* packet) {
        const std::string path = folder.get_path("many.png");
        const ProgramResult result =
            run_program({"render", "--quiet", "-o", path, "--size", "5x3", "--spp", "21", "--ao",
                         "0", "--detail", "0.001", "--packet", packet});
        EXPECT_EQ(result.exit_code, 0) << result.errors;
        return folder.read("many.png");
    };
    const std::string expected = render_with("1");
    for (const char* packet : {"5", "16", "64", "256"})
        EXPECT_TRUE(render_with(packet) == expected) << packet;
}

TEST(MainPackets, ShareTheirCostsInHeatMaps) {
    const TemporaryFolder folder;
    const std::string single = render_small(folder, {"--heatmap"});
    EXPECT_TRUE(render_small(folder, {"--heatmap", "--packet", "1"}) == single) << "the usual";
    const std::string packets = render_small(folder, {"--heatmap", "--packet", "16"});
    EXPECT_FALSE(packets == single);
    EXPECT_TRUE(render_small(folder, {"--heatmap", "--packet", "16", "--threads", "3"}) == packets);
}

} // namespace
