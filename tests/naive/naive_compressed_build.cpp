#include <algorithm>
#include <cstring>
#include <functional>

#include <tests/naive/naive_compressed.h>

namespace naive {

namespace {

using Centres = std::vector<std::array<float, 3>>;
using Items = std::vector<unsigned>;

void set_first(Record& record, Reference child) {
    record[7] = static_cast<unsigned char>((record[7] & 0xfeu) | (child.leaf ? 1u : 0u));
    std::memcpy(record.data() + 8, &child.index, sizeof(child.index));
}

void set_second(Record& record, Reference child) {
    record[7] = static_cast<unsigned char>((record[7] & 0xfdu) | (child.leaf ? 2u : 0u));
    std::memcpy(record.data() + 12, &child.index, sizeof(child.index));
}

constexpr PairBytes lone_item_bytes = {0xff, 0xff, 0xff, 0, 0xff, 0xff, 0xff};

/// Splits the items and numbers the nodes: both children of a node before the nodes below either,
/// and the first child's whole subtree before the second child's.
struct Topology {
    CompressedTree& tree;
    Split split;
    const std::vector<Box>& boxes;
    Centres centres;
    Items items;
    unsigned built_leaf_count = 0;

    void tell(unsigned new_leaves) {
        built_leaf_count += new_leaves;
        tree.progress_calls.push_back(built_leaf_count);
    }

    /// How many of items[begin .. begin + count - 1] go to the first child: never 0 or all.
    unsigned split_range(unsigned begin, unsigned count) {
        const auto start = items.begin() + static_cast<std::ptrdiff_t>(begin);
        Items own(start, start + static_cast<std::ptrdiff_t>(count));
        const unsigned first_count = split_items(split, boxes, centres, own);
        std::copy(own.begin(), own.end(), start);
        return first_count == 0 || first_count >= count ? count / 2 : first_count;
    }

    void build(unsigned node, unsigned level, unsigned begin, unsigned count) {
        tree.depth = std::max(tree.depth, level);
        if (count == 2) {
            set_first(tree.nodes[node], {true, items[begin]});
            set_second(tree.nodes[node], {true, items[begin + 1]});
            tell(2);
            return;
        }
        const unsigned first_count = split_range(begin, count);
        const unsigned second_count = count - first_count;
        Reference first = {true, items[begin]};
        if (first_count == 1) {
            tell(1);
        } else {
            first = {false, tree.node_count++};
        }
        Reference second = {true, items[begin + count - 1]};
        if (second_count == 1) {
            tell(1);
        } else {
            second = {false, tree.node_count++};
        }
        set_first(tree.nodes[node], first);
        set_second(tree.nodes[node], second);
        if (!first.leaf) {
            build(first.index, level + 1, begin, first_count);
        }
        if (!second.leaf) {
            build(second.index, level + 1, begin + first_count, second_count);
        }
    }
};

/// The exact boxes of all nodes over the given item boxes.
struct ExactBoxes {
    const CompressedTree& tree;
    const std::vector<Box>& boxes;
    std::vector<Box> node_boxes;

    ExactBoxes(const CompressedTree& a_tree, const std::vector<Box>& item_boxes)
        : tree(a_tree), boxes(item_boxes), node_boxes(a_tree.node_count) {
        compute(0);
    }

    void compute(unsigned node) {
        const Reference first = first_child(tree.nodes[node]);
        const Reference second = second_child(tree.nodes[node]);
        if (!first.leaf) {
            compute(first.index);
        }
        if (!second.leaf) {
            compute(second.index);
        }
        node_boxes[node] = unite(of(first), of(second));
    }

