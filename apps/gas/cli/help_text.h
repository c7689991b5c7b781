// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <CLI/CLI.hpp>

namespace gas_app {

/// The text of --help, in lines of at most 80 columns: of the program a screen with its commands,
/// of a command all its options, each with its description below. tools/help_files.py reads it.
class HelpText : public CLI::Formatter {
  public:
    std::string make_help(const CLI::App* app, std::string name,
                          CLI::AppFormatMode mode) const override;
};

/// The place of an option's value in help, where it is one of a few words: "on|off".
template <typename Names> std::string list_choices(const Names& names) {
    std::string choices;
    for (const auto& name : names)
        choices += (choices.empty() ? "" : "|") + std::string(name);
    return choices;
}

} // namespace gas_app
