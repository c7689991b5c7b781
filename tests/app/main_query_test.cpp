// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <array>
#include <cmath>
#include <set>

#include <nlohmann/json.hpp>

#include <tests/app/small_pictures.h>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

struct LeafBox {
    std::array<float, 3> min;
    std::array<float, 3> max;
};

/// A mesh on disc, and the boxes of its leaves, asked for with a box that holds all of them.
class MainQuery : public testing::Test {
  protected:
    MainQuery() {
        const nlohmann::json report = ask({"--box", "-100,-100,-100,100,100,100"});
        m_boxes.resize(report["leaf_count"]);
        EXPECT_EQ(report["leaves"].size(), m_boxes.size());
        for (const nlohmann::json& leaf : report["leaves"])
            m_boxes.at(leaf["leaf"]) = {leaf["min"], leaf["max"]};
    }

    nlohmann::json ask(std::vector<std::string> options) const {
        options.insert(options.begin(), {"query", m_mesh, "--json"});
        const ProgramResult result = run_program(options);
        EXPECT_EQ(result.exit_code, 0) << result.errors;
        EXPECT_EQ(result.errors, "");
        return nlohmann::json::parse(result.output);
    }

    std::string ask_for_text(std::vector<std::string> options) const {
        options.insert(options.begin(), {"query", m_mesh});
        const ProgramResult result = run_program(options);
        EXPECT_EQ(result.exit_code, 0) << result.errors;
        return result.output;
    }

    void expect_failure(std::vector<std::string> arguments, const std::string& part) const {
        arguments.insert(arguments.begin(), "query");
        const ProgramResult result = run_program(arguments);
        EXPECT_TRUE(result.exit_code == 1 || result.exit_code == 2) << result.exit_code;
        EXPECT_THAT(result.errors, AllOf(StartsWith("gas: "), HasSubstr(part)));
        EXPECT_EQ(result.output, "");
    }

    std::set<unsigned> find_overlaps(const LeafBox& box) const {
        std::set<unsigned> leaves;
        for (unsigned leaf = 0; leaf < m_boxes.size(); ++leaf) {
            bool apart = false;
            for (unsigned axis = 0; axis < 3; ++axis)
                apart = apart || m_boxes[leaf].max[axis] < box.min[axis] ||
                        box.max[axis] < m_boxes[leaf].min[axis];
            if (!apart)
                leaves.insert(leaf);
        }
        return leaves;
    }

    float get_distance(unsigned leaf, const std::array<float, 3>& point) const {
        float squares[3];
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float center = (m_boxes[leaf].min[axis] + m_boxes[leaf].max[axis]) * 0.5f;
            squares[axis] = (center - point[axis]) * (center - point[axis]);
        }
        return std::sqrt((squares[0] + squares[1]) + squares[2]);
    }

    const TemporaryFolder m_folder;
    const std::string m_mesh = m_folder.write("mesh.obj", make_lumpy_sheet());
    std::vector<LeafBox> m_boxes;
};

TEST_F(MainQuery, BoxesOfLeavesAreThoseOfTheTriangles) {
    // Cells in the file's order, every third one twice, each two triangles with a common diagonal.
    constexpr unsigned cells = lumpy_sheet_side - 1;
    ASSERT_EQ(m_boxes.size(), 2 * cells * (cells + 4));
    std::size_t leaf = 0;
    for (int y = 0; y < static_cast<int>(cells); ++y)
        for (int x = 0; x < static_cast<int>(cells); ++x)
            for (int copy = 0; copy < (x % 3 == 0 ? 4 : 2); ++copy, ++leaf) {
                const LeafBox& box = m_boxes[leaf];
                EXPECT_EQ(box.min[0], static_cast<float>(x));
                EXPECT_EQ(box.max[0], static_cast<float>(x + 1));
                EXPECT_EQ(box.min[2], static_cast<float>(y));
                EXPECT_EQ(box.max[2], static_cast<float>(y + 1));
                EXPECT_GE(box.min[1], 0.0f);
                EXPECT_LE(box.max[1], 4.0f);
            }
}

