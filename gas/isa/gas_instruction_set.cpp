// SPDX-License-Identifier: Apache-2.0
#include <gas/isa/gas_instruction_set.h>

#include <cstring>

#include <gas/isa/gas_ray_calls.h>

inline namespace gas_abi1 {

std::atomic<const GasRayCalls*> gas_ray_calls_in_use = nullptr;

namespace {

/// Null where the library was built without.
const GasRayCalls* get_built_calls(GasInstructionSet set) {
    switch (set) {
    case GasInstructionSet::baseline:
        return &gas_abi1_baseline_ray_calls;
    case GasInstructionSet::avx2:
#if defined(GAS_HAS_AVX2)
        return &gas_abi1_avx2_ray_calls;
#else
        return nullptr;
#endif
    }
    return nullptr;
}

bool is_on_machine([[maybe_unused]] GasInstructionSet set) {
#if defined(GAS_HAS_AVX2)
    if (set == GasInstructionSet::avx2)
        return __builtin_cpu_supports("avx2");
#endif
    return set == GasInstructionSet::baseline;
}

} // namespace

const GasRayCalls& gas_choose_ray_calls() {
    const bool has_avx2 = gas_has_instruction_set(GasInstructionSet::avx2);
    const GasRayCalls* const best =
        get_built_calls(has_avx2 ? GasInstructionSet::avx2 : GasInstructionSet::baseline);
    // A choice that was made meanwhile holds.
    const GasRayCalls* in_use = nullptr;
    if (gas_ray_calls_in_use.compare_exchange_strong(in_use, best, std::memory_order_relaxed))
        in_use = best;
    return *in_use;
}

const char* gas_get_instruction_set_name(GasInstructionSet set) {
    return set == GasInstructionSet::avx2 ? "avx2" : "baseline";
}

bool gas_find_instruction_set(const char* name, GasInstructionSet& set) {
    for (const GasInstructionSet named : {GasInstructionSet::baseline, GasInstructionSet::avx2})
        if (std::strcmp(name, gas_get_instruction_set_name(named)) == 0) {
            set = named;
            return true;
        }
    return false;
}

bool gas_has_instruction_set(GasInstructionSet set) {
    return get_built_calls(set) && is_on_machine(set);
}

GasInstructionSet gas_get_instruction_set() {
    return &gas_get_ray_calls() == get_built_calls(GasInstructionSet::avx2)
               ? GasInstructionSet::avx2
               : GasInstructionSet::baseline;
}

bool gas_set_instruction_set(GasInstructionSet set) {
    if (!gas_has_instruction_set(set))
        return false;
    gas_ray_calls_in_use.store(get_built_calls(set), std::memory_order_relaxed);
    return true;
}

} // namespace gas_abi1
