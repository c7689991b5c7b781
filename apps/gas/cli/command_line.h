// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace gas_app {

class Team;

/// Exit codes of the program.
inline constexpr int exit_done = 0;
/// A file, memory or something else failed.
inline constexpr int exit_failed = 1;
/// The command line is invalid.
inline constexpr int exit_usage = 2;

/// The whole program, or with a team of processes `gas-mpi`, in each of them: reads the command
/// line, runs the subcommand, reports errors on standard error. Returns the exit code.
int run_command_line(int argument_count, const char* const* arguments, Team* team = nullptr);

} // namespace gas_app
