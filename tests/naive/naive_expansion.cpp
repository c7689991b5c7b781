#include <tests/naive/naive_expansion.h>

namespace naive {

namespace {

void expand_below(const CompressedTree& tree, Reference reference, std::size_t place, Tree& plain,
                  std::vector<unsigned>& slots) {
    slots[place] = reference.leaf ? tree.node_count + reference.index : reference.index;
    if (reference.leaf) {
        plain.nodes[place].leaf = true;
        plain.nodes[place].index = reference.index;
        return;
    }
    const Record& record = tree.nodes[reference.index];
    const std::size_t first = plain.nodes.size();
    plain.nodes[place].index = static_cast<unsigned>(first);
    plain.nodes[place].order_code = order_code(record);
    plain.nodes.resize(first + 2);
    slots.resize(first + 2);
    expand_below(tree, first_child(record), first, plain, slots);
    expand_below(tree, second_child(record), first + 1, plain, slots);
}

} // namespace

Tree expand(const CompressedTree& tree) {
    Tree plain;
    plain.leaf_count = tree.leaf_count;
    plain.depth = tree.depth;
    plain.items = tree.items;
    if (tree.leaf_count == 0) {
        return plain;
    }
    const Reference root = {tree.leaf_count == 1, 0};
    plain.nodes.resize(1);
    std::vector<unsigned> slots(1);
    expand_below(tree, root, 0, plain, slots);

    const std::vector<Box> boxes = decoded_boxes(tree);
    for (std::size_t i = 0; i < plain.nodes.size(); ++i) {
        plain.nodes[i].box = boxes[slots[i]];
    }
    plain.samples.resize(tree.samples.size());
    for (unsigned sample = 0; sample < tree.samples.size(); ++sample) {
        if (tree.samples[sample].bytes.empty()) {
            continue;
        }
        const std::vector<Box> sample_boxes = decoded_boxes(tree, sample);
        for (const unsigned slot : slots) {
            plain.samples[sample].push_back(sample_boxes[slot]);
        }
    }
    return plain;
}

} // namespace naive
