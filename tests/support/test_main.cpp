// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <cstdlib>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gas/isa/gas_instruction_set.h>

// Runs the tests of a program by the instruction set that GAS_ISA names.

int main(int argument_count, char** arguments) {
    testing::InitGoogleMock(&argument_count, arguments);
    const char* const name = std::getenv("GAS_ISA");
    GasInstructionSet set;
    if (name && !(gas_find_instruction_set(name, set) && gas_set_instruction_set(set))) {
        std::fprintf(stderr, "GAS_ISA: '%s' cannot be tested here\n", name);
        return 1;
    }
    return RUN_ALL_TESTS();
}
