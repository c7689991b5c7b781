#pragma once

#include <gas/core/gas_compiler.h>
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

/// Goes over nodes from the last to the first, so that children come before their parent, in blocks
/// that stay in the cache: calls `on_leaf(i)` for the leaves of a block, then `on_inner(i)` for its
/// other nodes, then `on_block(first)`, which is told the block's first node. Leaves and inner
/// nodes follow each other without a pattern: sorting them out first, by no branch, takes less time
/// than a branch on each that is often predicted wrongly. The leaves' item boxes, which lie
/// anywhere, are asked for on the way.
template <typename OnLeaf, typename OnInner, typename OnBlock>
void gas_pass_upwards(const GasTreeNode* nodes, unsigned node_count,
                      const GMathBbox3<float>* bboxes, const OnLeaf& on_leaf,
                      const OnInner& on_inner, const OnBlock& on_block) {
    constexpr unsigned block_size = 512;
    unsigned leaves[block_size];
    unsigned inner_nodes[block_size];
    for (unsigned end = node_count; end > 0;) {
        const unsigned first = end > block_size ? end - block_size : 0;
        unsigned leaf_count = 0;
        unsigned inner_count = 0;
        for (unsigned i = end; i-- > first;) {
            const unsigned is_leaf = nodes[i].flags & GasTreeNode::leaf_flag;
            // A mask, because compilers make a branch of a choice. The first box stands in for what
            // an inner node does not have. Many boxes lie in two cache lines.
            const GMathBbox3<float>& box = bboxes[nodes[i].index & (0u - is_leaf)];
            gas_prefetch(&box.min.x);
            gas_prefetch(&box.max.z);
            leaves[leaf_count] = i;
            inner_nodes[inner_count] = i;
            leaf_count += is_leaf;
            inner_count += 1 - is_leaf;
        }
        for (unsigned k = 0; k < leaf_count; ++k)
            on_leaf(leaves[k]);
        for (unsigned k = 0; k < inner_count; ++k)
            on_inner(inner_nodes[k]);
        on_block(first);
        end = first;
    }
}

} // namespace gas_abi1
