// SPDX-License-Identifier: Apache-2.0
#include <gas/isa/gas_instruction_set.h>

#include <tests/app/small_pictures.h>

namespace {

using testing::HasSubstr;

/// The whole output of a verification that found nothing wrong.
std::string agree(unsigned rays, unsigned comparisons_per_ray) {
    return std::to_string(rays * comparisons_per_ray) + " comparisons, 0 differences\n";
}

// Of ten questions (five still, five moving) four are of changing rays. For each of the four build
// methods: four trees compare a stream with its rays alone, one also with binary nodes in two ways,
// and for the six other questions each of the four compares three ways with brute force. Where the
// machine has AVX2, each compares three ways of all questions with the baseline.
unsigned get_comparisons_per_ray() {
    constexpr unsigned baseline = 4 * (10 * (4 + 2) + 6 * 4 * 3);
    constexpr unsigned further_set = 4 * 10 * 4 * 3;
    return baseline + (gas_has_instruction_set(GasInstructionSet::avx2) ? further_set : 0);
}

TEST(MainVerify, FindsNoDifferencesInRandomScenes) {
    const std::pair<unsigned, const char*> runs[] = {{700, "1"}, {60, "18446744073709551615"}};
    for (const auto& [rays, seed] : runs) {
        const ProgramResult result =
            run_program({"verify", "--rays", std::to_string(rays), "--seed", seed});
        EXPECT_EQ(result.exit_code, 0);
        EXPECT_EQ(result.output, agree(rays, get_comparisons_per_ray()));
        EXPECT_EQ(result.errors, "");
    }
}

TEST(MainVerify, FindsNoDifferencesInMeshes) {
    const TemporaryFolder folder;
    for (const std::string& text : {make_triangle(), make_lumpy_sheet()}) {
        const std::string mesh = folder.write("mesh.obj", text);
        const ProgramResult result = run_program({"verify", mesh, "--rays", "100"});
        EXPECT_EQ(result.exit_code, 0) << result.output;
        EXPECT_EQ(result.output, agree(100, get_comparisons_per_ray()));
    }
}

TEST(MainVerify, NamesWhatIsWrongWithItsOptions) {
    const std::vector<std::vector<std::string>> wrong = {
        {"--rays", "0"}, {"--rays", "010"}, {"--seed", "-1"}, {"--seed", "x"}};
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
