// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <gas/compressed/gas_compressed_boxes.h>
#include <gas/compressed/gas_compressed_build_steps.h>
#include <gas/compressed/gas_compressed_tree.h>

inline namespace gas_abi1 {

void GasCompressedTree::compute_bboxes(GasCompressedTreeComputeBboxContext& context,
                                       const unsigned& node, GMathBbox3<float>& out) const {
    gas_compute_node_boxes(m_nodes, node, m_node_count, context.item_bboxes, context.node_bboxes);
    out = context.node_bboxes[node];
}

void GasCompressedTree::quantize_tree(GasCompressedTreeQuantizeBboxContext& context,
                                      const unsigned& node,
                                      const GMathBbox3<float>& node_decoded_box) {
    context.decoded_bboxes[node] = node_decoded_box;
    gas_quantize_nodes(m_nodes, node, m_node_count, context.item_bboxes, context.node_bboxes,
                       context.decoded_bboxes, GasPairWriter{m_nodes});
}

void GasCompressedTree::quantize_motion_blur_bboxes(GasCompressedTreeQuantizeBboxContext& context,
                                                    const unsigned& sample, const unsigned& node,
                                                    const GMathBbox3<float>& node_decoded_box) {
    unsigned char* const records = m_motion_blur_records[sample];
    context.decoded_bboxes[node] = node_decoded_box;
    gas_quantize_nodes(
        m_nodes, node, m_node_count, context.item_bboxes, context.node_bboxes,
        context.decoded_bboxes,
        [records](unsigned i, const GasQuantizedPair& pair, const GasLaneBox&, const GasLaneBox&) {
            std::memcpy(records + std::size_t{i} * sizeof pair, &pair, sizeof pair);
        });
}

} // namespace gas_abi1
