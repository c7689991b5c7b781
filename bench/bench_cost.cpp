// SPDX-License-Identifier: Apache-2.0
#include <bench/bench_cost.h>

#include <vector>

#include <gas/compressed/gas_box_codec.h>

namespace gas_bench {

namespace {

double get_area(const GMathVec3<float>& min, const GMathVec3<float>& max) {
    const GMathVec3<float> extent = max - min;
    return static_cast<double>(extent.x * extent.y + extent.y * extent.z + extent.z * extent.x);
}

} // namespace

double get_sah_cost(const GasTree& tree) {
    double area = 0.0;
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasTree::Node& node = tree.get_nodes()[i];
        area += ((node.flags & 1) != 0 ? 1.0 : 2.0) * get_area(node.bbox_min, node.bbox_max);
    }
    const GasTree::Node& root = tree.get_nodes()[0];
    const double root_area = get_area(root.bbox_min, root.bbox_max);
    return root_area > 0.0 ? area / root_area : 0.0;
}

double get_sah_cost(const GasCompressedTree& tree) {
    std::vector<GMathBbox3<float>> boxes(tree.get_node_count());
    boxes[0] = tree.get_bbox();
    const double root_area = get_area(boxes[0].min, boxes[0].max);
    double area = 2.0 * root_area;
    for (unsigned i = 0; i < tree.get_node_count() && tree.get_leaf_count() > 1; ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        GasBoxPair pair;
        gas_decode_box_pair(node.get_bytes(),
                            SimdF(boxes[i].min.x, boxes[i].min.y, boxes[i].min.z, 0.0f),
                            SimdF(boxes[i].max.x, boxes[i].max.y, boxes[i].max.z, 0.0f), pair);
        const GMathBbox3<float> children[2] = {pair.first.to_box(), pair.second.to_box()};
        for (unsigned child = 0; child < 2; ++child) {
            const bool is_leaf = (node.flags & GasCompressedNode::first_leaf << child) != 0;
            area += (is_leaf ? 1.0 : 2.0) * get_area(children[child].min, children[child].max);
            if (!is_leaf)
                boxes[node.children[child]] = children[child];
        }
    }
    return root_area > 0.0 ? area / root_area : 0.0;
}

} // namespace gas_bench
