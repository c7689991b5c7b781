// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <type_traits>
#include <vector>

#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/files/gas_file_format.h>
#include <gas/files/gas_file_memory.h>
#include <gas/files/gas_tree_files.h>
#include <gas/tree/gas_tree_arrays.h>

inline namespace gas_abi1 {

/// A saved tree that is being read. Arrays that are found in it point into its memory, which
/// nobody has looked at yet.
class GasTreeFile {
  public:
    GasTreeFile(const char* path, const GasFileSettings& settings)
        : m_path(path), m_settings(settings), m_memory(path) {}

    /// The header alone.
    GasFileResult read_table();
    /// The same, and all bytes of a file with a tree of that kind, or of any.
    GasFileResult bring(GasFileMemory::Way way, const GasFileKind* kind);

    GasFileResult refuse(const char* flaw) const {
        return {false, std::string(m_path) + ": " + flaw};
    }
    const char* get_path() const { return m_path; }
    const GasFileTable& get_table() const { return m_table; }
    const char* get_bytes() const { return m_memory.get_bytes(); }
    unsigned get_thread_count() const;
    /// What a tree keeps, and releases when it is done.
    GasArrayBlock hand_over() { return m_memory.hand_over(); }

    /// What a tree of that kind has. Samples are listed in `samples`, to which the arrays point;
    /// those of plain trees lack `are_samples_ordered`, which `is_sample_ordered` tells.
    void find_arrays(GasTreeArrays& arrays, std::vector<GMathBbox3<float>*>& samples) const;
    void find_arrays(GasCompressedTreeArrays& arrays, std::vector<unsigned char*>& samples) const;
    bool is_sample_ordered(unsigned sample) const;
    /// Whether wide nodes, if any, are of the width that this library walks; else there are none.
    bool is_width_known() const;

  private:
    GasFileResult refuse(int error) const;
    template <typename Word> Word* find(GasFileSectionType type, unsigned sample = 0) const {
        const GasFileSection* const section = m_table.find(type, sample);
        if (!section || section->size == 0)
            return nullptr;
        return reinterpret_cast<Word*>(m_memory.get_bytes() + section->offset);
    }
    template <typename Arrays, typename Sample>
    void find_common(Arrays& arrays, std::vector<Sample*>& samples) const;

    const char* m_path;
    const GasFileSettings& m_settings;
    GasFileMemory m_memory;
    GasFileTable m_table;
};

} // namespace gas_abi1
