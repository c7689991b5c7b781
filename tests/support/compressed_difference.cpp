// SPDX-License-Identifier: Apache-2.0
#include <tests/support/compressed_difference.h>

#include <cstring>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/at_node.h>
#include <tests/support/box_conversion.h>
#include <tests/support/tree_checker.h>

namespace support {

namespace {

std::string in_sample(unsigned sample, const char* what) {
    return "sample " + std::to_string(sample) + ": " + what;
}

bool is_same_box(const GMathBbox3<float>& box, const naive::Box& expected) {
    return has_same_bits(from_corners(box.min, box.max), expected);
}

std::string find_sample_difference(const GasCompressedTree& tree,
                                   const naive::CompressedTree& expected, unsigned sample) {
    const naive::CompressedSample& expected_sample = expected.samples[sample];
    const unsigned char* records = tree.get_motion_blur_records(sample);
    if ((records == nullptr) != expected_sample.bytes.empty())
        return in_sample(sample, "filled or not");
    if (!records)
        return {};
    if (!is_same_box(tree.get_blurred_bbox(sample), expected_sample.root_box))
        return in_sample(sample, "the root's box");
    const std::size_t size = expected_sample.bytes.size();
    if (std::memcmp(records, expected_sample.bytes.data(), size) != 0)
        return in_sample(sample, "records");
    return {};
}

/// A ray against the axes whose bits are set.
GMathBasicRay ray_against(unsigned axes) {
    const auto component = [axes](unsigned axis) { return axes >> axis & 1 ? -1.0 : 1.0; };
    return {{0.0, 0.0, 0.0}, {component(0), component(1), component(2)}};
}

bool has_expected_box(const GasCompressedTree& tree, GasTreeCtx& frame, unsigned slot,
                      const naive::Box& expected) {
    GasBbox box;
    tree.get_node_bbox(frame, slot, box);
    SimdF min;
    SimdF max;
    tree.get_blurred_node_bbox(frame, slot, 1, min, max);
    GasBbox blurred;
    min.store(blurred.min);
    max.store(blurred.max);
    GasBbox wanted = {{0.0f, 0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f, 0.0f}};
    std::memcpy(wanted.min, expected.min, sizeof expected.min);
    std::memcpy(wanted.max, expected.max, sizeof expected.max);
    return std::memcmp(&box, &wanted, sizeof box) == 0 &&
           std::memcmp(&blurred, &wanted, sizeof blurred) == 0;
}

/// What a slot is to hold.
struct Expected {
    unsigned slot;
    naive::Reference reference;
};

/// The numbers that slots are to have: new ones ascending, but those freed last first.
struct SlotNumbers {
    unsigned unused = 1;
    std::vector<unsigned> freed = {};

    unsigned take() {
        if (freed.empty())
            return unused++;
        const unsigned slot = freed.back();
        freed.pop_back();
        return slot;
    }
};

} // namespace

std::string find_difference(const GasCompressedTree& tree, const naive::CompressedTree& expected) {
    if (tree.get_leaf_count() != expected.leaf_count)
        return "leaf count " + std::to_string(tree.get_leaf_count());
    if (tree.get_node_count() != expected.node_count ||
        tree.get_node_count() != expected.nodes.size())
        return "node count " + std::to_string(tree.get_node_count());
    if (tree.get_depth() != expected.depth)
        return "depth " + std::to_string(tree.get_depth());
    if (tree.get_motion_blur_sample_count() != expected.samples.size())
        return "sample count " + std::to_string(tree.get_motion_blur_sample_count());
    if (tree.get_root_index() != (expected.nodes.empty() ? GasCompressedTree::no_root : 0u))
        return "root index " + std::to_string(tree.get_root_index());
    if (!expected.nodes.empty() && !is_same_box(tree.get_bbox(), expected.root_box))
        return "the root's box";

    for (unsigned i = 0; i < expected.nodes.size(); ++i) {
        static_assert(sizeof(naive::Record) == sizeof(GasCompressedNode));
        if (std::memcmp(&tree.get_nodes()[i], &expected.nodes[i], sizeof(naive::Record)) != 0)
            return at_node(i, "record");
    }
    for (unsigned sample = 0; sample < expected.samples.size(); ++sample) {
        const std::string difference = find_sample_difference(tree, expected, sample);
        if (!difference.empty())
            return difference;
    }
    return {};
}

std::string find_slot_difference(const GasCompressedTree& tree,
                                 const naive::CompressedTree& expected) {
    const std::vector<naive::Box> boxes = naive::decoded_boxes(expected);
    const GMathBasicRay rays[2] = {ray_against(2), ray_against(5)};
    GasTreeCtx frame;
    frame.reserve_stack(2 * std::size_t{tree.get_depth()});
    tree.init_traversal(frame);
    SlotNumbers numbers;
    std::vector<Expected> waiting = {{0, {false, 0}}};
    while (!waiting.empty()) {
        const Expected current = waiting.back();
        waiting.pop_back();
        const unsigned slot = current.slot;
        const unsigned index = current.reference.index;
        const bool leaf = current.reference.leaf;
        if (!has_expected_box(tree, frame, slot, boxes[leaf ? expected.node_count + index : index]))
            return at_node(index, leaf ? "decoded box of that leaf" : "decoded box");
        if (tree.is_node_a_leaf(frame, slot) != leaf)
            return at_node(index, "leaf or not");
        if (tree.get_leaf_value(frame, slot) != index)
            return at_node(index, "reference");
        if (!leaf) {
            const naive::Record& record = expected.nodes[index];
            const unsigned code = naive::order_code(record);
            for (unsigned i = 0; i < 2; ++i) {
                const unsigned is_against = (i == 0 ? 2u : 5u) >> (code & 3) & 1u;
                if (tree.get_node_traversal_order(frame, slot, rays[i]) != (is_against ^ code >> 2))
                    return at_node(index, "traversal order");
            }
            unsigned first;
            unsigned second;
            tree.get_node_children(frame, slot, first, second);
            const unsigned expected_first = numbers.take();
            if (first != expected_first || second != numbers.take())
                return at_node(index, "slots of its children");
            waiting.push_back({second, naive::second_child(record)});
            waiting.push_back({first, naive::first_child(record)});
        }
        tree.free_node(frame, slot);
        numbers.freed.push_back(slot);
    }
    return {};
}

} // namespace support
