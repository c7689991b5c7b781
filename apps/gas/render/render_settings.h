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
    /// What of camera rays is timed, without making them: each batch, or each tile as a whole,
    /// where the clock takes no part of the time.
    enum class Timed { nothing, batches, tiles };
    Timed timed = Timed::nothing;

    /// Rays of one stream.
    static constexpr unsigned stream_size = 2048;

    unsigned get_camera_batch_size() const {
        return camera_walk == Walk::stream ? stream_size : packet_size;
    }
};

} // namespace gas_app
