// SPDX-License-Identifier: Apache-2.0
#include <gmock/gmock.h>

#include <apps/gas/farm/frames.h>

#include <tests/app/reports.h>
#include <tests/app/small_pictures.h>

// gas render --frames.

namespace {

using namespace gas_app;
using testing::HasSubstr;

TEST(MainFrames, NamesHaveThePlaceOfTheNumber) {
    EXPECT_EQ(get_frame_path("a%d.png", 7), "a7.png");
    EXPECT_EQ(get_frame_path("%04d/a", 7), "0007/a");
    EXPECT_EQ(get_frame_path("a%02d", 123), "a123");
    for (const char* other :
         {"a.png", "a%", "a%4d", "a%00d", "a%s", "a%d%d", "a%%d", "a%010d", "%x.d"})
        EXPECT_EQ(get_frame_path(other, 7), "") << other;
    EXPECT_EQ(get_run_start(15), 0u);
    EXPECT_EQ(get_run_start(16), 16u);
}

/// Small pictures of the frames, in a folder of their own.
class Frames {
  public:
    explicit Frames(const Words& scene) : m_scene(scene) {}

    /// The report.
    nlohmann::json render(const std::string& frames, const Words& options = {}) const {
        return get_report(join(get_words(frames), options));
    }
    Words get_words(const std::string& frames) const {
        return join(join({"render", "-o", m_folder.get_path("f%03d.ppm"), "--frames", frames},
                         small_picture),
                    m_scene);
    }
    std::string read(unsigned frame) const {
        return m_folder.read(get_frame_path("f%03d.ppm", frame));
    }
    std::string get_path(const std::string& name) const { return m_folder.get_path(name); }

  private:
    TemporaryFolder m_folder;
    Words m_scene;
};

/// How often a step was taken by a frame's tree of a name.
unsigned count_steps(const nlohmann::json& report, const std::string& tree,
                     const std::string& step) {
    unsigned count = 0;
    for (const auto& frame : report["frames"])
        for (const auto& each : frame["trees"])
            count += each["name"] == tree && each["step"] == step ? 1 : 0;
    return count;
}

TEST(MainFrames, RefitsShowThePicturesOfBuilds) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    const std::vector<Words> scenes = {{mesh},
                                       {mesh, "--animate", "wave", "--motion"},
                                       small_detail,
                                       join(small_detail, {"--motion"}),
                                       {"--items", "20000"}};
    for (const Words& scene : scenes) {
        const Frames refitted(scene);
        const Frames built(scene);
        const nlohmann::json report = refitted.render("14-17", {"--refit-limit", "1000"});
        EXPECT_EQ(report["frames"].size(), 4u);
        EXPECT_GT(report["refitted_trees"], 0);
        const nlohmann::json other = built.render("14-17", {"--refit-limit", "0"});
        EXPECT_EQ(other["refitted_trees"], 0);
        EXPECT_EQ(other["kept_trees"], 0);
        for (unsigned frame = 14; frame <= 17; ++frame) {
            EXPECT_TRUE(refitted.read(frame) == built.read(frame)) << frame;
            EXPECT_TRUE(refitted.read(frame) != refitted.read(frame == 14 ? 15 : 14)) << frame;
        }
    }
}

TEST(MainFrames, AreBuiltWhereRefitsCostTooMuch) {
    const TemporaryFolder folder;
    const Words scene = {folder.write("mesh.obj", make_lumpy_sheet())};
    const nlohmann::json report = Frames(scene).render("0-17", {"--refit-limit", "1.02"});
    const unsigned built = count_steps(report, "mesh", "built");
    // Two runs begin with builds.
    EXPECT_GT(built, 2u);
    EXPECT_LT(built, 18u);
    EXPECT_EQ(built + count_steps(report, "mesh", "refitted"), 18u);
    for (const auto& frame : report["frames"]) {
        const auto& tree = frame["trees"][0];
        EXPECT_LE(tree["sah_cost"].get<double>(), 1.02 * tree["built_sah_cost"].get<double>());
    }
    // What stands still is built once.
    EXPECT_EQ(count_steps(report, "floor", "built"), 1u);
    EXPECT_EQ(count_steps(report, "floor", "kept"), 17u);
    const nlohmann::json dear = Frames(scene).render("0-17", {"--refit-limit", "1000"});
    EXPECT_EQ(count_steps(dear, "mesh", "built"), 2u);
    // Other kinds of trees are not refitted.
    const nlohmann::json other = Frames(scene).render("0-2", {"--tree", "compressed"});
    EXPECT_EQ(other["refitted_trees"], 0);
}

