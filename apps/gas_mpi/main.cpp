// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/command_line.h>
#include <apps/gas_mpi/mpi_team.h>

int main(int argument_count, char** arguments) {
    gas_app::MpiTeam team(argument_count, arguments);
    return team.finish(gas_app::run_command_line(argument_count, arguments, &team));
}
