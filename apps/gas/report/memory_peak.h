// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>

namespace gas_app {

/// The most memory that the program held at once so far, as the system counts it; nothing where the
/// system does not report it. A MemoryPeak resets it.
std::optional<std::size_t> get_peak_resident_size();

/// The growth of the program's memory from here on: memory that was allocated and written to, in
/// pages, as the system counts them, which may be some pages late.
class MemoryPeak {
  public:
    /// Resets earlier peaks, so there is one at a time. From then on the program returns freed
    /// memory to the system at once, which takes a little time, so that it is no longer counted.
    MemoryPeak();

    /// The largest growth so far, in bytes; nothing where the system does not report it.
    std::optional<std::size_t> get_growth() const;

  private:
    std::optional<std::size_t> m_start;
};

} // namespace gas_app
