// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_format.h>

#include <bit>
#include <climits>
#include <cstring>

#include <gas/compressed/gas_compressed_node.h>
#include <gas/files/gas_file_checksum.h>
#include <gas/host/host.h>
#include <gas/traversal/wide/gas_wide_node.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

namespace {

constexpr const char* not_a_tree = "is not a saved tree";
constexpr const char* wrong_sections = "has sections that do not fit its header";

static_assert(gas_get_wide_node_size(GasWideNode::width) == sizeof(GasWideNode));

/// Far more than any machine's memory, and far from where sizes wrap.
constexpr std::uint64_t largest_file = std::uint64_t{1} << 56;

std::uint64_t sum_table(const std::vector<char>& bytes) {
    std::uint64_t sum = GasFileChecksum::start;
    for (std::size_t first = 0; first < bytes.size(); first += GasFileChecksum::block_size) {
        const std::size_t left = bytes.size() - first;
        const std::size_t block_size = GasFileChecksum::block_size;
        sum = GasFileChecksum::mix(
            sum, GasFileChecksum::sum_block(&bytes[first], left < block_size ? left : block_size));
    }
    return GasFileChecksum::finish(sum);
}

/// Appends sections one behind the other.
class Layout {
  public:
    Layout(std::vector<GasFileSection>& sections, std::uint64_t section_count)
        : m_sections(sections),
          m_end(gas_align_in_file(sizeof(GasFileHeader) + section_count * sizeof(GasFileSection))) {
    }

    void add(GasFileSectionType type, std::uint64_t count, std::uint64_t size, std::uint64_t slack,
             std::uint32_t sample = 0, std::uint32_t flags = 0) {
        m_fits = m_fits && (size == 0 || count <= largest_file / size) && m_end <= largest_file;
        const std::uint64_t bytes = m_fits ? count * size + slack : 0;
        m_sections.push_back({type, sample, flags, 0, m_end, bytes, 0});
        m_end += gas_align_in_file(bytes);
    }
    bool fits() const { return m_fits && m_end <= largest_file; }
    std::uint64_t get_end() const { return m_end; }

  private:
    std::vector<GasFileSection>& m_sections;
    std::uint64_t m_end;
    bool m_fits = true;
};

} // namespace

const GasFileSection* GasFileTable::find(GasFileSectionType type, unsigned sample) const {
    if (type == GasFileSectionType::sample)
        return &sections[1 + ((header.flags & GasFileHeader::has_items) != 0) + sample];
    for (const GasFileSection& section : sections)
        if (section.type == type)
            return &section;
    return nullptr;
}

std::vector<char> GasFileTable::write() const {
    std::vector<char> bytes(static_cast<std::size_t>(get_size()));
    GasFileHeader first = header;
    first.header_checksum = 0;
    std::memcpy(bytes.data(), &first, sizeof first);
    std::memcpy(&bytes[sizeof first], sections.data(), sections.size() * sizeof(GasFileSection));
    first.header_checksum = sum_table(bytes);
    std::memcpy(bytes.data(), &first, sizeof first);
    return bytes;
}

bool GasFileTable::lay_out(const std::vector<std::uint32_t>& sample_flags) {
    const bool is_plain = header.kind == GasFileKind::plain;
    const bool has_items = (header.flags & GasFileHeader::has_items) != 0;
    const std::uint64_t node_count = header.get_node_count();
    const std::size_t sample_count = sample_flags.size();
    bool is_any_filled = false;
    for (const std::uint32_t flags : sample_flags)
        is_any_filled = is_any_filled || (flags & GasFileSection::is_filled);
    const bool has_wide_samples = header.wide_count > 0 && is_any_filled;
    const bool has_sample_boxes = !is_plain && sample_count > 0;
    const std::size_t count = 1 + has_items + sample_count + has_sample_boxes +
                              (header.wide_count > 0) + has_wide_samples;

    using Type = GasFileSectionType;
    sections.clear();
    Layout layout(sections, count);
    layout.add(Type::nodes, node_count, header.node_size, 0);
    if (has_items)
        layout.add(Type::items, header.leaf_count, sizeof(unsigned), 0);
    const std::uint64_t box_size = is_plain ? sizeof(GMathBbox3<float>) : sizeof(GasQuantizedPair);
    const std::uint64_t slack = is_plain ? sizeof(float) : 9;
    for (std::size_t sample = 0; sample < sample_count; ++sample) {
        const bool is_filled = (sample_flags[sample] & GasFileSection::is_filled) != 0;
        layout.add(Type::sample, is_filled ? node_count : 0, box_size, is_filled ? slack : 0,
                   static_cast<std::uint32_t>(sample), sample_flags[sample]);
    }
    if (has_sample_boxes)
        layout.add(Type::sample_boxes, sample_count, sizeof(GMathBbox3<float>), 0);
    if (header.wide_count > 0)
        layout.add(Type::wide_nodes, header.wide_count, gas_get_wide_node_size(header.wide_width),
                   0);
    if (has_wide_samples)
        layout.add(Type::wide_samples, header.wide_count,
                   gas_get_wide_sample_size(header.wide_width, sample_count), 0);
    header.section_count = static_cast<std::uint32_t>(sections.size());
    header.file_size = layout.get_end();
    return layout.fits();
}

