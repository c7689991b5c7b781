// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gas/files/gas_file_check.h>
#include <gas/files/gas_file_checksum.h>
#include <gas/files/gas_file_memory.h>
#include <gas/files/gas_tree_files.h>

inline namespace gas_abi1 {

namespace {

using Type = GasFileSectionType;

GasFileResult refuse(const char* path, const char* flaw) {
    return {false, std::string(path) + ": " + flaw};
}

GasFileResult refuse(const char* path, int error) {
    return {false, std::string(path) + ": cannot be read: " + std::strerror(error)};
}

/// A file that is being read. Its arrays point into its memory.
class TreeFile {
  public:
    TreeFile(const char* path, const GasFileSettings& settings)
        : m_path(path), m_settings(settings), m_memory(path) {}

    /// The header alone.
    GasFileResult read_table();
    /// The same, and everything else.
    GasFileResult bring(GasFileMemory::Way way, GasFileKind kind);

    GasFileResult take(GasTree& tree, bool is_trusted);
    GasFileResult take(GasCompressedTree& tree, bool is_trusted);

    const GasFileTable& get_table() const { return m_table; }

  private:
    template <typename Word> Word* find(Type type, unsigned sample = 0) const {
        const GasFileSection* const section = m_table.find(type, sample);
        if (!section || section->size == 0)
            return nullptr;
        return reinterpret_cast<Word*>(m_memory.get_bytes() + section->offset);
    }
    template <typename Arrays, typename Sample>
    void find_arrays(Arrays& arrays, std::vector<Sample*>& samples) const;
    bool find_wide_nodes(GasTreeArrays& arrays) const;
    const char* check(GasTreeArrays& arrays, bool* are_ordered) const;
    const char* check(GasCompressedTreeArrays& arrays) const;
    unsigned get_thread_count() const;

    const char* m_path;
    const GasFileSettings& m_settings;
    GasFileMemory m_memory;
    GasFileTable m_table;
};

GasFileResult TreeFile::read_table() {
    if (m_memory.get_error())
        return refuse(m_path, m_memory.get_error());
    // The table is rarely longer; then it is read once more.
    std::vector<char> start(4096);
    std::size_t size = m_memory.read_start(start.data(), start.size());
    if (size >= sizeof(GasFileHeader)) {
        GasFileHeader header;
        std::memcpy(&header, start.data(), sizeof header);
        const std::uint64_t table_size = gas_align_in_file(
            sizeof header + std::uint64_t{header.section_count} * sizeof(GasFileSection));
        if (table_size > size && table_size <= m_memory.get_size()) {
            start.resize(table_size);
            size = m_memory.read_start(start.data(), start.size());
        }
    }
    if (m_memory.get_error())
        return refuse(m_path, m_memory.get_error());
    if (const char* const flaw = m_table.read(start.data(), size, m_memory.get_size()))
        return refuse(m_path, flaw);
    return {true, {}};
}

GasFileResult TreeFile::bring(GasFileMemory::Way way, GasFileKind kind) {
    if (GasFileResult result = read_table(); !result)
        return result;
    if (m_table.header.kind != kind)
        return refuse(m_path, kind == GasFileKind::plain ? "holds a compressed tree"
                                                         : "holds a tree that is not compressed");
    if (m_settings.boxes_hash && m_settings.boxes_hash != m_table.header.boxes_hash)
        return refuse(m_path, "holds a tree over other boxes");
    if (!m_memory.bring(way))
        return refuse(m_path, m_memory.get_error());
    return {true, {}};
}

unsigned TreeFile::get_thread_count() const {
    const unsigned count = m_settings.thread_count;
    return count ? count : std::thread::hardware_concurrency();
}

template <typename Arrays, typename Sample>
void TreeFile::find_arrays(Arrays& arrays, std::vector<Sample*>& samples) const {
    const GasFileHeader& header = m_table.header;
    arrays.nodes = find<std::remove_reference_t<decltype(*arrays.nodes)>>(Type::nodes);
    arrays.items = find<unsigned>(Type::items);
    arrays.leaf_count = header.leaf_count;
    arrays.depth = header.depth;
    for (unsigned sample = 0; sample < header.sample_count; ++sample)
        samples.push_back(find<Sample>(Type::sample, sample));
    arrays.samples = samples.data();
    arrays.sample_count = header.sample_count;
}

/// False: there are some of another width.
bool TreeFile::find_wide_nodes(GasTreeArrays& arrays) const {
    const GasFileHeader& header = m_table.header;
    if (header.wide_count == 0)
        return true;
    if (header.wide_width != GasWideNode::width)
        return false;
    arrays.wide_nodes = find<GasWideNode>(Type::wide_nodes);
    arrays.wide_count = header.wide_count;
    if (void* const records = find<char>(Type::wide_samples))
        arrays.wide_samples = GasWideSampleRecords(records, header.sample_count);
    return true;
}

const char* TreeFile::check(GasTreeArrays& arrays, bool* are_ordered) const {
    SysThreadTaskManager manager(nullptr);
    GasBuildTeam team(manager, get_thread_count());
    if (const char* const flaw = gas_check_sums(m_table, m_memory.get_bytes(), team))
        return flaw;
    if (const char* const flaw = gas_check_nodes(arrays, team))
        return flaw;
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        if (!arrays.samples[sample])
            continue;
        if (const char* const flaw = gas_check_sample(arrays, sample, are_ordered[sample], team))
            return flaw;
    }
    if (!arrays.wide_nodes)
        return nullptr;
    if (const char* const flaw = gas_check_wide_nodes(arrays, team))
        return flaw;
    return arrays.wide_samples.get_sample_count() ? gas_check_wide_samples(arrays, team) : nullptr;
}

GasFileResult TreeFile::take(GasTree& tree, bool is_trusted) {
    GasTreeArrays arrays;
    std::vector<GMathBbox3<float>*> samples;
    find_arrays(arrays, samples);
    const bool is_width_known = find_wide_nodes(arrays);
    const std::uint32_t flags = m_table.header.flags;
    arrays.are_boxes_ordered = (flags & GasFileHeader::are_boxes_ordered) != 0;
    arrays.are_wide_boxes_ordered = (flags & GasFileHeader::are_wide_boxes_ordered) != 0;
    const std::unique_ptr<bool[]> are_ordered(new bool[samples.size() + 1]());
    for (unsigned sample = 0; sample < samples.size(); ++sample) {
        const GasFileSection* const section = m_table.find(Type::sample, sample);
        are_ordered[sample] = (section->flags & GasFileSection::are_boxes_ordered) != 0;
    }
    arrays.are_samples_ordered = are_ordered.get();
    if (!is_trusted) {
        if (const char* const flaw = check(arrays, are_ordered.get()))
            return refuse(m_path, flaw);
    }
    arrays.wants_wide_nodes = !is_width_known;
    arrays.give_to(tree, m_memory.hand_over());
    if (is_width_known)
        return {true, {}};
    return {true, std::string(m_path) + ": wide nodes of " +
                      std::to_string(m_table.header.wide_width) + " boxes were made anew with " +
                      std::to_string(GasWideNode::width)};
}

const char* TreeFile::check(GasCompressedTreeArrays& arrays) const {
    SysThreadTaskManager manager(nullptr);
    GasBuildTeam team(manager, get_thread_count());
    if (const char* const flaw = gas_check_sums(m_table, m_memory.get_bytes(), team))
        return flaw;
    return gas_check_nodes(arrays, team);
}

GasFileResult TreeFile::take(GasCompressedTree& tree, bool is_trusted) {
    GasCompressedTreeArrays arrays;
    std::vector<unsigned char*> samples;
    find_arrays(arrays, samples);
    static_assert(sizeof arrays.bbox == sizeof m_table.header.bbox);
    std::memcpy(&arrays.bbox, m_table.header.bbox, sizeof arrays.bbox);
    arrays.sample_bboxes = find<GMathBbox3<float>>(Type::sample_boxes);
    arrays.are_boxes_ordered = (m_table.header.flags & GasFileHeader::are_boxes_ordered) != 0;
    if (!is_trusted) {
        if (const char* const flaw = check(arrays))
            return refuse(m_path, flaw);
    }
    arrays.give_to(tree, m_memory.hand_over());
    return {true, {}};
}

template <typename Tree>
GasFileResult take_file(const char* path, Tree& tree, const GasFileSettings& settings,
                        GasFileMemory::Way way, bool is_trusted) {
    constexpr GasFileKind kind =
        std::is_same_v<Tree, GasTree> ? GasFileKind::plain : GasFileKind::compressed;
    TreeFile file(path, settings);
    if (GasFileResult result = file.bring(way, kind); !result)
        return result;
    return file.take(tree, is_trusted);
}

} // namespace

