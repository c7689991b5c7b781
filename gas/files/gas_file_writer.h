// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include <gas/files/gas_file_format.h>

inline namespace gas_abi1 {

/// A file in the making, beside the one that it is to replace. Until `finish` has renamed it there
/// is nothing at the path that was not there before, and a writer that ends earlier removes it.
class GasFileWriter {
  public:
    /// Writes sections in the order of `table`, whose checksums it fills in.
    GasFileWriter(const char* path, GasFileTable& table);
    GasFileWriter(const GasFileWriter&) = delete;
    GasFileWriter& operator=(const GasFileWriter&) = delete;
    ~GasFileWriter();

    /// The next bytes of the section.
    void append(const void* bytes, std::size_t size);
    /// The section is complete but for the zeros behind it; the next one follows.
    void end_section();
    /// Writes the header and renames the file.
    void finish();

    /// What the system said of the first thing that failed, or 0. Whatever follows does nothing.
    int get_error() const { return m_error; }

  private:
    void flush();
    void write(const void* bytes, std::size_t size, std::uint64_t offset);
    void fail();

    GasFileTable& m_table;
    std::string m_target;
    std::string m_partial;
    int m_file = -1;
    int m_error = 0;
    std::size_t m_section = 0;
    std::uint64_t m_offset;
    std::uint64_t m_sum;
    std::vector<char> m_block;
};

} // namespace gas_abi1
