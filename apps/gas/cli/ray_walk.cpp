// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/ray_walk.h>

#include <apps/common/walk_name.h>

namespace gas_app {

std::string RayWalk::describe(const std::string& instruction_set) const {
    if (node_width == 0)
        return way;
    std::string width = std::to_string(node_width);
    if (node_width != instance_node_width)
        width += ", instances' " + std::to_string(instance_node_width);
    return describe_walk(way, width, instruction_set);
}

void WalkChoice::apply(RenderSettings& settings) const {
    constexpr unsigned usual_packet = 64;
    const bool stream_all = streams == StreamChoice::all_rays;
    settings.packet_size = heat_map || stream_all ? 1 : usual_packet;
    if (packet_size > 0)
        settings.packet_size = packet_size;
    settings.counts_walks = heat_map;
    const Walk walk = brute_force ? Walk::brute_force : Walk::engine;
    const auto choose = [&](bool is_streamed) {
        return is_streamed && walk == Walk::engine ? Walk::stream : walk;
    };
    settings.camera_walk = choose(stream_all && settings.packet_size == 1);
    settings.sun_walk = choose(stream_all);
    settings.walk = choose(streams != StreamChoice::none);
}

RayWalk get_camera_walk(const RenderSettings& settings, const TreeSettings& trees, bool in_motion) {
    // In motion the rays of a batch are traced one after the other. Packets take binary nodes.
    if (settings.camera_walk == Walk::engine && settings.packet_size > 1 && !in_motion)
        return {"packets", get_node_width(false), get_node_width(false)};
    return get_ray_walk(settings.camera_walk, trees);
}

RayWalk get_ray_walk(Walk walk, const TreeSettings& trees) {
    if (walk == Walk::brute_force)
        return {"brute force", 0, 0};
    // Where shapes have grids, instances have a plain tree.
    const bool wide_shapes = trees.has_wide_nodes && trees.kind == TreeKind::plain;
    const bool wide_instances = trees.has_wide_nodes && trees.kind != TreeKind::compressed;
    return {walk == Walk::stream ? "streams" : "single", get_node_width(wide_shapes),
            get_node_width(wide_instances)};
}

} // namespace gas_app
