// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_check.h>

#include <gas/files/gas_file_checksum.h>
#include <gas/files/gas_node_check.h>

inline namespace gas_abi1 {

const char* gas_check_sums(const GasFileTable& table, const char* bytes, GasBuildTeam& team) {
    struct Block {
        const char* bytes;
        std::size_t size;
        std::uint64_t sum;
    };
    std::vector<Block> blocks;
    for (const GasFileSection& section : table.sections) {
        const std::uint64_t size = gas_align_in_file(section.size);
        for (std::uint64_t first = 0; first < size; first += GasFileChecksum::block_size) {
            const std::uint64_t left = size - first;
            const std::uint64_t block = GasFileChecksum::block_size;
            blocks.push_back({bytes + section.offset + first, left < block ? left : block, 0});
        }
    }
    team.run(static_cast<unsigned>(blocks.size()), [&](unsigned i) {
        blocks[i].sum = GasFileChecksum::sum_block(blocks[i].bytes, blocks[i].size);
    });

    std::size_t next = 0;
    for (const GasFileSection& section : table.sections) {
        const std::uint64_t size = gas_align_in_file(section.size);
        std::uint64_t sum = GasFileChecksum::start;
        for (std::uint64_t first = 0; first < size; first += GasFileChecksum::block_size)
            sum = GasFileChecksum::mix(sum, blocks[next++].sum);
        if (GasFileChecksum::finish(sum) != section.checksum)
            return "has a section that does not match its checksum";
    }
    return nullptr;
}

const char* gas_check_nodes(GasTreeArrays& arrays, GasBuildTeam& team) {
    GasNodeCheck<GasPlainNodeReader> check(arrays, team);
    const char* const flaw = check.run();
    arrays.are_boxes_ordered = check.get_reader().have_centers();
    arrays.are_wide_boxes_ordered = check.get_reader().are_ordered();
    return flaw;
}

const char* gas_check_nodes(GasCompressedTreeArrays& arrays, GasBuildTeam& team) {
    return GasNodeCheck<GasCompressedNodeReader>(arrays, team).run();
}

const char* gas_check_sample(const GasTreeArrays& arrays, unsigned sample, bool& is_ordered,
                             GasBuildTeam& team) {
    const GMathBbox3<float>* const boxes = arrays.samples[sample];
    std::atomic<bool> are_ordered = true;
    std::atomic<bool> are_unions = true;
    constexpr std::uint64_t run = 1 << 14;
    gas_for_each_run(team, arrays.get_node_count(), run, [&](std::uint64_t i, std::uint64_t end) {
        GasFileBoxFacts facts;
        for (; i < end; ++i) {
            const GasTreeNode& node = arrays.nodes[i];
            const GasLaneBox box = GasLaneBox::load(boxes[i]);
            if (node.flags & GasTreeNode::leaf_flag)
                facts.add_leaf(box);
            else
                facts.add_inner(box, GasLaneBox::load(boxes[node.index]),
                                GasLaneBox::load(boxes[node.index + 1]));
        }
        if (!facts.are_ordered())
            are_ordered.store(false, std::memory_order_relaxed);
        if (!facts.are_unions())
            are_unions.store(false, std::memory_order_relaxed);
    });
    is_ordered = are_ordered;
    return are_ordered && !are_unions ? "has a box that is not the union of those below it"
                                      : nullptr;
}

} // namespace gas_abi1
