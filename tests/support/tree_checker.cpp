// SPDX-License-Identifier: Apache-2.0
#include <tests/support/tree_checker.h>

#include <algorithm>
#include <cstring>

#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/at_node.h>
#include <tests/support/box_conversion.h>

namespace support {

namespace {

naive::Box get_box(const GasTree::Node& node) { return from_corners(node.bbox_min, node.bbox_max); }

bool is_leaf(const GasTree::Node& node) { return (node.flags & 1) != 0; }

/// A node's parent and level, seen on the way down.
struct Seen {
    unsigned parents = 0;
    unsigned level = 1;
};

std::string find_inner_flaw(const GasTree& tree, unsigned node, std::vector<Seen>& seen) {
    const GasTree::Node& record = tree.get_nodes()[node];
    const unsigned first = record.index;
    if (first <= node || first >= tree.get_node_count() - 1)
        return at_node(node, "children outside the nodes behind it");
    for (const unsigned child : {first, first + 1}) {
        ++seen[child].parents;
        seen[child].level = seen[node].level + 1;
    }
    const naive::Box first_box = get_box(tree.get_nodes()[first]);
    const naive::Box second_box = get_box(tree.get_nodes()[first + 1]);
    if (!has_same_bits(get_box(record), naive::unite(first_box, second_box)))
        return at_node(node, "box is not the union of its children");
    const unsigned code = get_order_code(record);
    if (code != naive::traversal_code(code, first_box, second_box))
        return at_node(node, "order code");
    return {};
}

std::string find_leaf_flaw(const GasTree& tree, unsigned node, const std::vector<naive::Box>& boxes,
                           std::vector<unsigned>& leaves) {
    const GasTree::Node& record = tree.get_nodes()[node];
    if (record.index >= boxes.size())
        return at_node(node, "item outside the boxes");
    if (++leaves[record.index] > 1)
        return at_node(node, "item in a second leaf");
    if (!has_same_bits(get_box(record), boxes[record.index]))
        return at_node(node, "box is not its item's");
    return {};
}

std::string find_sample_difference(const GasTree& tree, const naive::Tree& expected,
                                   unsigned sample) {
    const std::vector<naive::Box>& boxes = expected.samples[sample];
    if (GasTraversalAccess::has_sample(tree, sample) == boxes.empty())
        return "sample " + std::to_string(sample) + ": filled or not";
    for (unsigned node = 0; node < boxes.size(); ++node) {
        if (!has_same_bits(get_sample_box(tree, node, sample), boxes[node]))
            return at_node(node, "box of sample ") + std::to_string(sample);
    }
    return {};
}

void report_item(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                 GeometryRaytraceCtx&) {
    static_cast<std::vector<unsigned>*>(user)->push_back(item);
}

} // namespace

bool has_same_bits(const naive::Box& first, const naive::Box& second) {
    static_assert(sizeof(naive::Box) == 6 * sizeof(float), "no padding among the bytes");
    return std::memcmp(&first, &second, sizeof first) == 0;
}

std::string find_flaw(const GasTree& tree, const std::vector<naive::Box>& boxes) {
    if (tree.get_leaf_count() != boxes.size())
        return "leaf count " + std::to_string(tree.get_leaf_count());
    if (boxes.empty())
        return tree.is_empty() && tree.get_node_count() == 0 ? "" : "nodes without items";
    if (tree.get_node_count() != 2 * tree.get_leaf_count() - 1)
        return "node count " + std::to_string(tree.get_node_count());

    std::vector<Seen> seen(tree.get_node_count());
    std::vector<unsigned> leaves(boxes.size());
    unsigned depth = 0;
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        if (seen[node].parents != (node == 0 ? 0u : 1u))
            return at_node(node, "number of parents");
        depth = std::max(depth, seen[node].level);
        const std::string flaw = is_leaf(tree.get_nodes()[node])
                                     ? find_leaf_flaw(tree, node, boxes, leaves)
                                     : find_inner_flaw(tree, node, seen);
        if (!flaw.empty())
            return flaw;
    }
    if (depth != tree.get_depth())
        return "depth " + std::to_string(tree.get_depth()) + " of " + std::to_string(depth);
    return {};
}

