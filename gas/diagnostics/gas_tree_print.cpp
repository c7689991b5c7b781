// SPDX-License-Identifier: Apache-2.0
#include <gas/tree/gas_tree.h>

inline namespace gas_abi1 {

namespace {

/// Emits the pieces as one message.
template <typename... Pieces> void print_message(const Pieces&... pieces) {
    CoreLogStream stream;
    stream << "";
    (stream << ... << pieces);
    core_main_log_handler().info_msg(stream);
}

void print_corner(const GMathVec3<float>& corner) {
    print_message('(', corner.x, ", ", corner.y, ", ", corner.z, ')', '\n');
}

constexpr double kilobytes_per_byte = 0.0009765625;

} // namespace

void GasTree::print() const {
    if (!m_nodes) {
        print_message("---- empty\n");
        return;
    }
    const GMathBbox3<float> bbox = get_bbox();
    print_message("---- bbox\n");
    print_message("-------- min ");
    print_corner(bbox.min);
    print_message("-------- max ");
    print_corner(bbox.max);
    print_message("---- nodes ", m_node_count, '\n');
    print_message("---- tree depth ", m_depth, '\n');

    // Two figures: the object and its nodes in whole kilobytes, then all that is accounted for.
    const std::size_t node_size = std::size_t{m_node_count} * sizeof(Node) + sizeof(GasTree);
    print_message("---- memory usage ");
    print_message(static_cast<int>(static_cast<double>(node_size) * kilobytes_per_byte), "KB\n");
    print_message("---- total memory usage ");
    print_message(static_cast<float>(get_memory_size()) * static_cast<float>(kilobytes_per_byte),
                  "KB\n");
}

} // namespace gas_abi1
