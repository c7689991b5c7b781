// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/command_line.h>

#include <cstdio>
#include <new>

#include <CLI/CLI.hpp>

#include <gas/core/gas_report.h>

#include <apps/common/instruction_set.h>
#include <apps/common/user_error.h>
#include <apps/gas/cli/commands.h>

namespace gas_app {

namespace {

int report(int exit_code, const char* message) {
    std::fprintf(stderr, "gas: %s\n", message);
    return exit_code;
}

int report_usage(const std::string& message) {
    return report(exit_usage, (message + "\nRun gas --help or gas SUBCOMMAND --help.").c_str());
}

/// What is wrong with the command line. A subcommand or option that there is not comes before all
/// else that may be wrong.
std::string describe(const CLI::App& app, const CLI::ParseError& error) {
    const std::vector<std::string> unknown = app.remaining();
    const std::vector<CLI::App*> chosen = app.get_subcommands();
    if (chosen.empty() && !unknown.empty())
        return unknown.front() + ": there is no such subcommand or option";
    for (const CLI::App* command : chosen)
        for (const std::string& argument : command->remaining())
            if (argument.size() > 1 && argument.front() == '-' && argument != "--")
                return argument.substr(0, argument.find('=')) + ": gas " + command->get_name() +
                       " has no such option";
    return error.what();
}

/// What a tree could not do goes to standard error, and the program goes on.
void print_report(void*, const GasReport& told) { report(exit_failed, told.text); }

int parse_and_run(int argument_count, const char* const* arguments) {
    CLI::App app("Renders pictures through trees of boxes, saves the trees, says what they are "
                 "like, searches them, and verifies them.",
                 "gas");
    app.set_version_flag("--version", "gas " GAS_PROGRAM_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    RenderCommand render(app);
    MergeCommand merge(app);
    BuildCommand build(app);
    StatsCommand stats(app);
    QueryCommand query(app);
    VerifyCommand verify(app);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(error); // help or version was requested
        return report_usage(describe(app, error));
    }
    choose_instruction_set();
    for (const Command* command :
         std::initializer_list<const Command*>{&render, &merge, &build, &stats, &query, &verify})
        if (command->is_chosen())
            command->run();
    return exit_done;
}

} // namespace

int run_command_line(int argument_count, const char* const* arguments) {
    gas_set_report(print_report);
    try {
        const int exit_code = parse_and_run(argument_count, arguments);
        if (std::fflush(stdout) != 0 || std::ferror(stdout))
            return report(exit_failed, "standard output cannot be written");
        return exit_code;
    } catch (const OptionError& error) {
        return report_usage(error.what());
    } catch (const UserError& error) {
        return report(exit_failed, error.what());
    } catch (const std::bad_alloc&) {
        return report(exit_failed, "out of memory");
    } catch (const std::exception& error) {
        return report(exit_failed, error.what());
    }
}

} // namespace gas_app
