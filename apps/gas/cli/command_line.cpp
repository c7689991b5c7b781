// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/command_line.h>

#include <cstdio>
#include <new>

#include <CLI/CLI.hpp>

#include <gas/core/gas_report.h>

#include <apps/common/instruction_set.h>
#include <apps/common/user_error.h>
#include <apps/gas/cli/commands.h>
#include <apps/gas/cli/help_text.h>
#include <apps/gas/farm/team.h>

namespace gas_app {

namespace {

int report(int exit_code, const char* message) {
    std::fprintf(stderr, "gas: %s\n", message);
    return exit_code;
}

int report_usage(const std::string& message) {
    return report(exit_usage, (message + "\nRun gas --help or gas COMMAND --help.").c_str());
}

/// All processes of a team find the same wrong with a command line.
bool is_silent(const Team* team) { return team && team->get_rank() > 0; }

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

/// `gas-mpi`, in one of its processes.
int parse_and_run_team(int argument_count, const char* const* arguments, Team& team) {
    CLI::App app("Renders a picture by all ranks of an MPI job, as gas render does by one process: "
                 "the same picture, bit for bit.",
                 "gas-mpi");
    app.set_version_flag("--version", "gas-mpi " GAS_PROGRAM_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    RenderCommand render(app, &team);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        const bool is_answered = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success);
        if (is_silent(&team))
            return is_answered ? exit_done : exit_usage;
        return is_answered ? app.exit(error) : report_usage(describe(app, error));
    }
    choose_instruction_set();
    render.run();
    return exit_done;
}

int parse_and_run(int argument_count, const char* const* arguments) {
    CLI::App app("Renders pictures through trees of boxes, saves the trees, says what they are "
                 "like, searches them, and verifies them.",
                 "gas");
    app.formatter(std::make_shared<HelpText>());
    app.set_help_flag("-h,--help", "Print help and exit");
    app.footer("gas COMMAND --help tells all about a command; so does man gas.");
    app.set_version_flag("--version", "gas " GAS_PROGRAM_VERSION, "Print the version and exit");
    app.require_subcommand(1);
    RenderCommand render(app);
    MergeCommand merge(app);
    BuildCommand build(app);
    StatsCommand stats(app);
    ReportCommand report_page(app);
    QueryCommand query(app);
    VerifyCommand verify(app);
    ViewCommand view(app);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(error); // help or version was requested
        return report_usage(describe(app, error));
    }
    choose_instruction_set();
    for (const Command* command : std::initializer_list<const Command*>{
             &render, &merge, &build, &stats, &report_page, &query, &verify, &view})
        if (command->is_chosen())
            command->run();
    return exit_done;
}

} // namespace

int run_command_line(int argument_count, const char* const* arguments, Team* team) {
    gas_set_report(print_report);
    try {
        const int exit_code = team ? parse_and_run_team(argument_count, arguments, *team)
                                   : parse_and_run(argument_count, arguments);
        if (std::fflush(stdout) != 0 || std::ferror(stdout))
            return report(exit_failed, "standard output cannot be written");
        return exit_code;
    } catch (const OptionError& error) {
        if (is_silent(team))
            return exit_usage;
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
