#pragma once

inline namespace gas_abi1 {

/// Counts nothing: the probe of the shipped engines.
struct GasNoProbe {
    static void visit_node() {}
    static void call_leaf() {}
};

} // namespace gas_abi1
