// SPDX-License-Identifier: Apache-2.0
#include <tests/support/compressed_checker.h>

#include <algorithm>
#include <cstring>

#include <gas/compressed/gas_box_codec.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>

#include <tests/support/box_conversion.h>
#include <tests/support/tree_checker.h>

namespace support {

namespace {

using naive::Box;

Box to_box(const SimdF& min, const SimdF& max) {
    return {{min.get(0), min.get(1), min.get(2)}, {max.get(0), max.get(1), max.get(2)}};
}

Box to_box(const GMathBbox3<float>& box) { return from_corners(box.min, box.max); }

SimdF to_lanes(const float (&corner)[3]) { return {corner[0], corner[1], corner[2], 0.0f}; }

/// Decodes `records`, which are `stride` bytes apart, from the root's box down.
CompressedBoxes decode(const GasCompressedTree& tree, const std::vector<Box>& boxes,
                       const Box& root, const unsigned char* records, std::size_t stride) {
    const unsigned count = tree.get_node_count();
    CompressedBoxes result = {std::vector<Box>(count), std::vector<Box>(count),
                              std::vector<Box>(tree.get_leaf_count())};
    for (unsigned i = count; i-- > 0;) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        const auto get = [&](unsigned child) {
            return (is_leaf(node, child) ? boxes : result.exact_nodes)[node.children[child]];
        };
        result.exact_nodes[i] = naive::unite(get(0), get(1));
    }
    result.decoded_nodes[0] = root;
    for (unsigned i = 0; i < count; ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        GasBoxPair pair;
        gas_decode_box_pair(records + i * stride, to_lanes(result.decoded_nodes[i].min),
                            to_lanes(result.decoded_nodes[i].max), pair);
        const auto put = [&](unsigned child, const SimdF& min, const SimdF& max) {
            (is_leaf(node, child) ? result.decoded_leaves
                                  : result.decoded_nodes)[node.children[child]] = to_box(min, max);
        };
        put(0, pair.first.min, pair.first.max);
        put(1, pair.second.min, pair.second.max);
    }
    return result;
}

/// Whether `outer` contains `inner`, up to `slack` of the tree's extents.
bool contains(const Box& outer, const Box& inner, const Box& root, double slack) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double extent =
            static_cast<double>(root.max[axis]) - static_cast<double>(root.min[axis]);
        const double room = slack > 0.0 && extent > 200.0 ? slack * extent : 0.0;
        if (static_cast<double>(outer.min[axis]) > static_cast<double>(inner.min[axis]) + room ||
            static_cast<double>(outer.max[axis]) < static_cast<double>(inner.max[axis]) - room)
            return false;
    }
    return true;
}

std::string find_box_flaw(const GasCompressedTree& tree, const std::vector<Box>& boxes,
                          const CompressedBoxes& found) {
    constexpr double slack = 3e-7; // for extents of more than 200
    const Box& root = found.decoded_nodes[0];
    if (!has_same_bits(root, found.exact_nodes[0]))
        return "the root's box is not the union";
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        for (unsigned child = 0; child < 2; ++child) {
            const unsigned index = node.children[child];
            const bool leaf = is_leaf(node, child);
            const Box& decoded = (leaf ? found.decoded_leaves : found.decoded_nodes)[index];
            const Box& exact = (leaf ? boxes : found.exact_nodes)[index];
            const std::string place =
                "node " + std::to_string(i) + " child " + std::to_string(child);
            if (!contains(decoded, exact, root, slack))
                return place + ": its decoded box does not contain it";
            if (!contains(found.decoded_nodes[i], decoded, root, 0.0))
                return place + ": its decoded box leaves the parent";
        }
    }
    return "";
}

std::string find_single_leaf_flaw(const GasCompressedTree& tree, const std::vector<Box>& boxes) {
    const unsigned char expected[16] = {0xFF, 0xFF, 0xFF, 0, 0xFF, 0xFF, 0xFF, 3};
    if (tree.get_node_count() != 1 || tree.get_depth() != 1)
        return "a lone leaf has one node and depth 1";
    if (std::memcmp(tree.get_nodes(), expected, sizeof expected) != 0)
        return "the record of a lone leaf";
    return has_same_bits(to_box(tree.get_bbox()), boxes[0]) ? "" : "the box of a lone leaf";
}

