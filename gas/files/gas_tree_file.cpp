// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_tree_file.h>

#include <cstring>
#include <thread>

inline namespace gas_abi1 {

using Type = GasFileSectionType;

GasFileResult GasTreeFile::refuse(int error) const {
    return {false, std::string(m_path) + ": cannot be read: " + std::strerror(error)};
}

GasFileResult GasTreeFile::read_table() {
    if (m_memory.get_error())
        return refuse(m_memory.get_error());
    // The table is rarely longer; then it is read once more.
    std::vector<char> start(4096);
    std::size_t size = m_memory.read_start(start.data(), start.size());
    if (size >= sizeof(GasFileHeader)) {
        GasFileHeader header;
        std::memcpy(&header, start.data(), sizeof header);
        const std::uint64_t table_size = gas_align_in_file(
            sizeof header + std::uint64_t{header.section_count} * sizeof(GasFileSection));
        if (table_size > size && table_size <= m_memory.get_size()) {
            start.resize(static_cast<std::size_t>(table_size));
            size = m_memory.read_start(start.data(), start.size());
        }
    }
    if (m_memory.get_error())
        return refuse(m_memory.get_error());
    if (const char* const flaw = m_table.read(start.data(), size, m_memory.get_size()))
        return refuse(flaw);
    return {true, {}};
}

GasFileResult GasTreeFile::bring(GasFileMemory::Way way, const GasFileKind* kind) {
    if (GasFileResult result = read_table(); !result)
        return result;
    if (kind && m_table.header.kind != *kind)
        return refuse(*kind == GasFileKind::plain ? "holds a compressed tree"
                                                  : "holds a tree that is not compressed");
    if (m_settings.boxes_hash && m_settings.boxes_hash != m_table.header.boxes_hash)
        return refuse("holds a tree over other boxes");
    if (!m_memory.bring(way))
        return refuse(m_memory.get_error());
    return {true, {}};
}

unsigned GasTreeFile::get_thread_count() const {
    const unsigned count = m_settings.thread_count;
    return count ? count : std::thread::hardware_concurrency();
}

template <typename Arrays, typename Sample>
void GasTreeFile::find_common(Arrays& arrays, std::vector<Sample*>& samples) const {
    const GasFileHeader& header = m_table.header;
    arrays.nodes = find<std::remove_reference_t<decltype(*arrays.nodes)>>(Type::nodes);
    arrays.items = find<unsigned>(Type::items);
    arrays.leaf_count = header.leaf_count;
    arrays.depth = header.depth;
    arrays.are_boxes_ordered = (header.flags & GasFileHeader::are_boxes_ordered) != 0;
    for (unsigned sample = 0; sample < header.sample_count; ++sample)
        samples.push_back(find<Sample>(Type::sample, sample));
    arrays.samples = samples.data();
    arrays.sample_count = header.sample_count;
}

void GasTreeFile::find_arrays(GasTreeArrays& arrays,
                              std::vector<GMathBbox3<float>*>& samples) const {
    find_common(arrays, samples);
    const GasFileHeader& header = m_table.header;
    arrays.are_wide_boxes_ordered = (header.flags & GasFileHeader::are_wide_boxes_ordered) != 0;
    if (header.wide_count == 0 || !is_width_known())
        return;
    arrays.wide_nodes = find<GasWideNode>(Type::wide_nodes);
    arrays.wide_count = header.wide_count;
    if (void* const records = find<char>(Type::wide_samples))
        arrays.wide_samples = GasWideSampleRecords(records, header.sample_count);
}

void GasTreeFile::find_arrays(GasCompressedTreeArrays& arrays,
                              std::vector<unsigned char*>& samples) const {
    find_common(arrays, samples);
    static_assert(sizeof arrays.bbox == sizeof m_table.header.bbox);
    std::memcpy(&arrays.bbox, m_table.header.bbox, sizeof arrays.bbox);
    arrays.sample_bboxes = find<GMathBbox3<float>>(Type::sample_boxes);
}

bool GasTreeFile::is_sample_ordered(unsigned sample) const {
    const GasFileSection* const section = m_table.find(Type::sample, sample);
    return (section->flags & GasFileSection::are_boxes_ordered) != 0;
}

bool GasTreeFile::is_width_known() const {
    return m_table.header.wide_count == 0 || m_table.header.wide_width == GasWideNode::width;
}

} // namespace gas_abi1
