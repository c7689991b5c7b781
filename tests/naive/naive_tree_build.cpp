#include <algorithm>

#include <tests/naive/naive_tree.h>

namespace naive {

namespace {

using Centres = std::vector<std::array<float, 3>>;
using Items = std::vector<unsigned>;

/// A node still to be built: its place among the nodes, its level, and its range of the item list.
struct Pending {
    unsigned node;
    unsigned level;
    std::size_t begin;
    std::size_t end;
};

void make_leaf(Tree& tree, unsigned node, unsigned item) {
    tree.nodes[node].leaf = true;
    tree.nodes[node].index = item;
    tree.progress_calls.push_back(static_cast<unsigned>(tree.progress_calls.size()) + 1);
}

/// Number of items of the first child, never 0 or all of them.
unsigned split_range(Split split, const std::vector<Box>& boxes, const Centres& centres,
                     Items& items, const Pending& range) {
    const auto begin = items.begin() + static_cast<std::ptrdiff_t>(range.begin);
    const auto end = items.begin() + static_cast<std::ptrdiff_t>(range.end);
    Items own(begin, end);
    const unsigned count = static_cast<unsigned>(own.size());
    if (count == 2) {
        return 1;
    }
    const unsigned left_count = split_items(split, boxes, centres, own);
    std::copy(own.begin(), own.end(), begin);
    return left_count == 0 || left_count >= count ? count / 2 : left_count;
}

/// Numbers the children in pairs, the first child's whole subtree before the second child's.
void build_topology(Tree& tree, Split split, const std::vector<Box>& boxes) {
    const Centres centres = box_centres(boxes);
    Items items;
    for (unsigned i = 0; i < tree.leaf_count; ++i) {
        items.push_back(i);
    }
    const Node blank = {{{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}}, false, 0, 0};
    tree.nodes.push_back(blank);
    tree.depth = 1;
    std::vector<Pending> stack = {{0, 1, 0, items.size()}};
    while (!stack.empty()) {
        const Pending now = stack.back();
        stack.pop_back();
        if (now.end - now.begin <= 1) {
            make_leaf(tree, now.node, items[now.begin]);
            continue;
        }
        const unsigned first = static_cast<unsigned>(tree.nodes.size());
        tree.nodes[now.node].index = first;
        tree.nodes.push_back(blank);
        tree.nodes.push_back(blank);
        tree.depth = std::max(tree.depth, now.level + 1);
        const std::size_t middle = now.begin + split_range(split, boxes, centres, items, now);
        stack.push_back({first + 1, now.level + 1, middle, now.end});
        stack.push_back({first, now.level + 1, now.begin, middle});
    }
}

} // namespace

std::vector<Box> narrow(const std::vector<BoxD>& boxes) {
    std::vector<Box> result(boxes.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            result[i].min[axis] = static_cast<float>(boxes[i].min[axis]);
            result[i].max[axis] = static_cast<float>(boxes[i].max[axis]);
        }
    }
    return result;
}

std::vector<std::array<float, 3>> box_centres(const std::vector<Box>& boxes) {
    Centres result(boxes.size());
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            result[i][axis] = (boxes[i].min[axis] + boxes[i].max[axis]) * 0.5f;
        }
    }
    return result;
}

Box centre_bounds(const Items& items, const Centres& centres) {
    Box bounds = {{0.0f, 0.0f, 0.0f}, {0.0f, 0.0f, 0.0f}};
    for (std::size_t i = 0; i < items.size(); ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float centre = centres[items[i]][axis];
            bounds.min[axis] = i == 0 ? centre : smaller(bounds.min[axis], centre);
            bounds.max[axis] = i == 0 ? centre : larger(bounds.max[axis], centre);
        }
    }
    return bounds;
}

Progress progress_settings(unsigned count, float share) {
    if (count == 0) {
        return {1, 0.0f};
    }
    const float percent = share * 100.0f;
    unsigned whole = 1;
    if (percent >= 4294967040.0f) {
        whole = 4294967040u;
    } else if (percent >= 1.0f) {
        whole = static_cast<unsigned>(percent);
    }
    const unsigned step = count > whole ? count / whole : 1;
    return {step, static_cast<float>(step) * share / static_cast<float>(count)};
}

Tree build(const std::vector<Box>& boxes, Split split, const std::vector<unsigned>& indices) {
    Tree tree;
    if (boxes.empty()) {
        return tree;
    }
    tree.leaf_count = static_cast<unsigned>(boxes.size());
    tree.items = indices;
    build_topology(tree, split, boxes);
    // Children stand after their parent, and every fresh node has code 0: the pass of a refit fills
    // in the rest.
    refit(tree, boxes);
    return tree;
}

} // namespace naive
