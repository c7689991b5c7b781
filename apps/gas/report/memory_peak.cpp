// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/report/memory_peak.h>

#include <fstream>
#include <string>

#if defined(__linux__)
#include <malloc.h>
#endif

namespace gas_app {

namespace {

/// A line of Linux's status of this process, such as "VmRSS:  1234 kB".
std::optional<std::size_t> read_account(const std::string& name) {
    std::ifstream account("/proc/self/status");
    for (std::string word; account >> word;) {
        std::size_t kilobytes = 0;
        if (word == name && account >> kilobytes)
            return kilobytes * 1024;
    }
    return std::nullopt;
}

/// Resets the peak to the memory held now; false where the system cannot.
bool reset_peak() {
    std::ofstream order("/proc/self/clear_refs");
    constexpr char reset_peak_order = '5';
    order << reset_peak_order;
    order.close();
    return order.good();
}

/// Returns free memory to the system, now and whenever a block that is not small is freed.
void release_free_memory() {
#if defined(__GLIBC__)
    constexpr int smallest_mapped_block = 1 << 14;
    mallopt(M_MMAP_THRESHOLD, smallest_mapped_block);
    malloc_trim(0);
#endif
}

} // namespace

std::optional<std::size_t> get_peak_resident_size() { return read_account("VmHWM:"); }

MemoryPeak::MemoryPeak() {
    release_free_memory();
    if (reset_peak())
        m_start = read_account("VmRSS:");
}

std::optional<std::size_t> MemoryPeak::get_growth() const {
    const std::optional<std::size_t> peak = get_peak_resident_size();
    if (!m_start || !peak)
        return std::nullopt;
    return *peak > *m_start ? *peak - *m_start : 0;
}

} // namespace gas_app
