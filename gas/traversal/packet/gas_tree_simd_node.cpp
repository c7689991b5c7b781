// SPDX-License-Identifier: Apache-2.0
#include <gas/traversal/packet/gas_tree_simd_node.h>

inline namespace gas_abi1 {

const int GasTreeSimdNode::s_mask_to_first_index[16] = {4, 0, 1, 0, 2, 0, 1, 0,
                                                        3, 0, 1, 0, 2, 0, 1, 0};
const int GasTreeSimdNode::s_mask_to_last_index[16] = {-1, 0, 1, 1, 2, 2, 2, 2,
                                                       3,  3, 3, 3, 3, 3, 3, 3};
const int GasTreeSimdNode::s_first_index_to_mask[4] = {15, 14, 12, 8};
const int GasTreeSimdNode::s_last_index_to_mask[4] = {1, 3, 7, 15};

} // namespace gas_abi1
