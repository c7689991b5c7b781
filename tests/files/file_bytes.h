// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>
#include <string>

#include <gas/files/gas_file_checksum.h>
#include <gas/files/gas_file_format.h>

/// The bytes of a saved tree, to be changed.
namespace support {

/// Where section `index` of the table is described.
inline std::size_t find_entry(unsigned index) {
    return sizeof(GasFileHeader) + index * sizeof(GasFileSection);
}

template <typename Record> Record get_record(const std::string& bytes, std::size_t offset) {
    Record record;
    std::memcpy(&record, &bytes[offset], sizeof record);
    return record;
}
template <typename Record>
void set_record(std::string& bytes, std::size_t offset, const Record& record) {
    std::memcpy(&bytes[offset], &record, sizeof record);
}
inline GasFileHeader get_header(const std::string& bytes) {
    return get_record<GasFileHeader>(bytes, 0);
}
inline GasFileSection get_section(const std::string& bytes, unsigned index) {
    return get_record<GasFileSection>(bytes, find_entry(index));
}
/// Where the first section of a type begins; 0 where there is none.
inline std::size_t find_section(const std::string& bytes, GasFileSectionType type) {
    for (unsigned i = 0; i < get_header(bytes).section_count; ++i) {
        const GasFileSection section = get_section(bytes, i);
        if (section.type == type)
            return static_cast<std::size_t>(section.offset);
    }
    return 0;
}

inline std::uint64_t sum_bytes(const char* bytes, std::size_t size) {
    std::uint64_t sum = GasFileChecksum::start;
    for (std::size_t first = 0; first < size; first += GasFileChecksum::block_size) {
        const std::size_t left = size - first;
        const std::size_t block_size = GasFileChecksum::block_size;
        sum = GasFileChecksum::mix(
            sum, GasFileChecksum::sum_block(bytes + first, left < block_size ? left : block_size));
    }
    return GasFileChecksum::finish(sum);
}

/// Makes the checksums right that can be: of what lies within the file.
inline void correct_header_sum(std::string& bytes) {
    GasFileHeader header = get_header(bytes);
    const std::uint64_t end = gas_align_in_file(find_entry(header.section_count));
    if (end > bytes.size())
        return;
    const auto size = static_cast<std::size_t>(end);
    header.header_checksum = 0;
    set_record(bytes, 0, header);
    header.header_checksum = sum_bytes(bytes.data(), size);
    set_record(bytes, 0, header);
}
inline void correct_all_sums(std::string& bytes) {
    for (unsigned i = 0; i < get_header(bytes).section_count; ++i) {
        if (find_entry(i + 1) > bytes.size())
            break;
        GasFileSection section = get_section(bytes, i);
        const std::uint64_t size = gas_align_in_file(section.size);
        if (section.offset > bytes.size() || size > bytes.size() - section.offset)
            continue;
        section.checksum = sum_bytes(&bytes[static_cast<std::size_t>(section.offset)],
                                     static_cast<std::size_t>(size));
        set_record(bytes, find_entry(i), section);
    }
    correct_header_sum(bytes);
}

} // namespace support
