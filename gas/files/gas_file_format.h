// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

inline namespace gas_abi1 {

/// The records of a saved tree; docs/file_format.md is the whole story. All numbers are little
/// endian.

enum class GasFileKind : std::uint32_t { plain = 1, compressed = 2 };

/// The first 128 bytes.
struct GasFileHeader {
    static constexpr unsigned char right_magic[8] = {0x89, 'G', 'a', 's', '\r', '\n', 0x1A, '\n'};
    static constexpr std::uint32_t right_byte_order = 0x01020304;
    static constexpr std::uint32_t right_version = 1;
    /// Bits of `flags`.
    static constexpr std::uint32_t are_boxes_ordered = 1;
    static constexpr std::uint32_t are_wide_boxes_ordered = 2;
    static constexpr std::uint32_t has_items = 4;
    static constexpr std::uint32_t all_flags = 7;

    unsigned char magic[8];
    std::uint32_t byte_order;
    std::uint32_t version;
    std::uint64_t file_size;
    /// Of the header and the section table, with 0 in this place.
    std::uint64_t header_checksum;
    GasFileKind kind;
    std::uint32_t section_count;
    std::uint32_t leaf_count;
    std::uint32_t depth;
    std::uint32_t sample_count;
    /// Bytes.
    std::uint32_t node_size;
    std::uint32_t wide_width;
    std::uint32_t wide_count;
    std::uint32_t flags;
    std::uint32_t reserved;
    std::uint64_t boxes_hash;
    float bbox[6];
    double notes[3];

    std::uint64_t get_node_count() const {
        const std::uint64_t leaves = leaf_count;
        if (kind == GasFileKind::plain)
            return 2 * leaves - 1;
        return leaves > 1 ? leaves - 1 : 1;
    }
};

static_assert(sizeof(GasFileHeader) == 128, "two cache lines");
static_assert(offsetof(GasFileHeader, header_checksum) == 24);
static_assert(offsetof(GasFileHeader, boxes_hash) == 72);

enum class GasFileSectionType : std::uint32_t {
    nodes = 1,
    items = 2,
    sample = 3,
    sample_boxes = 4,
    wide_nodes = 5,
    wide_samples = 6
};

/// An entry of the table that follows the header.
struct GasFileSection {
    /// Bits of `flags`, of samples.
    static constexpr std::uint32_t is_filled = 1;
    static constexpr std::uint32_t are_boxes_ordered = 2;
    static constexpr std::uint32_t all_flags = 3;

    GasFileSectionType type;
    /// Which sample.
    std::uint32_t sample;
    std::uint32_t flags;
    std::uint32_t reserved;
    std::uint64_t offset;
    std::uint64_t size;
    /// Of the section and the zeros up to the next boundary.
    std::uint64_t checksum;
};

static_assert(sizeof(GasFileSection) == 40);

/// Sections begin at such boundaries, and the file ends at one.
inline constexpr std::uint64_t gas_file_alignment = 64;

constexpr std::uint64_t gas_align_in_file(std::uint64_t size) {
    return (size + gas_file_alignment - 1) / gas_file_alignment * gas_file_alignment;
}

/// Bytes of a wide node of `width` boxes, and of its boxes in all samples.
constexpr std::uint64_t gas_get_wide_node_size(std::uint64_t width) {
    return gas_align_in_file(width * (6 * sizeof(float) + sizeof(std::uint32_t)) +
                             (2 + width / 2) * sizeof(std::uint32_t));
}
constexpr std::uint64_t gas_get_wide_sample_size(std::uint64_t width, std::uint64_t sample_count) {
    return gas_align_in_file(width * (sample_count * 9 * sizeof(float) + sizeof(std::uint32_t)));
}

/// A header with its table.
struct GasFileTable {
    GasFileHeader header = {};
    std::vector<GasFileSection> sections;

    std::uint64_t get_size() const {
        return gas_align_in_file(sizeof header + sections.size() * sizeof(GasFileSection));
    }
    /// Null where there is none; a sample exists.
    const GasFileSection* find(GasFileSectionType type, unsigned sample = 0) const;

    /// The header and the table as they stand in a file, with the right checksum.
    std::vector<char> write() const;
    /// Takes them from the first bytes of a file, `size` of its `file_size`. Returns what is wrong,
    /// or null.
    const char* read(const char* bytes, std::size_t size, std::uint64_t file_size);

    /// Lists the sections that a file with this header has, with offsets and sizes; `flags` has
    /// those of each sample. False: they do not fit a file.
    bool lay_out(const std::vector<std::uint32_t>& sample_flags);

  private:
    const char* check_header() const;
    const char* check_sections(std::uint64_t file_size);
};

} // namespace gas_abi1