    const Box& of(Reference child) const {
        return child.leaf ? boxes[child.index] : node_boxes[child.index];
    }
};

using StorePair = std::function<void(unsigned node, const PairBytes& bytes)>;

/// Encodes every node below and including `node` against its decoded box.
void quantize(const ExactBoxes& exact, unsigned node, const Box& decoded, const StorePair& store) {
    const Reference first = first_child(exact.tree.nodes[node]);
    const Reference second = second_child(exact.tree.nodes[node]);
    const PairBytes bytes = encode_pair(decoded, exact.of(first), exact.of(second));
    store(node, bytes);
    const BoxPair children = decode_pair(bytes, decoded);
    if (!first.leaf) {
        quantize(exact, first.index, children.first, store);
    }
    if (!second.leaf) {
        quantize(exact, second.index, children.second, store);
    }
}

void decode_below(const CompressedTree& tree, unsigned node, const Box& decoded,
                  const std::function<PairBytes(unsigned node)>& bytes_of,
                  std::vector<Box>& result) {
    result[node] = decoded;
    const BoxPair boxes = decode_pair(bytes_of(node), decoded);
    const auto visit = [&](Reference child, const Box& box) {
        if (child.leaf) {
            result[tree.node_count + child.index] = box;
        } else {
            decode_below(tree, child.index, box, bytes_of, result);
        }
    };
    visit(first_child(tree.nodes[node]), boxes.first);
    visit(second_child(tree.nodes[node]), boxes.second);
}

std::vector<Box> decode_tree(const CompressedTree& tree, const Box& root_box,
                             const std::function<PairBytes(unsigned node)>& bytes_of) {
    std::vector<Box> result(tree.node_count + tree.leaf_count);
    if (tree.leaf_count == 1) {
        result[0] = result[1] = root_box;
    } else if (tree.leaf_count > 1) {
        decode_below(tree, 0, root_box, bytes_of, result);
    }
    return result;
}

} // namespace

CompressedTree build_compressed(const std::vector<Box>& boxes, Split split,
                                const std::vector<unsigned>& indices) {
    CompressedTree tree;
    if (boxes.empty()) {
        return tree;
    }
    tree.leaf_count = static_cast<unsigned>(boxes.size());
    tree.items = indices;
    tree.node_count = 1;
    tree.depth = 1;
    if (tree.leaf_count == 1) {
        tree.nodes.resize(1);
        std::copy(lone_item_bytes.begin(), lone_item_bytes.end(), tree.nodes[0].begin());
        tree.nodes[0][7] = 3;
        tree.root_box = boxes[0];
        return tree;
    }

    tree.nodes.resize(tree.leaf_count - 1);
    Topology topology = {tree, split, boxes, box_centres(boxes), {}};
    for (unsigned item = 0; item < tree.leaf_count; ++item) {
        topology.items.push_back(item);
    }
    topology.build(0, 1, 0, tree.leaf_count);
    ++tree.depth;

    const ExactBoxes exact(tree, boxes);
    tree.root_box = exact.node_boxes[0];
    quantize(exact, 0, tree.root_box, [&](unsigned node, const PairBytes& bytes) {
        Record& record = tree.nodes[node];
        std::copy(bytes.begin(), bytes.end(), record.begin());
        const unsigned code =
            traversal_code(0, exact.of(first_child(record)), exact.of(second_child(record)));
        record[7] = static_cast<unsigned char>(record[7] | code << 2);
    });
    return tree;
}

void set_sample_count(CompressedTree& tree, unsigned count) { tree.samples.resize(count); }

bool refit_sample(CompressedTree& tree, const std::vector<Box>& boxes, unsigned sample) {
    if (boxes.size() != tree.leaf_count || sample >= tree.samples.size()) {
        return false;
    }
    CompressedSample& result = tree.samples[sample];
    result.bytes.resize(7 * static_cast<std::size_t>(tree.node_count));
    if (tree.leaf_count == 1) {
        std::copy(lone_item_bytes.begin(), lone_item_bytes.end(), result.bytes.begin());
        result.root_box = boxes[0];
    } else if (tree.leaf_count > 1) {
        const ExactBoxes exact(tree, boxes);
        result.root_box = exact.node_boxes[0];
        quantize(exact, 0, result.root_box, [&](unsigned node, const PairBytes& bytes) {
            std::copy(bytes.begin(), bytes.end(),
                      result.bytes.begin() + 7 * static_cast<std::ptrdiff_t>(node));
        });
    }
    return true;
}

std::vector<Box> decoded_boxes(const CompressedTree& tree) {
    return decode_tree(tree, tree.root_box, [&](unsigned node) { return pair_bytes(tree, node); });
}

std::vector<Box> decoded_boxes(const CompressedTree& tree, unsigned sample) {
    return decode_tree(tree, tree.samples[sample].root_box,
                       [&](unsigned node) { return pair_bytes(tree, node, sample); });
}

} // namespace naive
