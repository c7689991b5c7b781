// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <tests/app/reports.h>

// gas report, as far as no browser is needed.

namespace {

class MainReport : public testing::Test {
  protected:
    MainReport()
        : m_mesh(m_folder.write("mesh.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0.5\nv 0.5 0.5 2\n"
                                            "f 1 2 5\nf 2 3 5\nf 3 4 5\nf 4 1 5\nf 1 2 3\n")),
          m_page(m_folder.get_path("page.html")) {}

    Words get_command(const Words& more) const {
        return join({"report", "-o", m_page, "--size", "16x10", "--spp", "1", "--rounds", "1",
                     "--threads", "1"},
                    more);
    }
    nlohmann::json get_subject(const Words& more) const {
        return get_report(get_command(more)).at("subjects").at(0);
    }

    TemporaryFolder m_folder;
    std::string m_mesh;
    std::string m_page;
};

} // namespace

TEST_F(MainReport, TellsOfTreesWhatStatisticsTell) {
    const nlohmann::json subject = get_subject({m_mesh});
    EXPECT_EQ(subject.at("items"), 5);
    EXPECT_EQ(subject.at("maps").size(), 3u);
    EXPECT_EQ(subject.at("rows").size(), 16u);
    for (const char* kind : {"plain", "compressed"}) {
        const nlohmann::json expected =
            get_report({"stats", m_mesh, "--tree", kind}).at("trees").at(0);
        for (const nlohmann::json& row : subject.at("rows")) {
            if (row.at("name") != std::string(kind) + ", fast SAH" ||
                row.at("wide") != (kind[0] == 'p'))
                continue;
            const nlohmann::json& tree =
                subject.at("parts").at(0).at("trees").at(row.at("tree").get<std::size_t>());
            EXPECT_EQ(tree.at("depth"), expected.at("depth"));
            EXPECT_EQ(tree.at("leaves"), expected.at("leaves_per_level"));
            EXPECT_NEAR(tree.at("sah_cost"), expected.at("sah_cost"), 1e-4);
            EXPECT_EQ(row.at("whole").at("total"), expected.at("total_bytes"));
        }
    }
    const std::string page = m_folder.read("page.html");
    EXPECT_NE(page.find("default-src &#39;none&#39;"), std::string::npos);
    EXPECT_EQ(page.find("unsafe"), std::string::npos);
}

TEST_F(MainReport, SavedTreesStandAloneOrBesideTheirMesh) {
    const std::string saved = m_folder.get_path("mesh.gastree");
    ASSERT_EQ(run_program({"build", m_mesh, "-o", saved, "--quiet"}).exit_code, 0);
    const nlohmann::json alone = get_subject({"--load", saved});
    EXPECT_EQ(alone.at("items"), 5);
    EXPECT_TRUE(alone.at("maps").empty());
    EXPECT_EQ(alone.at("parts").at(0).at("trees").size(), 1u);
    const nlohmann::json beside = get_subject({m_mesh, "--load", saved});
    EXPECT_EQ(beside.at("rows").size(), 17u);
    EXPECT_EQ(beside.at("rows").at(0).at("name"), "mesh.gastree");
    EXPECT_EQ(beside.at("parts").at(0).at("trees").at(0).at("costs"),
              alone.at("parts").at(0).at("trees").at(0).at("costs"));
}

TEST_F(MainReport, SaysWhatIsWrongAndWritesNothing) {
    const std::string other =
        m_folder.write("other.obj", "v 0 0 0\nv 1 0 0\nv 1 1 0\nv 0 1 0.5\nf 1 2 3\nf 1 3 4\n");
    const std::string saved = m_folder.get_path("other.gastree");
    ASSERT_EQ(run_program({"build", other, "-o", saved, "--quiet"}).exit_code, 0);
    const struct {
        Words options;
        int exit_code;
        const char* words;
    } cases[] = {
        {{m_folder.get_path("none.obj")}, 1, "none.obj"},
        {{m_mesh, "--load", saved}, 1, "holds a tree over 2 items, not over 5"},
        {{"--load", m_mesh}, 1, "mesh.obj"},
        {{m_mesh, other, "--load", saved}, 2, "--load"},
        {{m_mesh, "--rounds", "0"}, 2, "--rounds"},
        {{m_mesh, "--camera", "up"}, 2, "--camera"},
        {{m_mesh, "--tree", "round"}, 2, "--tree"},
    };
    for (const auto& one : cases) {
        const ProgramResult result = run_program(get_command(one.options));
        EXPECT_EQ(result.exit_code, one.exit_code) << result.errors;
        EXPECT_NE(result.errors.find(one.words), std::string::npos) << result.errors;
        EXPECT_EQ(m_folder.read("page.html"), "");
    }
    const ProgramResult missing = run_program({"report", "-o", m_folder.get_path("no/page.html")});
    EXPECT_EQ(missing.exit_code, 1);
}
