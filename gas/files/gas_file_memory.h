// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <gas/tree/gas_array_block.h>

inline namespace gas_abi1 {

/// The bytes of a file in memory, at a boundary that its sections need.
class GasFileMemory {
  public:
    enum class Way { read, map };

    /// An open file; nothing of it is in memory yet.
    explicit GasFileMemory(const char* path);
    GasFileMemory(const GasFileMemory&) = delete;
    GasFileMemory& operator=(const GasFileMemory&) = delete;
    ~GasFileMemory();

    /// The system's number of what failed, or 0.
    int get_error() const { return m_error; }
    std::size_t get_size() const { return m_size; }

    /// Reads up to `size` first bytes; returns how many there were.
    std::size_t read_start(char* bytes, std::size_t size);
    /// Brings the whole file in. Mapped pages are this process's own once they are written to.
    bool bring(Way way);
    char* get_bytes() const { return m_bytes; }

    /// What a tree keeps, and releases when it is done.
    GasArrayBlock hand_over();

  private:
    bool fail();
    bool read_all(char* bytes, std::size_t size);

    int m_file = -1;
    int m_error = 0;
    std::size_t m_size = 0;
    char* m_bytes = nullptr;
    GasArrayBlock m_block;
};

} // namespace gas_abi1