TEST_F(MainQuery, FindsTheLeavesThatOverlapABox) {
    const std::pair<const char*, LeafBox> questions[] = {
        {"2.5,0,2.5,4.25,4,3", {{2.5f, 0.0f, 2.5f}, {4.25f, 4.0f, 3.0f}}},
        {"3,2,3,3,2,3", {{3.0f, 2.0f, 3.0f}, {3.0f, 2.0f, 3.0f}}},
        {"-5,-5,-5,0,50,50", {{-5.0f, -5.0f, -5.0f}, {0.0f, 50.0f, 50.0f}}},
        {"0,4.001,0,11,5,11", {{0.0f, 4.001f, 0.0f}, {11.0f, 5.0f, 11.0f}}}};
    for (const auto& [text, box] : questions)
        for (const char* method : {"median", "hybrid", "sah-fast", "sah"}) {
            const nlohmann::json report = ask({"--box", text, "--build", method});
            std::set<unsigned> leaves;
            for (const nlohmann::json& leaf : report["leaves"])
                leaves.insert(leaf["leaf"].get<unsigned>());
            EXPECT_EQ(leaves.size(), report["leaves"].size()) << text << ": one came twice";
            EXPECT_EQ(leaves, find_overlaps(box)) << text << ", " << method;
        }
}

TEST_F(MainQuery, FindsTheNearestLeaves) {
    const std::pair<const char*, std::array<float, 3>> points[] = {
        {"5.3,1.7,6.1", {5.3f, 1.7f, 6.1f}},
        {"0,0,0", {0.0f, 0.0f, 0.0f}},
        {"-20,3,40.5", {-20.0f, 3.0f, 40.5f}}};
    for (const auto& [text, point] : points) {
        std::vector<float> expected;
        for (unsigned leaf = 0; leaf < m_boxes.size(); ++leaf)
            expected.push_back(get_distance(leaf, point));
        std::sort(expected.begin(), expected.end());
        for (const char* count : {"1", "7", "100000"})
            for (const char* method : {"median", "sah"}) {
                const nlohmann::json report =
                    ask({"--nearest", text, "--count", count, "--build", method});
                const std::size_t size = std::min(std::size_t(std::stoul(count)), m_boxes.size());
                ASSERT_EQ(report["leaves"].size(), size) << text << ", " << method;
                for (std::size_t place = 0; place < size; ++place) {
                    const nlohmann::json& leaf = report["leaves"][place];
                    EXPECT_EQ(leaf["distance"].get<float>(), expected[place]);
                    EXPECT_EQ(leaf["distance"].get<float>(), get_distance(leaf["leaf"], point));
                }
            }
    }
}

TEST_F(MainQuery, LooksNoFartherThanTold) {
    const std::vector<std::string> near = {"--nearest", "5.5,2,5.5",      "--count",
                                           "100",       "--max-distance", "1.25"};
    const nlohmann::json report = ask(near);
    std::set<unsigned> leaves;
    for (const nlohmann::json& leaf : report["leaves"])
        leaves.insert(leaf["leaf"].get<unsigned>());
    EXPECT_EQ(leaves, find_overlaps({{4.25f, 0.75f, 4.25f}, {6.75f, 3.25f, 6.75f}}));
    EXPECT_EQ(ask({"--nearest", "50,2,5", "--max-distance", "20"})["leaves"].size(), 0u);
    EXPECT_EQ(ask_for_text({"--nearest", "50,2,5", "--max-distance", "20"}), "");
}

