// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include <gas/compressed/gas_compressed_tree_arrays.h>
#include <gas/files/gas_file_writer.h>
#include <gas/files/gas_tree_files.h>
#include <gas/tree/gas_tree_arrays.h>

inline namespace gas_abi1 {

namespace {

template <typename Arrays>
void describe(const Arrays& arrays, GasFileKind kind, std::uint64_t boxes_hash,
              const GasFileNotes& notes, const GMathBbox3<float>& bbox, GasFileHeader& header) {
    std::memcpy(header.magic, GasFileHeader::right_magic, sizeof header.magic);
    header.byte_order = GasFileHeader::right_byte_order;
    header.version = GasFileHeader::right_version;
    header.kind = kind;
    header.leaf_count = arrays.leaf_count;
    header.depth = arrays.depth;
    header.sample_count = arrays.sample_count;
    header.node_size = sizeof *arrays.nodes;
    header.flags = arrays.items ? GasFileHeader::has_items : 0;
    header.boxes_hash = boxes_hash;
    if (arrays.are_boxes_ordered)
        header.flags |= GasFileHeader::are_boxes_ordered;
    static_assert(sizeof notes.numbers == sizeof header.notes);
    std::memcpy(header.notes, notes.numbers, sizeof header.notes);
    static_assert(sizeof bbox == sizeof header.bbox);
    std::memcpy(header.bbox, &bbox, sizeof bbox);
}

template <typename Arrays> std::vector<std::uint32_t> list_filled_samples(const Arrays& arrays) {
    std::vector<std::uint32_t> flags(arrays.sample_count);
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample)
        flags[sample] = arrays.samples[sample] ? GasFileSection::is_filled : 0;
    return flags;
}

/// What both kinds have: nodes, the index array, samples. `slack` zeros follow each sample.
template <typename Arrays>
void write_arrays(GasFileWriter& writer, const Arrays& arrays, std::size_t sample_box_size,
                  std::size_t slack) {
    writer.append(arrays.nodes, arrays.get_node_count() * sizeof *arrays.nodes);
    writer.end_section();
    if (arrays.items) {
        writer.append(arrays.items, std::size_t{arrays.leaf_count} * sizeof *arrays.items);
        writer.end_section();
    }
    constexpr char zeros[16] = {};
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        if (arrays.samples[sample]) {
            writer.append(arrays.samples[sample], arrays.get_node_count() * sample_box_size);
            writer.append(zeros, slack);
        }
        writer.end_section();
    }
}

/// The records of the wide nodes' boxes in samples, with zeros where none are.
void write_wide_samples(GasFileWriter& writer, const GasTreeArrays& arrays) {
    const GasWideSampleRecords& records = arrays.wide_samples;
    std::vector<char> record(GasWideSampleRecords::get_record_size(arrays.sample_count));
    const GasWideSampleRecords written(record.data(), arrays.sample_count);
    for (unsigned node = 0; node < arrays.wide_count; ++node) {
        const auto& references = arrays.wide_nodes[node].references;
        for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
            if (!arrays.samples[sample])
                continue;
            std::memcpy(written.get_half_planes(0, sample), records.get_half_planes(node, sample),
                        GasWideSampleRecords::half_planes_size);
            std::memcpy(written.get_planes(0, sample), records.get_planes(node, sample),
                        GasWideSampleRecords::planes_size);
        }
        std::memcpy(written.get_references(0), references, sizeof references);
        writer.append(record.data(), record.size());
    }
    writer.end_section();
}

GasFileResult end(GasFileWriter& writer, const char* path) {
    writer.finish();
    if (const int error = writer.get_error())
        return {false, std::string(path) + ": cannot be written: " + std::strerror(error)};
    return {true, {}};
}

/// Null where the tree can be saved.
const char* find_obstacle(bool is_empty) {
    // Arrays are written as they are.
    if (std::endian::native != std::endian::little)
        return ": is not written on a machine with another byte order";
    return is_empty ? ": an empty tree is not saved" : nullptr;
}

GasFileResult refuse_tree(const char* path, const char* obstacle) {
    return {false, std::string(path) + obstacle};
}

} // namespace

GasFileResult gas_save_tree(const GasTree& tree, const char* path, std::uint64_t boxes_hash,
                            const GasFileNotes& notes) {
    if (const char* const obstacle = find_obstacle(tree.is_empty()))
        return refuse_tree(path, obstacle);
    const GasTreeArrays arrays = GasTreeArrays::of(tree);
    GasFileTable table;
    GasFileHeader& header = table.header;
    describe(arrays, GasFileKind::plain, boxes_hash, notes, tree.get_bbox(), header);
    if (arrays.wide_nodes) {
        header.wide_width = GasWideNode::width;
        header.wide_count = arrays.wide_count;
    }
    if (arrays.are_wide_boxes_ordered)
        header.flags |= GasFileHeader::are_wide_boxes_ordered;
    std::vector<std::uint32_t> sample_flags = list_filled_samples(arrays);
    for (unsigned sample = 0; sample < arrays.sample_count; ++sample) {
        if (GasTreeArrays::is_sample_walked(tree, sample))
            sample_flags[sample] |= GasFileSection::are_boxes_ordered;
    }
    table.lay_out(sample_flags);

    GasFileWriter writer(path, table);
    write_arrays(writer, arrays, sizeof(GMathBbox3<float>), sizeof(float));
    if (arrays.wide_nodes) {
        writer.append(arrays.wide_nodes, std::size_t{arrays.wide_count} * sizeof(GasWideNode));
        writer.end_section();
    }
    if (arrays.wide_nodes && table.find(GasFileSectionType::wide_samples))
        write_wide_samples(writer, arrays);
    return end(writer, path);
}

GasFileResult gas_save_tree(const GasCompressedTree& tree, const char* path,
                            std::uint64_t boxes_hash, const GasFileNotes& notes) {
    if (const char* const obstacle = find_obstacle(tree.is_empty()))
        return refuse_tree(path, obstacle);
    const GasCompressedTreeArrays arrays = GasCompressedTreeArrays::of(tree);
    GasFileTable table;
    describe(arrays, GasFileKind::compressed, boxes_hash, notes, arrays.bbox, table.header);
    table.lay_out(list_filled_samples(arrays));

    GasFileWriter writer(path, table);
    write_arrays(writer, arrays, sizeof(GasQuantizedPair), 9);
    if (arrays.sample_count > 0) {
        writer.append(arrays.sample_bboxes, arrays.sample_count * sizeof(GMathBbox3<float>));
        writer.end_section();
    }
    return end(writer, path);
}

} // namespace gas_abi1
