// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <utility>
#include <vector>

#include <gas/compressed/gas_box_codec.h>
#include <gas/easy/errors.h>
#include <gas/easy/tree.h>
#include <gas/easy/tree_data.h>

namespace gas {
inline namespace gas_abi1 {

namespace {

using HostBox = GMathBbox3<float>;

/// A node or a leaf, as a walk from the root comes to it.
struct Visit {
    /// The node's number. In compressed trees, where leaves are no nodes, the leaf's item.
    unsigned index;
    /// The leaf's item; no_item for a node.
    std::uint32_t item;
    unsigned level;
    HostBox box;

    bool is_leaf() const { return item != no_item; }
};

using Visits = std::pair<Visit, Visit>;

Visit get_root(const GasTree& tree) {
    return {0, tree.get_leaf_count() == 1 ? 0 : no_item, 0, tree.get_bbox()};
}

Visit get_root(const GasCompressedTree& tree) {
    return {0, tree.get_leaf_count() == 1 ? 0 : no_item, 0, tree.get_bbox()};
}

/// The children of a node; false where its references lead nowhere.
bool find_children(const GasTree& tree, const Visit& parent, Visits& children) {
    const GasTreeNode* const nodes = tree.get_nodes();
    const unsigned first = nodes[parent.index].index;
    if (first <= parent.index || first >= tree.get_node_count() - 1)
        return false;
    const auto get = [&](unsigned number) -> Visit {
        const GasTreeNode& node = nodes[number];
        const bool is_leaf = (node.flags & GasTreeNode::leaf_flag) != 0;
        return {number,
                is_leaf ? node.index : no_item,
                parent.level + 1,
                {node.bbox_min, node.bbox_max}};
    };
    children = {get(first), get(first + 1)};
    return true;
}

bool find_children(const GasCompressedTree& tree, const Visit& parent, Visits& children) {
    const GasCompressedNode& node = tree.get_nodes()[parent.index];
    const GasLaneBox around = GasLaneBox::load(parent.box);
    GasBoxPair boxes;
    gas_decode_box_pair(node.get_bytes(), around.min, around.max, boxes);
    bool is_good = true;
    const auto get = [&](unsigned child, unsigned leaf_flag, const GasLaneBox& box) -> Visit {
        const unsigned index = node.children[child];
        const bool is_leaf = (node.flags & leaf_flag) != 0;
        is_good &= is_leaf || (index > parent.index && index < tree.get_node_count());
        return {index, is_leaf ? index : no_item, parent.level + 1, box.to_box()};
    };
    children.first = get(0, GasCompressedNode::first_leaf, boxes.first);
    children.second = get(1, GasCompressedNode::second_leaf, boxes.second);
    return is_good;
}

/// Calls `see` for the root and for the children of all nodes for which it answers true.
template <typename SomeTree, typename See> void walk(const SomeTree& tree, const See& see) {
    std::vector<Visit> pending = {get_root(tree)};
    while (!pending.empty()) {
        const Visit visit = pending.back();
        pending.pop_back();
        if (!see(visit) || visit.is_leaf())
            continue;
        Visits children;
        if (find_children(tree, visit, children)) {
            pending.push_back(children.second);
            pending.push_back(children.first);
        }
    }
}

} // namespace

std::vector<Box> Tree::boxes_at_level(std::size_t level) const {
    std::vector<Box> boxes;
    if (!m_data)
        return boxes;
    const auto collect = [&](const auto& tree) {
        walk(tree, [&](const Visit& visit) {
            if (visit.level == level)
                boxes.push_back(m_data->get_space().from_tree(visit.box));
            return visit.level < level;
        });
    };
    if (const GasCompressedTree* const compressed = m_data->find_compressed())
        collect(*compressed);
    else
        collect(m_data->expect_plain("boxes by level: not of grids"));
    return boxes;
}

std::vector<std::string> Tree::validate() const {
    return m_data ? m_data->validate() : std::vector<std::string>();
}

} // namespace gas_abi1
} // namespace gas
