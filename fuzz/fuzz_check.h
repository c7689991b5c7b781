// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// How a target tells that something is wrong: it ends the program.
namespace fuzz {

[[noreturn]] inline void fail(const std::string& text) {
    std::fprintf(stderr, "%s\n", text.c_str());
    std::abort();
}

inline void expect(bool holds, const char* what) {
    if (!holds)
        fail(std::string("does not hold: ") + what);
}

/// `flaw` is empty where nothing is wrong.
inline void expect_none(const std::string& flaw, const char* where) {
    if (!flaw.empty())
        fail(std::string(where) + ": " + flaw);
}

} // namespace fuzz