/// Nodes are numbered in pairs on the way down, first subtrees first.
std::string find_topology_flaw(const GasCompressedTree& tree) {
    struct Waiting {
        unsigned node;
        unsigned depth;
    };
    std::vector<Waiting> waiting = {{0, 1}};
    std::vector<unsigned> reached(tree.get_leaf_count(), 0);
    unsigned next_node = 1;
    unsigned depth = 0;
    while (!waiting.empty()) {
        const Waiting current = waiting.back();
        waiting.pop_back();
        const GasCompressedNode& node = tree.get_nodes()[current.node];
        depth = std::max(depth, current.depth + 1);
        if (node.flags >> 5 != 0 || node.boxes.owners >> 6 != 0)
            return "node " + std::to_string(current.node) + ": unused bits are set";
        for (unsigned child = 0; child < 2; ++child) {
            const unsigned index = node.children[child];
            if (!is_leaf(node, child) && index != next_node++)
                return "node " + std::to_string(current.node) + ": the number of its child";
            if (is_leaf(node, child) && (index >= reached.size() || reached[index]++ != 0))
                return "node " + std::to_string(current.node) + ": the item of its leaf";
        }
        for (const unsigned child : {1u, 0u})
            if (!is_leaf(node, child))
                waiting.push_back({node.children[child], current.depth + 1});
    }
    if (next_node != tree.get_node_count())
        return "nodes that nobody refers to";
    return depth == tree.get_depth() ? "" : "the depth";
}

} // namespace

CompressedBoxes get_boxes(const GasCompressedTree& tree, const std::vector<Box>& boxes) {
    return decode(tree, boxes, to_box(tree.get_bbox()), tree.get_nodes()->get_bytes(),
                  sizeof(GasCompressedNode));
}

CompressedBoxes get_sample_boxes(const GasCompressedTree& tree, const std::vector<Box>& boxes,
                                 unsigned sample) {
    return decode(tree, boxes, to_box(tree.get_blurred_bbox(sample)),
                  tree.get_motion_blur_records(sample), sizeof(GasQuantizedPair));
}

std::string find_flaw(const GasCompressedTree& tree, const std::vector<Box>& boxes) {
    if (tree.get_leaf_count() != boxes.size())
        return "the leaf count";
    if (tree.get_root_index() != 0)
        return "the root's number";
    if (boxes.size() == 1)
        return find_single_leaf_flaw(tree, boxes);
    if (tree.get_node_count() != boxes.size() - 1)
        return "the node count";
    if (const std::string flaw = find_topology_flaw(tree); !flaw.empty())
        return flaw;

    const CompressedBoxes found = get_boxes(tree, boxes);
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        const auto get = [&](unsigned child) -> const Box& {
            return (is_leaf(node, child) ? boxes : found.exact_nodes)[node.children[child]];
        };
        if (get_order_code(node) != naive::traversal_code(0, get(0), get(1)))
            return "node " + std::to_string(i) + ": the order code";
    }
    return find_box_flaw(tree, boxes, found);
}

std::string find_sample_flaw(const GasCompressedTree& tree, const std::vector<Box>& boxes,
                             unsigned sample) {
    return find_box_flaw(tree, boxes, get_sample_boxes(tree, boxes, sample));
}

std::vector<unsigned> get_reported_items(GasCompressedTree& tree) {
    std::vector<unsigned> items;
    const GasLeafCallback report = [](void* user, const unsigned& item, const CtxEval&, CtxShader&,
                                      GeometryRaytraceCtx&) {
        static_cast<std::vector<unsigned>*>(user)->push_back(item);
    };
    tree.set_leaf_raytrace_callbacks(report, report, &items);
    CtxShader shader;
    GeometryRayBatch batch(1);
    for (unsigned leaf = 0; leaf < tree.get_leaf_count(); ++leaf)
        tree.leaf_ray_hit_static(leaf, CtxEval(), shader, batch.get_ctx());
    return items;
}

std::vector<unsigned char> get_bytes(const GasCompressedTree& tree) {
    const unsigned char* first = reinterpret_cast<const unsigned char*>(tree.get_nodes());
    return {first, first + tree.get_node_count() * sizeof(GasCompressedNode)};
}

std::vector<unsigned char> get_sample_bytes(const GasCompressedTree& tree, unsigned sample) {
    const unsigned char* first = tree.get_motion_blur_records(sample);
    return {first, first + tree.get_node_count() * sizeof(GasQuantizedPair)};
}

} // namespace support
