#include <apps/gas/report/tree_statistics.h>

namespace gas_app {

double get_surface_area(const Box& box) {
    const Vec3 size = box.max - box.min;
    return 2.0 * (size.x * size.y + size.y * size.z + size.z * size.x);
}

TreeStatistics TreeSurvey::finish(std::size_t node_size, std::size_t motion_bytes,
                                  std::size_t wide_bytes) {
    TreeStatistics& statistics = m_statistics;
    statistics.node_bytes = statistics.node_count * node_size;
    statistics.motion_bytes = motion_bytes;
    statistics.wide_bytes = wide_bytes;
    statistics.total_bytes = statistics.memory_bytes + motion_bytes + wide_bytes;
    if (statistics.leaf_count > 0) {
        statistics.bytes_per_item =
            static_cast<double>(statistics.memory_bytes) / statistics.leaf_count;
        statistics.wide_bytes_per_item = static_cast<double>(wide_bytes) / statistics.leaf_count;
        statistics.mean_leaf_depth = m_depth_sum / statistics.leaf_count;
    }
    return statistics;
}

TreeStatistics get_tree_statistics(const GasTree& tree) {
    TreeSurvey survey(tree, to_double(tree.get_bbox()));
    // Children stand after their parent, so one pass over the nodes meets every parent first.
    const GasTree::Node* nodes = tree.get_nodes();
    std::vector<unsigned> levels(tree.get_node_count(), 0);
    for (unsigned index = 0; index < tree.get_node_count(); ++index) {
        const GasTree::Node& node = nodes[index];
        const Box box = to_double({node.bbox_min, node.bbox_max});
        if (node.flags & GasTree::Node::leaf_flag) {
            survey.add_leaf(box, levels[index]);
        } else {
            survey.add_inner_node(box);
            levels[node.index] = levels[node.index + 1] = levels[index] + 1;
        }
    }
    return survey.finish(sizeof(GasTree::Node), get_motion_bytes(tree), tree.get_wide_nodes_size());
}

std::size_t get_motion_bytes(const GasTree& tree) {
    // A sample has a box for each node, a float behind the last, and a pointer.
    const std::size_t sample_bytes =
        std::size_t{tree.get_node_count()} * sizeof(GMathBbox3<float>) + sizeof(float);
    return tree.get_motion_blur_sample_count() * (sample_bytes + sizeof(void*));
}

} // namespace gas_app
