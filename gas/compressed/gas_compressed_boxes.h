// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstring>

#include <gas/compressed/gas_box_codec.h>
#include <gas/core/gas_compiler.h>
#include <gas/core/gas_lane_box.h>
#include <gas/core/gas_traversal_order.h>

inline namespace gas_abi1 {

/// The two passes that give a compressed tree's nodes their boxes. `Box` holds floats or doubles,
/// which are rounded to the nearest float.

/// As the function of that name in gas_box_codec.h, of boxes in lanes.
GasQuantizedPair gas_encode_box_pair(const GasLaneBox& parent, const GasLaneBox& first,
                                     const GasLaneBox& second);

/// Asks for the boxes of a node's leaves, which lie anywhere.
template <typename Box>
void gas_prefetch_leaf_boxes(const GasCompressedNode& node, const Box* item_boxes) {
    const auto prefetch = [&](unsigned child, unsigned is_leaf) {
        const void* const here = &node;
        const void* const box = item_boxes + node.children[child];
        gas_prefetch(is_leaf ? box : here);
    };
    prefetch(0, node.flags & GasCompressedNode::first_leaf);
    prefetch(1, node.flags & GasCompressedNode::second_leaf);
}

/// The exact boxes of a node's two children.
template <typename Box>
void gas_load_child_boxes(const GasCompressedNode& node, const Box* item_boxes,
                          const GMathBbox3<float>* node_boxes, GasLaneBox& first,
                          GasLaneBox& second) {
    const auto load = [&](unsigned child, unsigned leaf_flag) {
        const unsigned reference = node.children[child];
        return node.flags & leaf_flag ? GasLaneBox::load(item_boxes[reference])
                                      : GasLaneBox::load(node_boxes[reference]);
    };
    first = load(0, GasCompressedNode::first_leaf);
    second = load(1, GasCompressedNode::second_leaf);
}

/// How many nodes ahead a pass asks for boxes.
inline constexpr unsigned gas_box_pass_lead = 12;

/// Gives the nodes `first` to `end` - 1 their exact boxes. Children follow their parents: the last
/// node goes first.
template <typename Box>
void gas_compute_node_boxes(const GasCompressedNode* nodes, unsigned first, unsigned end,
                            const Box* item_boxes, GMathBbox3<float>* node_boxes) {
    for (unsigned i = end; i-- > first;) {
        if (i >= first + gas_box_pass_lead)
            gas_prefetch_leaf_boxes(nodes[i - gas_box_pass_lead], item_boxes);
        GasLaneBox box;
        GasLaneBox other;
        gas_load_child_boxes(nodes[i], item_boxes, node_boxes, box, other);
        box.unite(other);
        node_boxes[i] = box.to_box();
    }
}

/// Encodes the children of the nodes `first` to `end` - 1 against the box that a ray will see of
/// each, which `decoded_boxes` holds for the first ones and gets for those below; `write(node,
/// pair, first, second)` is told the pair and the children's exact boxes. A node's exact box is
/// read before its decoded box is written: both may stand in one array.
template <typename Box, typename Write>
void gas_quantize_nodes(const GasCompressedNode* nodes, unsigned first, unsigned end,
                        const Box* item_boxes, const GMathBbox3<float>* node_boxes,
                        GMathBbox3<float>* decoded_boxes, const Write& write) {
    for (unsigned i = first; i < end; ++i) {
        if (i + gas_box_pass_lead < end)
            gas_prefetch_leaf_boxes(nodes[i + gas_box_pass_lead], item_boxes);
        const GasCompressedNode& node = nodes[i];
        GasLaneBox first_box;
        GasLaneBox second_box;
        gas_load_child_boxes(node, item_boxes, node_boxes, first_box, second_box);
        const GasLaneBox parent = GasLaneBox::load(decoded_boxes[i]);
        const GasQuantizedPair pair = gas_encode_box_pair(parent, first_box, second_box);
        write(i, pair, first_box, second_box);

        // Nothing reads leaves' decoded boxes.
        unsigned char bytes[sizeof(GasQuantizedPair) + 1] = {};
        std::memcpy(bytes, &pair, sizeof pair);
        GasBoxPair decoded;
        gas_decode_box_pair(bytes, parent.min, parent.max, decoded);
        if (!(node.flags & GasCompressedNode::first_leaf))
            decoded_boxes[node.children[0]] =
                GasLaneBox{decoded.first.min, decoded.first.max}.to_box();
        if (!(node.flags & GasCompressedNode::second_leaf))
            decoded_boxes[node.children[1]] =
                GasLaneBox{decoded.second.min, decoded.second.max}.to_box();
    }
}

/// Writes a node's pair and its traversal order.
struct GasPairWriter {
    GasCompressedNode* nodes;

    void operator()(unsigned i, const GasQuantizedPair& pair, const GasLaneBox& first,
                    const GasLaneBox& second) const {
        GasCompressedNode& record = nodes[i];
        const unsigned previous =
            (record.flags & GasCompressedNode::order_mask) >> GasCompressedNode::order_shift;
        const unsigned code = gas_traversal_order(previous, first, second);
        record.boxes = pair;
        record.flags = static_cast<unsigned char>((record.flags & ~GasCompressedNode::order_mask) |
                                                  code << GasCompressedNode::order_shift);
    }
};

} // namespace gas_abi1
