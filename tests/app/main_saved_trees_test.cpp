// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tests/app/program.h>

// gas build, gas render --load and gas stats of a saved tree.

namespace {

class MainSavedTrees : public testing::Test {
  protected:
    MainSavedTrees()
        : m_mesh(m_folder.write("mesh.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0.5\nv 0.5 0.5 2\n"
                                            "f 1 2 5\nf 2 3 5\nf 3 4 5\nf 4 1 5\nf 1 2 3\n")),
          m_tree(m_folder.get_path("mesh.gastree")) {}

    ProgramResult build(std::vector<std::string> options) const {
        options.insert(options.begin(), {"build", m_mesh, "-o", m_tree, "--quiet"});
        return run_program(options);
    }
    ProgramResult render(const std::string& picture, std::vector<std::string> options) const {
        options.insert(options.begin(), {"render", m_mesh, "-o", m_folder.get_path(picture),
                                         "--size", "40x30", "--spp", "2", "--quiet"});
        return run_program(options);
    }

    TemporaryFolder m_folder;
    std::string m_mesh;
    std::string m_tree;
};

} // namespace

TEST_F(MainSavedTrees, ASavedTreeGivesTheSamePicture) {
    const std::vector<std::vector<std::string>> all_options = {
        {},
        {"--wide", "off"},
        {"--tree", "compressed"},
        {"--motion"},
        {"--motion", "--tree", "compressed"}};
    for (std::vector<std::string> options : all_options) {
        ASSERT_EQ(build(options).exit_code, 0);
        ASSERT_EQ(render("built.ppm", options).exit_code, 0);
        options.insert(options.end(), {"--load", m_tree});
        const ProgramResult loaded = render("loaded.ppm", options);
        ASSERT_EQ(loaded.exit_code, 0) << loaded.errors;
        EXPECT_EQ(m_folder.read("built.ppm"), m_folder.read("loaded.ppm"));
    }
}

TEST_F(MainSavedTrees, WideNodesAreAsTheOptionsOfThePictureSay) {
    ASSERT_EQ(build({"--wide", "off"}).exit_code, 0);
    EXPECT_EQ(render("a.ppm", {"--load", m_tree}).exit_code, 0);
    ASSERT_EQ(build({}).exit_code, 0);
    EXPECT_EQ(render("b.ppm", {"--load", m_tree, "--wide", "off"}).exit_code, 0);
    EXPECT_EQ(m_folder.read("a.ppm"), m_folder.read("b.ppm"));
}

TEST_F(MainSavedTrees, ATreeOfOtherItemsIsRefused) {
    const auto expect = [&](const std::vector<std::string>& options, const std::string& words) {
        std::vector<std::string> all = options;
        all.insert(all.end(), {"--load", m_tree});
        const ProgramResult result = render("picture.ppm", all);
        EXPECT_EQ(result.exit_code, 1);
        EXPECT_EQ(result.errors, "gas: " + m_tree + ": " + words + "\n");
        EXPECT_EQ(m_folder.read("picture.ppm"), "");
    };
    expect({}, "cannot be read: No such file or directory");
    ASSERT_EQ(build({}).exit_code, 0);
    expect({"--up", "z"}, "holds a tree over other boxes");
    expect({"--motion"}, "holds a tree with no motion samples, not with 5 motion samples");
    expect({"--tree", "compressed"}, "holds a tree that is not compressed");
    m_folder.write("mesh.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nf 1 2 3\n");
    expect({}, "holds a tree over 5 items, not over 1");
    m_folder.write("mesh.gastree", m_folder.read("mesh.gastree").substr(0, 300));
    expect({}, "is cut off");
}

TEST_F(MainSavedTrees, WhatCannotBeBuiltLeavesNoFile) {
    const std::string missing = m_folder.get_path("missing.obj");
    EXPECT_EQ(run_program({"build", missing, "-o", m_tree, "--quiet"}).exit_code, 1);
    EXPECT_EQ(run_program({"build", "-o", m_tree}).exit_code, 2);
    EXPECT_EQ(build({"--tree", "grid"}).exit_code, 2);
    const std::string elsewhere = m_folder.get_path("missing/mesh.gastree");
    const ProgramResult result = run_program({"build", m_mesh, "-o", elsewhere, "--quiet"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_NE(result.errors.find(elsewhere), std::string::npos);
    const ProgramResult itself = run_program({"build", m_mesh, "-o", m_mesh, "--quiet"});
    EXPECT_EQ(itself.errors, "gas: " + m_mesh + ": the output would overwrite the input\n");
    EXPECT_EQ(m_folder.count_files(), 1u);
}

TEST_F(MainSavedTrees, StatisticsAreThoseOfTheTree) {
    for (const std::string kind : {"plain", "compressed"}) {
        ASSERT_EQ(build({"--tree", kind}).exit_code, 0);
        const ProgramResult text = run_program({"stats", m_tree});
        EXPECT_EQ(text.exit_code, 0) << text.errors;
        EXPECT_NE(text.output.find("leaves           5\n"), std::string::npos) << text.output;
        EXPECT_NE(text.output.find("tree             " + kind), std::string::npos) << text.output;
        const ProgramResult json = run_program({"stats", m_tree, "--json"});
        EXPECT_NE(json.output.find("\"load_seconds\""), std::string::npos) << json.output;
    }
    m_folder.write("mesh.gastree", "no tree");
    const ProgramResult result = run_program({"stats", m_tree});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_EQ(result.errors, "gas: " + m_tree + ": is not a saved tree\n");
}

TEST_F(MainSavedTrees, WhatIsWrongIsTold) {
    for (const std::string kind : {"plain", "compressed"}) {
        ASSERT_EQ(build({"--tree", kind}).exit_code, 0);
        const ProgramResult good = run_program({"stats", m_tree, "--validate"});
        EXPECT_EQ(good.exit_code, 0) << good.errors;
        EXPECT_NE(good.output.find("\nNothing is wrong.\n"), std::string::npos) << good.output;

        std::string bytes = m_folder.read("mesh.gastree");
        bytes[bytes.size() - 64] ^= 1; // in the last section
        m_folder.write("mesh.gastree", bytes);
        const ProgramResult bad = run_program({"stats", m_tree, "--validate"});
        EXPECT_EQ(bad.exit_code, 1);
        EXPECT_NE(bad.errors.find("gas: " + m_tree + ": "), std::string::npos) << bad.errors;
        EXPECT_NE(bad.errors.find("does not match its checksum\n"), std::string::npos);
        EXPECT_NE(bad.errors.find("gas: --validate: something is wrong\n"), std::string::npos);
        const ProgramResult json = run_program({"stats", m_tree, "--validate", "--json"});
        EXPECT_EQ(json.exit_code, 1);
        EXPECT_NE(json.output.find("\"flaw\": "), std::string::npos) << json.output;
    }
}

TEST_F(MainSavedTrees, NothingIsWrongWithTreesThatAreBuilt) {
    for (const std::string kind : {"plain", "compressed", "grid"}) {
        const ProgramResult mesh =
            run_program({"stats", m_mesh, "--tree", kind, "--motion", "--validate"});
        EXPECT_EQ(mesh.exit_code, 0) << mesh.errors;
        EXPECT_NE(mesh.output.find("\nNothing is wrong.\n"), std::string::npos) << mesh.output;
        const ProgramResult scene =
            run_program({"stats", "--detail", "0.01", "--tree", kind, "--validate", "--json"});
        EXPECT_EQ(scene.exit_code, 0) << scene.errors;
        EXPECT_NE(scene.output.find("\"flaws\": []"), std::string::npos) << scene.output;
    }
}
