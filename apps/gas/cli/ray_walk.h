// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/cli/option_values.h>
#include <apps/gas/render/render_settings.h>
#include <apps/gas/trees/tree_kind.h>

namespace gas_app {

/// How rays of one kind go through the trees, for reports and captions.
struct RayWalk {
    /// single, packets, streams or brute force.
    std::string way;
    /// Boxes in a node's record, of the shapes' trees and of the one over the instances; 0 without
    /// trees.
    unsigned node_width = 0;
    unsigned instance_node_width = 0;

    /// Such as "single, width 4, avx2".
    std::string describe(const std::string& instruction_set) const;
};

/// How rays are to be traced, in the words of the command line.
struct WalkChoice {
    StreamChoice streams = StreamChoice::scattered_rays;
    /// 0: not chosen.
    unsigned packet_size = 0;
    bool heat_map = false;
    bool brute_force = false;

    /// Sets how the rays of each kind are traced.
    void apply(RenderSettings& settings) const;
};

/// Of camera rays, where things move or not.
RayWalk get_camera_walk(const RenderSettings& settings, const TreeSettings& trees, bool in_motion);
/// Of rays that go by `walk`, which is not in packets.
RayWalk get_ray_walk(Walk walk, const TreeSettings& trees);

} // namespace gas_app
