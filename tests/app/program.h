// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <tests/app/temporary_folder.h>

/// What a run of the program gave.
struct ProgramResult {
    /// -1: it did not exit by itself.
    int exit_code = -1;
    std::string output;
    std::string errors;
};

/// Runs the program `gas` with the arguments.
inline ProgramResult run_program(const std::vector<std::string>& arguments) {
    const TemporaryFolder folder;
    const std::string output = folder.get_path("output");
    const std::string errors = folder.get_path("errors");
    std::vector<char*> words = {const_cast<char*>(GAS_APP_PROGRAM)};
    for (const std::string& argument : arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);

    const pid_t child = ::fork();
    if (child == 0) {
        constexpr int only_mine = 0600;
        const int out = ::open(output.c_str(), O_WRONLY | O_CREAT, only_mine);
        const int err = ::open(errors.c_str(), O_WRONLY | O_CREAT, only_mine);
        ::dup2(out, STDOUT_FILENO);
        ::dup2(err, STDERR_FILENO);
        ::execv(words[0], words.data());
        ::_exit(127);
    }
    int status = 0;
    ProgramResult result;
    if (child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.exit_code = WEXITSTATUS(status);
    result.output = folder.read("output");
    result.errors = folder.read("errors");
    return result;
}
