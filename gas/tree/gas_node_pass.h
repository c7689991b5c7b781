// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_box_lanes.h>
#include <gas/isa/gas_refit_function.h>
#include <gas/tree/gas_upward_pass.h>
#include <gas/tree/wide/gas_wide_lane_boxes.h>
#include <gas/tree/wide/gas_wide_pass.h>

inline namespace gas_abi1 {

/// The GasRefitFunction of the instruction set that a file is compiled for.
inline bool gas_refit_nodes(const GasNodeRefit& refit) {
    GasTreeNode* const nodes = refit.nodes;
    GasWideNode* const wide_nodes = refit.wide_nodes;
    const GMathBbox3<float>* const bboxes = refit.bboxes;
    unsigned wide_count = refit.wide_count;
    GasBoxOrder order;
    gas_pass_upwards(
        nodes, refit.node_count, bboxes,
        [nodes, bboxes, &order](unsigned i) GAS_FORCE_INLINE_LAMBDA {
            GasTreeNode& node = nodes[i];
            const float* const coordinates = &bboxes[node.index].min.x;
            const GasLaneBox box = {SimdF::load_unaligned(coordinates),
                                    SimdF::load_unaligned(coordinates + 2).move_down()};
            order.add(box.min, box.max);
            GasBoxLanes lanes = GasBoxLanes::join(box);
            lanes.take_words(GasBoxLanes::load(&node));
            lanes.store(&node);
        },
        [nodes](unsigned i) GAS_FORCE_INLINE_LAMBDA {
            GasTreeNode& node = nodes[i];
            const GasTreeNode* const children = nodes + node.index;
            GasBoxLanes lanes = GasBoxLanes::load(&children[0]);
            const GasBoxLanes second = GasBoxLanes::load(&children[1]);
            const unsigned previous =
                (node.flags & GasTreeNode::order_mask) >> GasTreeNode::order_shift;
            const unsigned code = GasBoxLanes::get_order(previous, lanes, second);
            lanes.unite(second);
            lanes.take_words(GasBoxLanes::load(&node), code << GasTreeNode::order_shift);
            lanes.store(&node);
        },
        [nodes, wide_nodes, &wide_count](unsigned first_node) GAS_FORCE_INLINE_LAMBDA {
            gas_advance_wide(wide_count, wide_nodes, first_node,
                             [nodes, wide_nodes](unsigned i) GAS_FORCE_INLINE_LAMBDA {
                                 gas_fetch_node(wide_nodes[gas_get_ahead(i)]);
                                 GasWideLaneBoxes boxes;
                                 boxes.gather(wide_nodes[i], GasNodeBoxes{nodes});
                                 boxes.store(wide_nodes[i].planes[0]);
                             });
        });
    return order.is_kept();
}

} // namespace gas_abi1
