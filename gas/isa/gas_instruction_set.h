// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>

inline namespace gas_abi1 {

/// Rays and refits run through code for the best instruction set that this machine has and the
/// library was built with. Every set gives the same results to the bit: the same leaf calls in the
/// same order, the same boxes. A program needs none of this unless it measures, or tests one set on
/// a machine that has more.

enum class GasInstructionSet {
    /// What the library itself is compiled for: SSE2 on x86, NEON on ARM.
    baseline,
    /// x86 with AVX2.
    avx2
};

/// How reports and GAS_ISA name it: "baseline" or "avx2".
GAS_EXPORT const char* gas_get_instruction_set_name(GasInstructionSet set);

/// Sets `set` to the one of that name. False, and `set` stays as it is, if there is none.
GAS_EXPORT bool gas_find_instruction_set(const char* name, GasInstructionSet& set);

/// Whether the library was built with it and this machine has it. `baseline` always is.
GAS_EXPORT bool gas_has_instruction_set(GasInstructionSet set);

/// The one in use. Without a choice that is the best that the machine has.
GAS_EXPORT GasInstructionSet gas_get_instruction_set();

/// Uses `set` from the next query or refit on, on all threads. False, and nothing changes, if
/// gas_has_instruction_set does not hold for it. Any thread may call this at any time.
GAS_EXPORT bool gas_set_instruction_set(GasInstructionSet set);

} // namespace gas_abi1
