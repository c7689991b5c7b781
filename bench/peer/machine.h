// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace gas_peer {

/// The machine and build of figures.
struct Machine {
    std::string processor;
    unsigned core_count;
    std::string compiler;
    /// The build type and the compiler's flags.
    std::string build;
    /// Its version, and the instruction sets that it was measured with.
    std::string peer;
};

/// Of this machine and this build of the program; `peer` is left empty.
Machine describe_machine();

} // namespace gas_peer
