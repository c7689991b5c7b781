// SPDX-License-Identifier: Apache-2.0
#include <nlohmann/json.hpp>

#include <gas/isa/gas_instruction_set.h>

#include <tests/app/small_pictures.h>

namespace {

using testing::HasSubstr;

using testing::EndsWith;

/// A row of the table, and how many comparisons it has for each ray that is asked everything by one
/// build method.
struct Row {
    const char* text;
    unsigned comparisons_per_ray;
};

/// Of ten questions, six have one result; the others depend on the order of calls.
constexpr Row rows[] = {
    {"plain one by one brute force", 6},
    {"plain stream each ray alone", 10},
    {"plain, wide nodes one by one plain", 10},
    {"plain, wide nodes batch brute force", 6},
    {"plain, wide nodes stream plain", 10},
    {"plain, wide nodes, loaded one by one plain, wide nodes", 10},
    {"plain, wide nodes, mapped stream plain, wide nodes", 10},
    {"compressed one by one brute force", 6},
    {"compressed stream each ray alone", 10},
    {"compressed, loaded batch compressed", 10},
    {"compressed, mapped one by one compressed", 10},
    {"grid one by one brute force", 6},
    {"grid batch brute force", 6},
    {"grid, new for each batch one by one grid", 10},
    {"grid, new for each batch stream brute force", 6},
};

/// By all instruction sets.
constexpr Row owning_rows[] = {
    {"gas::Tree, plain one by one brute force", 6},
    {"gas::Tree, compressed batch brute force", 6},
    {"gas::Tree, grid one by one brute force", 6},
    {"gas::Tree, loaded batch brute force", 6},
    {"gas::Tree, mapped one by one brute force", 6},
    {"gas::Scene, nested instances one by one brute force", 6},
    {"gas::Scene, nested instances batch brute force", 4},
};

constexpr const char* spatial_rows[] = {
    "plain closest item every item",
    "compressed, mapped closest item every item",
    "plain leaves in a box every item",
    "plain, wide nodes, loaded nearest leaves plain",
    "gas::Tree, plain nearest leaves every item",
};

/// The output with single spaces between words.
std::string squeeze(const std::string& text) {
    std::string squeezed;
    for (const char letter : text) {
        if (letter != ' ' || squeezed.empty() || squeezed.back() != ' ')
            squeezed += letter;
    }
    return squeezed;
}

bool has_avx2() { return gas_has_instruction_set(GasInstructionSet::avx2); }

/// Expects every row, with the comparisons of so many rays and build methods.
void expect_all_rows(const ProgramResult& result, unsigned rays) {
    EXPECT_EQ(result.exit_code, 0) << result.output;
    EXPECT_EQ(result.errors, "");
    EXPECT_THAT(result.output, EndsWith(" comparisons, 0 differences\n"));
    const std::string table = squeeze(result.output);
    const auto expect_row = [&](const std::string& text, unsigned comparisons) {
        EXPECT_THAT(table, HasSubstr("\n" + text + " " + std::to_string(comparisons) + " 0\n"));
    };
    for (const Row& row : rows)
        expect_row(row.text, rays * row.comparisons_per_ray);
    for (const Row& row : owning_rows)
        expect_row(row.text, rays * row.comparisons_per_ray * (has_avx2() ? 2 : 1));
    if (has_avx2())
        expect_row("plain, wide nodes one by one, avx2 baseline", rays * 10);
    for (const char* const row : spatial_rows)
        EXPECT_THAT(table, HasSubstr("\n" + std::string(row)));
}

TEST(MainVerify, FindsNoDifferencesInRandomScenes) {
    // The last seed there is; another number of threads than of scenes.
    constexpr unsigned rays = support::scale(310, 110);
    const ProgramResult result = run_program({"verify", "--rays", std::to_string(rays), "--seed",
                                              "18446744073709551615", "--build", "sah"});
    expect_all_rows(result, rays);
    constexpr unsigned rays_of_each = support::scale(60, 24);
    expect_all_rows(
        run_program({"verify", "--rays", std::to_string(rays_of_each), "--items", "300"}),
        rays_of_each * 4);
}

TEST(MainVerify, FindsNoDifferencesInMeshes) {
    constexpr unsigned rays = support::scale(60, 24);
    const TemporaryFolder folder;
    for (const std::string& text : {make_triangle(), make_lumpy_sheet()}) {
        const std::string mesh = folder.write("mesh.obj", text);
        expect_all_rows(run_program({"verify", mesh, "--rays", std::to_string(rays)}), rays * 4);
    }
}

TEST(MainVerify, AsksOneQuestionOfEachRayInTurn) {
    const TemporaryFolder folder;
    const std::string mesh = folder.write("mesh.obj", make_lumpy_sheet());
    const std::vector<std::string> call = {"verify",    mesh,     "--items", "100",
                                           "--in-turn", "--rays", "18000",   "--threads"};
    std::vector<std::string> outputs;
    for (const char* const threads : {"1", "3"}) {
        std::vector<std::string> arguments = call;
        arguments.push_back(threads);
        const ProgramResult result = run_program(arguments);
        EXPECT_EQ(result.exit_code, 0) << result.output;
        EXPECT_THAT(result.output, HasSubstr("18000 rays in 3 visits of scenes, seed 1\n"));
        EXPECT_THAT(result.output, EndsWith(" comparisons, 0 differences\n"));
        outputs.push_back(result.output);
    }
    EXPECT_EQ(outputs[0], outputs[1]) << "whatever the number of threads";
}

TEST(MainVerify, HoldsLargeScenesAgainstOneTree) {
    const ProgramResult result = run_program(
        {"verify", "--rays", "20", "--items", "20000", "--seed", "18", "--build", "median"});
    EXPECT_EQ(result.exit_code, 0) << result.output;
    const std::string table = squeeze(result.output);
    // One ray of many by brute force.
    EXPECT_THAT(table, HasSubstr("\nplain one by one brute force 6 0\n"));
    EXPECT_THAT(table, HasSubstr("\ngrid stream plain, one by one 120 0\n"));
    EXPECT_THAT(table, HasSubstr("\ngas::Tree, compressed batch plain, one by one"));
}

TEST(MainVerify, TellsOfItselfAsJson) {
    const ProgramResult result =
        run_program({"verify", "--rays", "20", "--build", "hybrid", "--items", "50", "--json"});
    EXPECT_EQ(result.exit_code, 0);
    const nlohmann::json report = nlohmann::json::parse(result.output);
    EXPECT_EQ(report["rays"], 20);
    EXPECT_EQ(report["differences"], 0);
    std::uint64_t comparisons = 0;
    for (const nlohmann::json& row : report["rows"])
        comparisons += row["comparisons"].get<std::uint64_t>();
    EXPECT_EQ(report["comparisons"], comparisons);
    EXPECT_GT(comparisons, 1000u);
}

TEST(MainVerify, NamesWhatIsWrongWithItsOptions) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--rays", "0"},     {"--rays", "010"},   {"--seed", "-1"}, {"--seed", "x"},
        {"--build", "best"}, {"--threads", "-1"}, {"--items", "0"}};
    for (const std::vector<std::string>& options : wrong) {
        const ProgramResult result = run_program({"verify", options[0], options[1]});
        EXPECT_EQ(result.exit_code, 2) << options[1];
        EXPECT_THAT(result.errors, HasSubstr(options[0]));
        EXPECT_EQ(result.output, "");
    }
    const ProgramResult result = run_program({"verify", "nothing.obj"});
    EXPECT_EQ(result.exit_code, 1);
    EXPECT_THAT(result.errors, HasSubstr("nothing.obj"));
}

} // namespace