TEST(MainFrames, AnyDealingGivesTheSamePictures) {
    // Heat maps show which trees there are.
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    for (const Words& options : {Words{"--heatmap"}, Words{"--motion"}}) {
        const Words scene = join({mesh, "--refit-limit", "1.02"}, options);
        const Frames all(scene);
        all.render("0-18");
        const Frames some(scene);
        for (const char* frames : {"18", "3-4", "17"})
            some.render(frames);
        for (const unsigned frame : {18u, 3u, 4u, 17u})
            EXPECT_TRUE(all.read(frame) == some.read(frame)) << frame;

        const Frames tiled(scene);
        for (const char* tiles : {"2/2", "1/2"})
            for (const char* frames : {"4-5", "3"})
                EXPECT_EQ(tiled.render(frames, {"--tiles", tiles})["made"],
                          frames == std::string("3") ? 1 : 2);
        EXPECT_EQ(tiled.render("3-5", {"--tiles", "1-2/2"})["made"], 0);
        for (const unsigned frame : {3u, 4u, 5u}) {
            const std::string picture = tiled.get_path(get_frame_path("f%03d.ppm", frame));
            const ProgramResult merged =
                run_program({"merge", picture + ".tiles", "-o", picture, "--quiet"});
            EXPECT_EQ(merged.exit_code, 0) << merged.errors;
            EXPECT_TRUE(all.read(frame) == tiled.read(frame)) << frame;
        }
        // Tiles of different frames make no picture.
        const std::string third = tiled.get_path("f003.ppm.tiles/tile-1-of-2.gastile");
        const std::string fourth = tiled.get_path("f004.ppm.tiles/tile-2-of-2.gastile");
        const ProgramResult mixed =
            run_program({"merge", third, fourth, "-o", tiled.get_path("mixed.ppm")});
        EXPECT_EQ(mixed.exit_code, 1);
        EXPECT_THAT(mixed.errors, HasSubstr(fourth + ": is of another frame, unlike " + third));
    }
}

TEST(MainFrames, TellWhatWasDone) {
    const Frames frames(small_detail);
    const ProgramResult result = run_program(frames.get_words("7-8"));
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    EXPECT_THAT(result.output, HasSubstr("frame 7: "));
    EXPECT_THAT(result.output, HasSubstr("frame 8: "));
    EXPECT_THAT(result.output, HasSubstr(": frames 7 to 8 in "));
}

TEST(MainFrames, RefuseOtherChoices) {
    const TemporaryFolder folder;
    const auto expect = [&](const Words& options, const std::string& part) {
        const ProgramResult result = run_program(join({"render", "--quiet"}, options));
        EXPECT_EQ(result.exit_code, 2);
        EXPECT_THAT(result.errors, HasSubstr(part));
    };
    const std::string pattern = folder.get_path("f%d.png");
    expect({"-o", folder.get_path("f.png"), "--frames", "1-2"}, "--frames needs one place");
    for (const char* frames : {"", "x", "2-1", "1-", "1-99999999"})
        expect({"-o", pattern, std::string("--frames=") + frames}, "--frames");
    expect({"-o", pattern, "--frames", "1", "--repeat", "2"}, "--repeat");
    expect({"-o", pattern, "--frames", "1", "--load", "x"}, "--load");
    expect({"-o", pattern, "--frames", "1", "--refit-limit", "-1"}, "--refit-limit");
    expect({"-o", pattern, "--frames", "1", "--animate", "fly"}, "--animate fly");
    expect({"-o", folder.get_path("f.png"), "--animate", "turn"}, "--frames");
    EXPECT_EQ(folder.count_files(), 0u);
}

} // namespace
