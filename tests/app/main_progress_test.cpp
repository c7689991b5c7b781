// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <set>
#include <string>

#include <gmock/gmock.h>

#include <tests/app/reports.h>
#include <tests/support/sanitizers.h>

namespace {

using testing::HasSubstr;
using testing::Not;

/// The lines of the progress bar with that title.
std::set<std::string> get_lines(const std::string& text, const std::string& title) {
    std::set<std::string> lines;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const std::string line = text.substr(start, end - start);
        if (line.starts_with(title))
            lines.insert(line);
        start = end + 1;
    }
    return lines;
}

TEST(MainProgress, MovesEvenlyForEveryTree) {
    const std::string item_count = std::to_string(support::scale(60000, 20000));
    for (const char* tree : {"plain", "compressed", "grid"})
        for (const Words& more : {Words{"--threads", "1"},
                                  {"--threads", "1", "--motion"},
                                  {"--threads", "1", "--build", "median"},
                                  {"--threads", "2"}}) {
            const ProgramResult result =
                run_program(join({"stats", "--json", "--items", item_count, "--tree", tree}, more));
            EXPECT_EQ(result.exit_code, 0);
            // One of each tenth, but for steps that are longer. The thread that tells of the parts
            // of a tree may have to wait while others build them.
            const std::size_t least = more[1] == "1" ? 7 : 3;
            EXPECT_GE(get_lines(result.errors, "Building trees").size(), least)
                << testing::PrintToString(more) << " " << tree << "\n"
                << result.errors;
            EXPECT_THAT(result.errors, HasSubstr("Building trees 100 %"));
        }
}

TEST(MainProgress, StaysOutOfTheResults) {
    const TemporaryFolder folder;
    const Words render = {
        "render", "--detail", "0.001", "--size", "8x8", "-o", folder.get_path("a.png")};
    for (const Words& arguments : {render, Words{"stats", "--detail", "0.001"}}) {
        const ProgramResult result = run_program(arguments);
        EXPECT_EQ(result.exit_code, 0) << result.errors;
        EXPECT_NE(result.output, "");
        EXPECT_THAT(result.output, Not(HasSubstr("Building")));
        EXPECT_THAT(result.output, Not(HasSubstr("Rendering")));
        EXPECT_THAT(result.errors, HasSubstr("Building trees 100 %"));
    }
}

} // namespace
