#pragma once

/// Counts nothing: the probe of the shipped engines.
struct GasNoProbe {
    static void visit_node() {}
    static void call_leaf() {}
};
