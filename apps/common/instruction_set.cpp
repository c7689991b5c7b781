// SPDX-License-Identifier: Apache-2.0
#include <apps/common/instruction_set.h>

#include <cstdlib>
#include <string>

#include <gas/host/simd_f.h>
#include <gas/isa/gas_instruction_set.h>

#include <apps/common/user_error.h>

namespace gas_app {

void choose_instruction_set() {
    const char* const name = std::getenv("GAS_ISA");
    if (!name)
        return;
    GasInstructionSet set;
    if (!gas_find_instruction_set(name, set))
        throw OptionError("GAS_ISA: '" + std::string(name) + "' is neither baseline nor avx2");
    if (!gas_set_instruction_set(set))
        throw OptionError("GAS_ISA: " + std::string(name) +
                          " is not in this build, or not on this machine");
}

const char* get_instruction_set_name() {
    const GasInstructionSet set = gas_get_instruction_set();
    return set == GasInstructionSet::baseline ? get_counted_instruction_set_name()
                                              : gas_get_instruction_set_name(set);
}

const char* get_counted_instruction_set_name() { return gas_simd::name; }

} // namespace gas_app
