// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
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
/// `see_break(parent)` hears of nodes whose references lead nowhere.
template <typename SomeTree, typename See, typename SeeBreak>
void walk(const SomeTree& tree, const See& see, const SeeBreak& see_break) {
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
        } else {
            see_break(visit);
        }
    }
}

bool holds(const HostBox& box, const HostBox& other) {
    return box.min.x <= other.min.x && box.min.y <= other.min.y && box.min.z <= other.min.z &&
           box.max.x >= other.max.x && box.max.y >= other.max.y && box.max.z >= other.max.z;
}

template <typename SomeTree> std::vector<std::string> find_flaws(const SomeTree& tree) {
    std::vector<std::string> flaws;
    std::vector<bool> seen_nodes(tree.get_node_count());
    std::vector<bool> seen_items(tree.get_leaf_count());
    std::vector<HostBox> boxes_above(1, tree.get_bbox());
    unsigned depth = 0;
    const auto see = [&](const Visit& visit) {
        depth = std::max(depth, visit.level + 1);
        boxes_above.resize(visit.level + 2);
        if (!holds(boxes_above[visit.level], visit.box))
            flaws.push_back("the box of node " + std::to_string(visit.index) + " on level " +
                            std::to_string(visit.level) + " is not in that of its parent");
        boxes_above[visit.level + 1] = visit.box;
        std::vector<bool>& seen = visit.is_leaf() ? seen_items : seen_nodes;
        const unsigned number = visit.is_leaf() ? visit.item : visit.index;
        const std::string name = (visit.is_leaf() ? "item " : "node ") + std::to_string(number);
        if (number >= seen.size()) {
            flaws.push_back(name + " does not exist");
            return false;
        }
        if (seen[number]) {
            flaws.push_back(name + " is reached twice");
            return false;
        }
        seen[number] = true;
        return true;
    };
    walk(tree, see, [&](const Visit& parent) {
        flaws.push_back("the children of node " + std::to_string(parent.index) +
                        " are not behind it");
    });
    const auto missing = std::count(seen_items.begin(), seen_items.end(), false);
    if (missing > 0)
        flaws.push_back(std::to_string(missing) + " items are not reached");
    if (depth != tree.get_depth())
        flaws.push_back("the tree has " + std::to_string(depth) + " levels, not " +
                        std::to_string(tree.get_depth()));
    return flaws;
}

} // namespace

std::vector<Box> Tree::boxes_at_level(std::size_t level) const {
    std::vector<Box> boxes;
    if (!m_data)
        return boxes;
    const auto collect = [&](const auto& tree) {
        walk(
            tree,
            [&](const Visit& visit) {
                if (visit.level == level)
                    boxes.push_back(m_data->get_space().from_tree(visit.box));
                return visit.level < level;
            },
            [](const Visit&) {});
    };
    if (const GasCompressedTree* const compressed = m_data->find_compressed())
        collect(*compressed);
    else
        collect(m_data->expect_plain("boxes by level: not of grids"));
    return boxes;
}

std::vector<std::string> Tree::validate() const {
    if (!m_data)
        return {};
    if (const GasCompressedTree* const compressed = m_data->find_compressed())
        return find_flaws(*compressed);
    return find_flaws(m_data->expect_plain("validation: not of grids"));
}

} // namespace gas_abi1
} // namespace gas
