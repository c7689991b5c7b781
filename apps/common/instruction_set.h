// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace gas_app {

/// Has rays use the instruction set that GAS_ISA names, "baseline" or "avx2"; without that variable
/// the library chooses. Throws OptionError where there is no such set, or not on this machine.
void choose_instruction_set();

/// How reports name what rays use: "avx2", or for the baseline its lanes, such as "sse2".
const char* get_instruction_set_name();
/// How they name what counted walks use, which is always the baseline.
const char* get_counted_instruction_set_name();

} // namespace gas_app
