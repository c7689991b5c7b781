#include "command_line.h"

#include <cstdio>
#include <new>

#include <CLI/CLI.hpp>

#include "render_command.h"
#include "stats_command.h"
#include "user_error.h"

namespace gas_app {

namespace {

int report(int exit_code, const char* message) {
    std::fprintf(stderr, "gas: %s\n", message);
    return exit_code;
}

int parse_and_run(int argument_count, const char* const* arguments) {
    CLI::App app("Renders pictures through trees of boxes, and says what the trees are like.",
                 "gas");
    app.require_subcommand(1);
    RenderCommand render(app);
    StatsCommand stats(app);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success))
            return app.exit(error); // a wish for help
        std::fprintf(stderr, "gas: %s\nRun gas --help or gas SUBCOMMAND --help.\n", error.what());
        return exit_usage;
    }
    if (render.is_chosen())
        render.run();
    if (stats.is_chosen())
        stats.run();
    return exit_done;
}

} // namespace

int run_command_line(int argument_count, const char* const* arguments) {
    try {
        const int exit_code = parse_and_run(argument_count, arguments);
        if (std::fflush(stdout) != 0 || std::ferror(stdout))
            return report(exit_failed, "standard output cannot be written");
        return exit_code;
    } catch (const UserError& error) {
        return report(exit_failed, error.what());
    } catch (const std::bad_alloc&) {
        return report(exit_failed, "out of memory");
    } catch (const std::exception& error) {
        return report(exit_failed, error.what());
    }
}

} // namespace gas_app
