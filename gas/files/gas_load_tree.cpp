// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gas/files/gas_file_check.h>
#include <gas/files/gas_file_checksum.h>
#include <gas/files/gas_tree_file.h>
#include <gas/files/gas_tree_files.h>

inline namespace gas_abi1 {

namespace {

const char* check(const GasTreeFile& file, GasTreeArrays& arrays, bool* are_ordered) {
    SysThreadTaskManager manager(nullptr);
    GasBuildTeam team(manager, file.get_thread_count());
    if (const char* const flaw = gas_check_sums(file.get_table(), file.get_bytes(), team))
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

GasFileResult take(GasTreeFile& file, GasTree& tree, bool is_trusted) {
    GasTreeArrays arrays;
    std::vector<GMathBbox3<float>*> samples;
    file.find_arrays(arrays, samples);
    const std::unique_ptr<bool[]> are_ordered(new bool[samples.size() + 1]());
    for (unsigned sample = 0; sample < samples.size(); ++sample)
        are_ordered[sample] = file.is_sample_ordered(sample);
    arrays.are_samples_ordered = are_ordered.get();
    if (!is_trusted) {
        if (const char* const flaw = check(file, arrays, are_ordered.get()))
            return file.refuse(flaw);
    }
    arrays.wants_wide_nodes = !file.is_width_known();
    arrays.give_to(tree, file.hand_over());
    if (file.is_width_known())
        return {true, {}};
    return {true, std::string(file.get_path()) + ": wide nodes of " +
                      std::to_string(file.get_table().header.wide_width) +
                      " boxes were made anew with " + std::to_string(GasWideNode::width)};
}

const char* check(const GasTreeFile& file, GasCompressedTreeArrays& arrays) {
    SysThreadTaskManager manager(nullptr);
    GasBuildTeam team(manager, file.get_thread_count());
    if (const char* const flaw = gas_check_sums(file.get_table(), file.get_bytes(), team))
        return flaw;
    return gas_check_nodes(arrays, team);
}

GasFileResult take(GasTreeFile& file, GasCompressedTree& tree, bool is_trusted) {
    GasCompressedTreeArrays arrays;
    std::vector<unsigned char*> samples;
    file.find_arrays(arrays, samples);
    if (!is_trusted) {
        if (const char* const flaw = check(file, arrays))
            return file.refuse(flaw);
    }
    arrays.give_to(tree, file.hand_over());
    return {true, {}};
}

template <typename Tree>
GasFileResult take_file(const char* path, Tree& tree, const GasFileSettings& settings,
                        GasFileMemory::Way way, bool is_trusted) {
    constexpr GasFileKind kind =
        std::is_same_v<Tree, GasTree> ? GasFileKind::plain : GasFileKind::compressed;
    GasTreeFile file(path, settings);
    if (GasFileResult result = file.bring(way, &kind); !result)
        return result;
    return take(file, tree, is_trusted);
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
    GasTreeFile file(path, settings);
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
    std::size_t left = std::size_t{count} * sizeof *bboxes;
    for (; left >= GasFileChecksum::block_size; left -= GasFileChecksum::block_size) {
        sum = GasFileChecksum::mix(sum,
                                   GasFileChecksum::sum_block(bytes, GasFileChecksum::block_size));
        bytes += GasFileChecksum::block_size;
    }
    // Zeros fill up the last row.
    std::vector<char> rest(bytes, bytes + left);
    rest.resize(static_cast<std::size_t>(gas_align_in_file(left)));
    sum = GasFileChecksum::mix(sum, GasFileChecksum::sum_block(rest.data(), rest.size()));
    sum = GasFileChecksum::finish(GasFileChecksum::mix(sum, count));
    return sum ? sum : 1;
}

} // namespace gas_abi1
