#include <cstdio>
#include <cstdlib>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <gas/isa/gas_instruction_set.h>

// Runs the tests of a program by the instruction set that GAS_ISA names.

namespace {

bool choose_instruction_set(const std::string& name) {
    for (const GasInstructionSet set : {GasInstructionSet::baseline, GasInstructionSet::avx2})
        if (name == gas_get_instruction_set_name(set))
            return gas_set_instruction_set(set);
    return false;
}

} // namespace

int main(int argument_count, char** arguments) {
    testing::InitGoogleMock(&argument_count, arguments);
    const char* const name = std::getenv("GAS_ISA");
    if (name && !choose_instruction_set(name)) {
        std::fprintf(stderr, "GAS_ISA: '%s' cannot be tested here\n", name);
        return 1;
    }
    return RUN_ALL_TESTS();
}
