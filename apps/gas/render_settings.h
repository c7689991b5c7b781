#pragma once

#include <cstdint>

#include "trace_state.h"

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
    /// Camera rays traced together, 1 to `largest_packet`.
    unsigned packet_size = 1;
    Walk walk = Walk::engine;
};

} // namespace gas_app
