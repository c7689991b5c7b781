#include <tests/naive/naive_tree.h>

namespace naive {

namespace {

constexpr float lowest_float = -3.4028235e38f;

} // namespace

float smaller(float first, float second) { return first >= second ? second : first; }

float larger(float first, float second) { return first > second ? first : second; }

Box unite(const Box& first, const Box& second) {
    Box result;
    for (unsigned axis = 0; axis < 3; ++axis) {
        result.min[axis] = smaller(first.min[axis], second.min[axis]);
        result.max[axis] = larger(first.max[axis], second.max[axis]);
    }
    return result;
}

unsigned traversal_code(unsigned previous_code, const Box& first, const Box& second) {
    unsigned code = previous_code;
    float best = lowest_float;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float first_is_low = second.min[axis] - first.max[axis];
        if (first_is_low > best) {
            best = first_is_low;
            code = axis;
        }
        const float second_is_low = first.min[axis] - second.max[axis];
        if (second_is_low > best) {
            best = second_is_low;
            code = axis + 4;
        }
    }
    return code;
}

bool refit(Tree& tree, const std::vector<Box>& boxes) {
    if (boxes.size() != tree.leaf_count) {
        return false;
    }
    for (std::size_t i = tree.nodes.size(); i > 0; --i) {
        Node& node = tree.nodes[i - 1];
        if (node.leaf) {
            node.box = boxes[node.index];
            continue;
        }
        const Box& first = tree.nodes[node.index].box;
        const Box& second = tree.nodes[node.index + 1].box;
        node.box = unite(first, second);
        node.order_code = traversal_code(node.order_code, first, second);
    }
    return true;
}

void set_sample_count(Tree& tree, unsigned count) { tree.samples.resize(count); }

bool refit_sample(Tree& tree, const std::vector<Box>& boxes, unsigned sample) {
    if (boxes.size() != tree.leaf_count || sample >= tree.samples.size()) {
        return false;
    }
    std::vector<Box>& sample_boxes = tree.samples[sample];
    sample_boxes.resize(tree.nodes.size());
    for (std::size_t i = tree.nodes.size(); i > 0; --i) {
        const Node& node = tree.nodes[i - 1];
        sample_boxes[i - 1] = node.leaf
                                  ? boxes[node.index]
                                  : unite(sample_boxes[node.index], sample_boxes[node.index + 1]);
    }
    return true;
}

} // namespace naive
