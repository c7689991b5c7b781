// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/command_line.h>
#include <apps/gas_mpi/mpi_team.h>

int main(int argument_count, char** arguments) {
    gas_app::MpiTeam team(argument_count, arguments);
    const int exit_code = gas_app::run_command_line(argument_count, arguments, &team);
    // All ranks find a command line invalid, but one alone may lack a file.
    if (exit_code == gas_app::exit_failed)
        team.abort(exit_code);
    return exit_code;
}
