// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include <tests/app/program.h>

using Words = std::vector<std::string>;

inline Words join(Words words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

/// What a subcommand, the first of the arguments, reports as JSON.
inline nlohmann::json get_report(Words arguments) {
    arguments.insert(arguments.begin() + 1, {"--json", "--quiet"});
    const ProgramResult result = run_program(arguments);
    EXPECT_EQ(result.exit_code, 0) << result.errors;
    return nlohmann::json::parse(result.output);
}