std::string find_sample_flaw(const GasTree& tree, const std::vector<naive::Box>& boxes,
                             unsigned sample) {
    if (!GasTraversalAccess::has_sample(tree, sample))
        return "never filled";
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        const GasTree::Node& record = tree.get_nodes()[node];
        const naive::Box expected =
            is_leaf(record) ? boxes[record.index]
                            : naive::unite(get_sample_box(tree, record.index, sample),
                                           get_sample_box(tree, record.index + 1, sample));
        if (!has_same_bits(get_sample_box(tree, node, sample), expected))
            return at_node(node, "box of sample ") + std::to_string(sample);
    }
    return {};
}

std::string find_difference(const GasTree& tree, const naive::Tree& expected) {
    if (tree.get_leaf_count() != expected.leaf_count)
        return "leaf count " + std::to_string(tree.get_leaf_count());
    if (tree.get_node_count() != expected.nodes.size())
        return "node count " + std::to_string(tree.get_node_count());
    if (tree.get_depth() != expected.depth)
        return "depth " + std::to_string(tree.get_depth());
    if (tree.get_motion_blur_sample_count() != expected.samples.size())
        return "sample count " + std::to_string(tree.get_motion_blur_sample_count());

    for (unsigned i = 0; i < expected.nodes.size(); ++i) {
        const GasTree::Node& node = tree.get_nodes()[i];
        const naive::Node& expected_node = expected.nodes[i];
        if (is_leaf(node) != expected_node.leaf)
            return at_node(i, "leaf flag");
        if (node.index != expected_node.index)
            return at_node(i, "index");
        if (get_order_code(node) != expected_node.order_code)
            return at_node(i, "order code");
        if (!has_same_bits(get_box(node), expected_node.box))
            return at_node(i, "box");
    }
    for (unsigned sample = 0; sample < expected.samples.size(); ++sample) {
        const std::string difference = find_sample_difference(tree, expected, sample);
        if (!difference.empty())
            return difference;
    }
    return {};
}

naive::Box get_sample_box(const GasTree& tree, unsigned node, unsigned sample) {
    GasTreeCtx frame;
    GasBbox box;
    GasTraversalAccess::get_blurred_node_bbox(tree, frame, node, sample, box);
    return {{box.min[0], box.min[1], box.min[2]}, {box.max[0], box.max[1], box.max[2]}};
}

std::vector<unsigned> get_reported_items(GasTree& tree) {
    std::vector<unsigned> items;
    tree.set_leaf_raytrace_callbacks(report_item, report_item, &items);
    const CtxEval eval;
    CtxShader shader;
    GeometryRaytraceData rays;
    for (unsigned leaf = 0; leaf < tree.get_leaf_count(); ++leaf)
        GasTraversalAccess::leaf_ray_hit_static(tree, leaf, eval, shader, rays.get_ctx());
    return items;
}

std::vector<unsigned char> get_bytes(const GasTree& tree) {
    const unsigned char* first = reinterpret_cast<const unsigned char*>(tree.get_nodes());
    return {first, first + tree.get_node_count() * sizeof(GasTree::Node)};
}

std::vector<unsigned char> get_sample_bytes(const GasTree& tree, unsigned sample) {
    std::vector<unsigned char> bytes(tree.get_node_count() * sizeof(naive::Box));
    for (unsigned node = 0; node < tree.get_node_count(); ++node) {
        const naive::Box box = get_sample_box(tree, node, sample);
        std::memcpy(&bytes[node * sizeof box], &box, sizeof box);
    }
    return bytes;
}

} // namespace support
