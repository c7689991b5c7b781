#include "tree_statistics.h"

#include "vector_math.h"

namespace gas_app {

namespace {

double get_area(const GasTree::Node& node) {
    const Vec3 size = to_double(node.bbox_max) - to_double(node.bbox_min);
    return 2.0 * (size.x * size.y + size.y * size.z + size.z * size.x);
}

bool is_leaf(const GasTree::Node& node) { return (node.flags & 1u) != 0; }

} // namespace

TreeStatistics get_tree_statistics(const GasTree& tree) {
    TreeStatistics statistics;
    statistics.leaf_count = tree.get_leaf_count();
    statistics.node_count = tree.get_node_count();
    statistics.depth = tree.get_depth();
    statistics.memory_bytes = tree.get_memory_size();
    if (tree.is_empty())
        return statistics;
    statistics.node_bytes = std::size_t{tree.get_node_count()} * sizeof(GasTree::Node);
    statistics.bytes_per_item =
        static_cast<double>(statistics.memory_bytes) / statistics.leaf_count;

    // Children stand after their parent, so one pass over the nodes meets every parent first.
    const GasTree::Node* nodes = tree.get_nodes();
    std::vector<unsigned> levels(tree.get_node_count(), 0);
    statistics.leaves_per_level.assign(tree.get_depth(), 0);
    const double root_area = get_area(nodes[0]);
    double depth_sum = 0.0;
    for (unsigned index = 0; index < tree.get_node_count(); ++index) {
        const GasTree::Node& node = nodes[index];
        const double chance = root_area > 0.0 ? get_area(node) / root_area : 1.0;
        if (is_leaf(node)) {
            statistics.sah_cost += chance * TreeStatistics::leaf_cost;
            ++statistics.leaves_per_level[levels[index]];
            depth_sum += levels[index] + 1.0;
        } else {
            statistics.sah_cost += chance * TreeStatistics::inner_node_cost;
            levels[node.index] = levels[node.index + 1] = levels[index] + 1;
        }
    }
    statistics.mean_leaf_depth = depth_sum / statistics.leaf_count;
    return statistics;
}

} // namespace gas_app