TEST_F(MainQuery, ReportsTheQuestion) {
    const nlohmann::json nearest = ask({"--nearest", "1,2,3", "--count", "2"})["query"];
    EXPECT_THAT(nearest["nearest"], ElementsAre(1, 2, 3));
    EXPECT_EQ(nearest["count"], 2);
    EXPECT_TRUE(nearest["max_distance"].is_null());
    const nlohmann::json box = ask({"--box", "1,2,3,4,5,6.5"})["query"]["box"];
    EXPECT_THAT(box["min"], ElementsAre(1, 2, 3));
    EXPECT_THAT(box["max"], ElementsAre(4, 5, 6.5));
}

TEST_F(MainQuery, WritesALinePerLeaf) {
    const std::string mesh = m_folder.write(
        "two.obj", "v 0 0 0\nv 1 0 0\nv 0 1.5 0\nv 0 0 4\nv 1 0.1 4\nv 0 1 4\nf 1 2 3\nf 4 5 6\n");
    EXPECT_EQ(run_program({"query", mesh, "--box", "-1,0,4,0,9,5"}).output,
              "leaf 1  box 0 0 4  1 1 4\n");
    EXPECT_EQ(run_program({"query", mesh, "--nearest", "0.5,0.5,1", "--count", "5"}).output,
              "leaf 0  box 0 0 0  1 1.5 0  distance 1.0307764\n"
              "leaf 1  box 0 0 4  1 1 4  distance 3\n");
    EXPECT_EQ(run_program({"query", mesh, "--box", "0,0,1,1,1,2"}).output, "");
}

TEST_F(MainQuery, AsksPlainTreesWhenToldTo) {
    const std::vector<std::string> question = {"--nearest", "1,2,3", "--count", "5"};
    std::vector<std::string> plain = question;
    plain.insert(plain.end(), {"--tree", "plain"});
    EXPECT_EQ(ask(plain), ask(question));
}

TEST_F(MainQuery, NamesWhatIsWrong) {
    expect_failure({"--box", "0,0,0,1,1,1"}, "mesh");
    expect_failure({m_mesh}, "--box or --nearest");
    expect_failure({m_folder.get_path("none.obj"), "--nearest", "0,0,0"}, "none.obj: cannot be");
    expect_failure({m_folder.write("no.obj", "v 0 0 0\n"), "--nearest", "0,0,0"}, "no faces");
    const std::vector<std::vector<std::string>> wrong = {
        {"--box", "0,0,0,1,1"},
        {"--box", "0,0,0,1,1,1,1"},
        {"--box", "0,0,0,1,,1"},
        {"--box", "0,0,0,1,one,1"},
        {"--box", "0,0,0,1,inf,1"},
        {"--box", "0,2,0,1,1,1"},
        {"--nearest", "0,0"},
        {"--nearest", "0,0,nan"},
        {"--nearest", "0,0,1e39"},
        {"--nearest", "0 0 0"},
        {"--count", "0", "--nearest", "0,0,0"},
        {"--count", "010", "--nearest", "0,0,0"},
        {"--count", "-1", "--nearest", "0,0,0"},
        {"--count", "many", "--nearest", "0,0,0"},
        {"--count", "3", "--box", "0,0,0,1,1,1"},
        {"--max-distance", "-1", "--nearest", "0,0,0"},
        {"--max-distance", "far", "--nearest", "0,0,0"},
        {"--max-distance", "1", "--box", "0,0,0,1,1,1"},
        {"--build", "best", "--nearest", "0,0,0"},
        {"--tree", "compressed", "--nearest", "0,0,0"},
        {"--tree", "grid", "--nearest", "0,0,0"},
        {"--tree", "Plain", "--nearest", "0,0,0"},
        {"--tree", "", "--nearest", "0,0,0"},
        {"--nearest", "0,0,0", "--box", "0,0,0,1,1,1"}};
    for (std::vector<std::string> arguments : wrong) {
        const std::string option = arguments[0];
        SCOPED_TRACE(option + " " + arguments[1]);
        arguments.insert(arguments.begin(), m_mesh);
        expect_failure(arguments, option);
    }
}

} // namespace
