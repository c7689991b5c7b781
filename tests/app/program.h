// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
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

    // A fork would copy the tables of a sanitizer's pages for each run.
    posix_spawn_file_actions_t files;
    posix_spawn_file_actions_init(&files);
    constexpr int flags = O_WRONLY | O_CREAT;
    constexpr int only_mine = 0600;
    posix_spawn_file_actions_addopen(&files, STDOUT_FILENO, output.c_str(), flags, only_mine);
    posix_spawn_file_actions_addopen(&files, STDERR_FILENO, errors.c_str(), flags, only_mine);
    pid_t child = -1;
    const int failure = ::posix_spawn(&child, words[0], &files, nullptr, words.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    int status = 0;
    ProgramResult result;
    if (failure == 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status))
        result.exit_code = WEXITSTATUS(status);
    result.output = folder.read("output");
    result.errors = folder.read("errors");
    return result;
}
