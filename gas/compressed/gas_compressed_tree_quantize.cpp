#include <cstring>

#include <gas/compressed/gas_box_codec.h>
#include <gas/compressed/gas_compressed_build_steps.h>
#include <gas/compressed/gas_compressed_tree.h>
#include <gas/core/gas_lane_corners.h>
#include <gas/core/gas_traversal_order.h>

inline namespace gas_abi1 {

namespace {

GMathBbox3<float> store(const SimdF& min, const SimdF& max) {
    float low[4];
    float high[4];
    min.store(low);
    max.store(high);
    return {{low[0], low[1], low[2]}, {high[0], high[1], high[2]}};
}

/// Encodes the children of each node from `root` to the last against the box that a ray will see of
/// it, and hands the pair and the children's exact boxes to `write(node, pair, first, second)`.
/// Children follow their parents, so each node's decoded box is there when its turn comes.
template <typename Write>
void quantize_nodes(const GasCompressedNode* nodes, unsigned root, unsigned node_count,
                    GasCompressedTreeQuantizeBboxContext& context,
                    const GMathBbox3<float>& root_decoded_box, const Write& write) {
    context.decoded_bboxes[root] = root_decoded_box;
    for (unsigned i = root; i < node_count; ++i) {
        const GasCompressedNode& node = nodes[i];
        const bool first_is_leaf = node.flags & GasCompressedNode::first_leaf;
        const bool second_is_leaf = node.flags & GasCompressedNode::second_leaf;
        const GMathBbox3<float>* first_boxes =
            first_is_leaf ? context.item_bboxes : context.node_bboxes;
        const GMathBbox3<float>* second_boxes =
            second_is_leaf ? context.item_bboxes : context.node_bboxes;
        const GMathBbox3<float>& parent = context.decoded_bboxes[i];
        const GMathBbox3<float>& first = first_boxes[node.children[0]];
        const GMathBbox3<float>& second = second_boxes[node.children[1]];
        const GasQuantizedPair pair = gas_encode_box_pair(parent, first, second);
        write(i, pair, first, second);

        // Leaves' decoded boxes would be read by nobody.
        unsigned char bytes[sizeof(GasQuantizedPair) + 1] = {};
        std::memcpy(bytes, &pair, sizeof pair);
        GasBoxPair decoded;
        const GasLaneCorners parent_corners(parent);
        gas_decode_box_pair(bytes, parent_corners.min, parent_corners.max, decoded);
        if (!first_is_leaf)
            context.decoded_bboxes[node.children[0]] = store(decoded.first_min, decoded.first_max);
        if (!second_is_leaf)
            context.decoded_bboxes[node.children[1]] =
                store(decoded.second_min, decoded.second_max);
    }
}

} // namespace

void GasCompressedTree::quantize_tree(GasCompressedTreeQuantizeBboxContext& context,
                                      const unsigned& node,
                                      const GMathBbox3<float>& node_decoded_box) {
    quantize_nodes(m_nodes, node, m_node_count, context, node_decoded_box,
                   [this](unsigned i, const GasQuantizedPair& pair, const GMathBbox3<float>& first,
                          const GMathBbox3<float>& second) {
                       GasCompressedNode& record = m_nodes[i];
                       const unsigned previous = (record.flags & GasCompressedNode::order_mask) >>
                                                 GasCompressedNode::order_shift;
                       const unsigned code = gas_traversal_order(previous, first.min, first.max,
                                                                 second.min, second.max);
                       record.boxes = pair;
                       record.flags = static_cast<unsigned char>(
                           (record.flags & ~GasCompressedNode::order_mask) |
                           code << GasCompressedNode::order_shift);
                   });
}

void GasCompressedTree::quantize_motion_blur_bboxes(GasCompressedTreeQuantizeBboxContext& context,
                                                    const unsigned& sample, const unsigned& node,
                                                    const GMathBbox3<float>& node_decoded_box) {
    unsigned char* const records = m_motion_blur_records[sample];
    quantize_nodes(m_nodes, node, m_node_count, context, node_decoded_box,
                   [records](unsigned i, const GasQuantizedPair& pair, const GMathBbox3<float>&,
                             const GMathBbox3<float>&) {
                       std::memcpy(records + std::size_t{i} * sizeof pair, &pair, sizeof pair);
                   });
}

} // namespace gas_abi1
