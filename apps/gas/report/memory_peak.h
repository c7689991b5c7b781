#pragma once

#include <cstddef>
#include <optional>

namespace gas_app {

/// The most memory that the program held at once so far, as the system counts it; nothing where the
/// system does not tell. A MemoryPeak starts it anew.
std::optional<std::size_t> get_peak_resident_size();

/// How far the memory of the program grows from here on: memory that was allocated and written to,
/// in pages, as the system counts them, which may be some pages late.
class MemoryPeak {
  public:
    /// Forgets earlier peaks, so there is one at a time. From then on the program gives freed
    /// memory back at once, which takes a little time, so that it is not counted for what it no
    /// longer uses.
    MemoryPeak();

    /// The largest growth so far, in bytes; nothing where the system does not tell.
    std::optional<std::size_t> get_growth() const;

  private:
    std::optional<std::size_t> m_start;
};

} // namespace gas_app
