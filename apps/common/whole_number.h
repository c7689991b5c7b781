// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <charconv>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>

namespace gas_app {

/// A check of an option's value: a whole number of `low` to `high` in decimal digits. Numbers with
/// a leading 0 are refused, because they would be read as octal or hexadecimal.
inline CLI::Validator whole_number(unsigned low, unsigned high) {
    const std::string range = std::to_string(low) + " to " + std::to_string(high);
    const auto check = [low, high, range](const std::string& text) {
        unsigned number = 0;
        const char* end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(text.data(), end, number);
        const bool is_whole = error == std::errc() && stop == end;
        const bool is_decimal = is_whole && (text.size() == 1 || text.front() != '0');
        if (is_decimal && number >= low && number <= high)
            return std::string();
        return "Value " + text + " is not a whole decimal number of " + range;
    };
    return CLI::Validator(check, range);
}

} // namespace gas_app
