// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/machine.h>

#include <fstream>
#include <string>
#include <thread>

#include <apps/common/instruction_set.h>

namespace gas_peer {

namespace {

/// The first processor's name; empty where the system does not tell.
std::string read_processor() {
    std::ifstream file("/proc/cpuinfo");
    for (std::string line; std::getline(file, line);) {
        const std::size_t colon = line.find(':');
        if (line.starts_with("model name") && colon != std::string::npos)
            return line.substr(line.find_first_not_of(" \t", colon + 1));
    }
    return "unknown processor";
}

std::string get_compiler() {
#if defined(__clang__)
    return "Clang " __clang_version__;
#elif defined(__GNUC__)
    return "GCC " __VERSION__;
#else
    return "unknown compiler";
#endif
}

} // namespace

Machine describe_machine() {
    return {read_processor(), std::thread::hardware_concurrency(), get_compiler(),
            GAS_PEER_BUILD ", rays by " + std::string(gas_app::get_instruction_set_name()), ""};
}

} // namespace gas_peer