GasFileResult gas_load_tree(const char* path, GasTree& tree, const GasFileSettings& settings) {
    return take_file(path, tree, settings, GasFileMemory::Way::read, false);
}

GasFileResult gas_load_tree(const char* path, GasCompressedTree& tree,
                            const GasFileSettings& settings) {
    return take_file(path, tree, settings, GasFileMemory::Way::read, false);
}

GasFileResult gas_map_tree(const char* path, GasTree& tree, const GasFileSettings& settings) {
    return take_file(path, tree, settings, GasFileMemory::Way::map, false);
}

GasFileResult gas_map_tree(const char* path, GasCompressedTree& tree,
                           const GasFileSettings& settings) {
    return take_file(path, tree, settings, GasFileMemory::Way::map, false);
}

GasFileResult gas_map_tree_trusted(const char* path, GasTree& tree,
                                   const GasFileSettings& settings) {
    return take_file(path, tree, settings, GasFileMemory::Way::map, true);
}

GasFileResult gas_map_tree_trusted(const char* path, GasCompressedTree& tree,
                                   const GasFileSettings& settings) {
    return take_file(path, tree, settings, GasFileMemory::Way::map, true);
}

GasFileResult gas_read_tree_info(const char* path, GasTreeFileInfo& info) {
    const GasFileSettings settings;
    TreeFile file(path, settings);
    if (GasFileResult result = file.read_table(); !result)
        return result;
    const GasFileHeader& header = file.get_table().header;
    info.is_compressed = header.kind == GasFileKind::compressed;
    info.leaf_count = header.leaf_count;
    info.node_count = static_cast<unsigned>(header.get_node_count());
    info.depth = header.depth;
    info.sample_count = header.sample_count;
    info.has_items = (header.flags & GasFileHeader::has_items) != 0;
    info.wide_width = header.wide_width;
    info.wide_count = header.wide_count;
    info.boxes_hash = header.boxes_hash;
    info.file_size = header.file_size;
    std::memcpy(&info.bbox, header.bbox, sizeof header.bbox);
    std::memcpy(info.notes.numbers, header.notes, sizeof header.notes);
    return {true, {}};
}

std::uint64_t gas_hash_boxes(const GMathBbox3<float>* bboxes, unsigned count) {
    std::uint64_t sum = GasFileChecksum::start;
    const char* bytes = reinterpret_cast<const char*>(bboxes);
    std::uint64_t left = std::uint64_t{count} * sizeof *bboxes;
    for (; left >= GasFileChecksum::block_size; left -= GasFileChecksum::block_size) {
        sum = GasFileChecksum::mix(sum,
                                   GasFileChecksum::sum_block(bytes, GasFileChecksum::block_size));
        bytes += GasFileChecksum::block_size;
    }
    // Zeros fill up the last row.
    std::vector<char> rest(bytes, bytes + left);
    rest.resize(gas_align_in_file(left));
    sum = GasFileChecksum::mix(sum, GasFileChecksum::sum_block(rest.data(), rest.size()));
    sum = GasFileChecksum::finish(GasFileChecksum::mix(sum, count));
    return sum ? sum : 1;
}

} // namespace gas_abi1
