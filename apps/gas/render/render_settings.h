// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <apps/gas/trees/trace_state.h>

namespace gas_app {

struct RenderSettings {
    unsigned width = 640;
    unsigned height = 400;
    /// Samples per pixel, 1 or more.
    unsigned samples = 12;
    /// Ambient rays per camera sample; 0: even light from the sky, without occlusion.
    unsigned ambient_rays = 3;
    /// 1 or more.
    unsigned threads = 1;
    std::uint64_t seed = 1;
    /// Camera rays traced together, 1 to `largest_packet`; streams have a size of their own.
    unsigned packet_size = 1;
    /// Of camera rays, of rays towards the sun, and of all others, which scatter.
    Walk camera_walk = Walk::engine;
    Walk sun_walk = Walk::engine;
    Walk walk = Walk::engine;
    /// Whether walks are counted, for a heat map.
    bool counts_walks = false;
    /// Whether the time of each batch of camera rays is measured.
    bool measures_times = false;

    /// Rays of one stream.
    static constexpr unsigned stream_size = 2048;

    unsigned get_camera_batch_size() const {
        return camera_walk == Walk::stream ? stream_size : packet_size;
    }
};

} // namespace gas_app