const char* GasFileTable::check_header() const {
    if (std::memcmp(header.magic, GasFileHeader::right_magic, sizeof header.magic) != 0)
        return not_a_tree;
    if (header.byte_order != GasFileHeader::right_byte_order ||
        std::endian::native != std::endian::little)
        return "was saved in another byte order";
    if (header.version != GasFileHeader::right_version)
        return "has another version of the format";
    return nullptr;
}

const char* GasFileTable::read(const char* bytes, std::size_t size, std::uint64_t file_size) {
    if (size < sizeof header)
        return size < sizeof header.magic ||
                       std::memcmp(bytes, GasFileHeader::right_magic, sizeof header.magic) != 0
                   ? not_a_tree
                   : "is cut off";
    std::memcpy(&header, bytes, sizeof header);
    if (const char* const flaw = check_header())
        return flaw;
    if (header.file_size != file_size)
        return file_size < header.file_size ? "is cut off" : "is longer than its header says";
    const std::uint64_t table_size = gas_align_in_file(
        sizeof header + std::uint64_t{header.section_count} * sizeof(GasFileSection));
    if (table_size > size)
        return "is cut off";
    if (header.section_count == 0)
        return wrong_sections;
    sections.resize(header.section_count);
    std::memcpy(sections.data(), bytes + sizeof header, sections.size() * sizeof(GasFileSection));

    std::vector<char> summed(bytes, bytes + table_size);
    std::memset(&summed[offsetof(GasFileHeader, header_checksum)], 0, sizeof(std::uint64_t));
    if (sum_table(summed) != header.header_checksum)
        return "has a header that does not match its checksum";
    return check_sections(file_size);
}

/// Whether the sections are those that follow from the header.
const char* GasFileTable::check_sections(std::uint64_t file_size) {
    const bool is_plain = header.kind == GasFileKind::plain;
    if (!is_plain && header.kind != GasFileKind::compressed)
        return "holds a tree of an unknown kind";
    if (header.node_size != (is_plain ? sizeof(GasTreeNode) : sizeof(GasCompressedNode)))
        return "has nodes of an unknown size";
    if (header.leaf_count == 0 || header.leaf_count > UINT_MAX / 2)
        return "has a number of leaves that no tree has";
    if ((header.flags & ~GasFileHeader::all_flags) != 0 ||
        (header.wide_count > 0) != (header.wide_width > 0) ||
        (header.wide_count > 0 && (!is_plain || header.wide_count >= header.leaf_count)) ||
        header.wide_width > 64 || header.sample_count > header.section_count)
        return wrong_sections;

    std::vector<std::uint32_t> sample_flags;
    for (const GasFileSection& section : sections)
        if (section.type == GasFileSectionType::sample)
            sample_flags.push_back(section.flags);
    GasFileTable expected;
    expected.header = header;
    if (sample_flags.size() != header.sample_count || !expected.lay_out(sample_flags) ||
        expected.sections.size() != sections.size() || expected.header.file_size != file_size)
        return wrong_sections;
    for (std::size_t i = 0; i < sections.size(); ++i) {
        const GasFileSection& wanted = expected.sections[i];
        const GasFileSection& section = sections[i];
        if (section.type != wanted.type || section.sample != wanted.sample ||
            (section.flags & ~GasFileSection::all_flags) != 0 || section.flags != wanted.flags ||
            section.offset != wanted.offset || section.size != wanted.size)
            return wrong_sections;
    }
    return nullptr;
}

} // namespace gas_abi1
