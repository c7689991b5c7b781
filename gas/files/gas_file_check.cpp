// SPDX-License-Identifier: Apache-2.0
#include <gas/files/gas_file_check.h>

#include <atomic>

#include <gas/diagnostics/gas_node_check.h>
#include <gas/diagnostics/gas_wide_check.h>
#include <gas/files/gas_file_checksum.h>

inline namespace gas_abi1 {

namespace {

const char* get_words(GasNodeFlaw flaw) {
    switch (flaw) {
    case GasNodeFlaw::missing_item:
    case GasNodeFlaw::second_leaf:
        return "has a leaf that stands for no item, or for another's";
    case GasNodeFlaw::second_parent:
        return "has a node with two parents";
    case GasNodeFlaw::depth:
        return "says that its tree has another depth than it has";
    default:
        return "has a node that no tree has";
    }
}

/// The first flaw that any thread finds, in the words of a refusal.
class FirstFlaw {
  public:
    bool is_enough() const { return get() != nullptr; }
    void find(GasNodeFlaw flaw, unsigned, unsigned) {
        const char* none = nullptr;
        m_words.compare_exchange_strong(none, get_words(flaw), std::memory_order_relaxed);
    }
    const char* get() const { return m_words.load(std::memory_order_relaxed); }

  private:
    std::atomic<const char*> m_words{nullptr};
};

template <typename Reader, typename Arrays>
const char* check_nodes(const Arrays& arrays, GasBuildTeam& team, Reader& read) {
    FirstFlaw flaw;
    GasNodeCheck<Reader, FirstFlaw, GasBuildTeam> check(arrays, flaw, team);
    check.run();
    read = check.get_reader();
    if (!flaw.get() && !read.are_boxes_right())
        return "has a box that is not the union of those below it";
    return flaw.get();
}

template <typename Check> bool check_wide(Check check, unsigned count, GasBuildTeam& team) {
    std::atomic<bool> is_right = true;
    gas_check_wide(check, count, team, [&](GasWideFlaw, unsigned) {
        is_right.store(false, std::memory_order_relaxed);
        return false;
    });
    return is_right;
}

} // namespace

std::vector<const GasFileSection*> gas_find_wrong_sections(const GasFileTable& table,
                                                           const char* bytes, GasBuildTeam& team) {
    struct Block {
        const char* bytes;
        std::size_t size;
        std::uint64_t sum;
    };
    std::vector<Block> blocks;
    for (const GasFileSection& section : table.sections) {
        const std::uint64_t size = gas_align_in_file(section.size);
        for (std::uint64_t first = 0; first < size; first += GasFileChecksum::block_size) {
            // What is in memory has a size.
            const auto left = static_cast<std::size_t>(size - first);
            const std::size_t block = GasFileChecksum::block_size;
            blocks.push_back({bytes + section.offset + first, left < block ? left : block, 0});
        }
    }
    team.run(static_cast<unsigned>(blocks.size()), [&](unsigned i) {
        blocks[i].sum = GasFileChecksum::sum_block(blocks[i].bytes, blocks[i].size);
    });

    std::vector<const GasFileSection*> wrong;
    std::size_t next = 0;
    for (const GasFileSection& section : table.sections) {
        const std::uint64_t size = gas_align_in_file(section.size);
        std::uint64_t sum = GasFileChecksum::start;
        for (std::uint64_t first = 0; first < size; first += GasFileChecksum::block_size)
            sum = GasFileChecksum::mix(sum, blocks[next++].sum);
        if (GasFileChecksum::finish(sum) != section.checksum)
            wrong.push_back(&section);
    }
    return wrong;
}

const char* gas_check_sums(const GasFileTable& table, const char* bytes, GasBuildTeam& team) {
    return gas_find_wrong_sections(table, bytes, team).empty()
               ? nullptr
               : "has a section that does not match its checksum";
}

const char* gas_check_nodes(GasTreeArrays& arrays, GasBuildTeam& team) {
    GasPlainNodeReader read(arrays);
    const char* const flaw = check_nodes(arrays, team, read);
    arrays.are_boxes_ordered = read.have_centers();
    arrays.are_wide_boxes_ordered = read.are_ordered();
    return flaw;
}

const char* gas_check_nodes(GasCompressedTreeArrays& arrays, GasBuildTeam& team) {
    GasCompressedNodeReader read(arrays);
    return check_nodes(arrays, team, read);
}

const char* gas_check_sample(const GasTreeArrays& arrays, unsigned sample, bool& is_ordered,
                             GasBuildTeam& team) {
    const GMathBbox3<float>* const boxes = arrays.samples[sample];
    std::atomic<bool> are_ordered = true;
    std::atomic<bool> are_unions = true;
    constexpr std::uint64_t run = 1 << 14;
    gas_for_each_run(team, arrays.get_node_count(), run, [&](std::uint64_t i, std::uint64_t end) {
        GasNodeBoxFacts facts;
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

const char* gas_check_wide_nodes(const GasTreeArrays& arrays, GasBuildTeam& team) {
    return check_wide(GasWideCheck(arrays), arrays.wide_count, team)
               ? nullptr
               : "has wide nodes that are not those of its tree";
}

const char* gas_check_wide_samples(const GasTreeArrays& arrays, GasBuildTeam& team) {
    return check_wide(GasWideSampleCheck(arrays), arrays.wide_count, team)
               ? nullptr
               : "has wide nodes whose samples are not those of its tree";
}

} // namespace gas_abi1
