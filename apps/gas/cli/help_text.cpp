// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/help_text.h>

#include <algorithm>
#include <string_view>
#include <vector>

namespace gas_app {

namespace {

constexpr std::size_t line_width = 80;

/// The text in lines, the first behind `first_indent` and all others behind `indent`. Lines of the
/// text stay apart.
std::string wrap(std::string_view text, const std::string& first_indent,
                 const std::string& indent) {
    std::string out;
    std::string line = first_indent;
    bool has_word = false;
    const auto end_line = [&] {
        out += line + "\n";
        line = indent;
        has_word = false;
    };
    while (!text.empty()) {
        const std::size_t end = std::min(text.find_first_of(" \n"), text.size());
        const std::string_view word = text.substr(0, end);
        if (has_word && line.size() + 1 + word.size() > line_width)
            end_line();
        if (!word.empty()) {
            line += (has_word ? " " : "") + std::string(word);
            has_word = true;
        }
        if (end < text.size() && text[end] == '\n')
            end_line();
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    if (has_word)
        end_line();
    return out;
}

std::string get_names(const CLI::Option& option) {
    if (option.get_positional())
        return option.get_name(true, false);
    std::string names;
    for (const std::string& name : option.get_snames())
        names += (names.empty() ? "-" : ", -") + name;
    for (const std::string& name : option.get_lnames())
        names += (names.empty() ? "--" : ", --") + name;
    return names;
}

/// What takes the place of its value, and which numbers it may be: checks describe themselves
/// behind the first colon.
struct ValueName {
    std::string name;
    std::string range;

    explicit ValueName(const CLI::Option& option) {
        const std::string type = option.get_type_size() != 0 ? option.get_type_name() : "";
        const std::size_t colon = std::min(type.find(':'), type.size());
        name = type.substr(0, colon);
        if (name == "UINT")
            name = "NUMBER";
        if (colon < type.size())
            range = type.substr(colon + 1);
    }
};

std::string list(const std::set<CLI::Option*>& options) {
    std::vector<std::string> names;
    names.reserve(options.size());
    for (const CLI::Option* option : options)
        names.push_back(option->get_name());
    std::sort(names.begin(), names.end());
    return CLI::detail::join(names, ", ");
}

std::string describe(const CLI::Option& option) {
    const ValueName value(option);
    std::string text = option.get_description();
    const auto add = [&](const std::string& sentence) { text += ". " + sentence; };
    if (option.get_required())
        add("Required");
    if (!value.range.empty())
        add("From " + value.range);
    if (!option.get_default_str().empty())
        add("Default: " + option.get_default_str());
    if (!option.get_needs().empty())
        add("Only with " + list(option.get_needs()));
    if (!option.get_excludes().empty())
        add("Not with " + list(option.get_excludes()));
    return text;
}

std::string make_options(const char* title, const std::vector<const CLI::Option*>& options) {
    std::string out;
    for (const CLI::Option* option : options) {
        if (option->get_group().empty())
            continue;
        const std::string value = option->get_positional() ? "" : ValueName(*option).name;
        out += "  " + get_names(*option) + (value.empty() ? "" : " " + value) + "\n";
        out += wrap(describe(*option), "      ", "      ");
    }
    return out.empty() ? out : "\n" + std::string(title) + ":\n" + out;
}

std::string make_command_help(const CLI::App& command) {
    const auto positionals =
        command.get_options([](const CLI::Option* option) { return option->get_positional(); });
    const auto others =
        command.get_options([](const CLI::Option* option) { return option->nonpositional(); });
    std::string usage = "Usage: gas " + command.get_name() + " [OPTION]...";
    for (const CLI::Option* option : positionals) {
        const std::string name = get_names(*option);
        usage += option->get_required() ? " " : " [";
        usage += name;
        usage += option->get_required() ? "" : "]";
        usage += option->get_expected_max() > 1 ? "..." : "";
    }
    std::string out = wrap(command.get_description() + ".", "", "");
    if (!command.get_footer().empty())
        out += "\n" + wrap(command.get_footer(), "", "");
    out += "\n" + usage + "\n";
    return out + make_options("Arguments", positionals) + make_options("Options", others);
}

std::string make_program_help(const CLI::App& program) {
    const std::vector<const CLI::App*> commands = program.get_subcommands({});
    std::size_t widest = 0;
    for (const CLI::App* command : commands)
        widest = std::max(widest, command->get_name().size());
    std::string out = wrap(program.get_description(), "", "");
    out += "\nUsage: gas COMMAND [OPTION]...\n\nCommands:\n";
    for (const CLI::App* command : commands) {
        std::string name = "  " + command->get_name();
        name.resize(widest + 4, ' ');
        out += wrap(command->get_description(), name, std::string(name.size(), ' '));
    }
    const auto options =
        program.get_options([](const CLI::Option* option) { return option->nonpositional(); });
    return out + make_options("Options", options) + "\n" + wrap(program.get_footer(), "", "");
}

} // namespace

std::string HelpText::make_help(const CLI::App* app, std::string, CLI::AppFormatMode) const {
    return app->get_parent() ? make_command_help(*app) : make_program_help(*app);
}

} // namespace gas_app
