// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace gas_app {

/// When the shutter is open, in the time of a scene. Where nothing moves meanwhile, it opens for a
/// moment.
struct ShutterTime {
    double start = 0.0;
    double length = 1.0;

    /// Of a motion sample.
    double get(unsigned sample, unsigned sample_count) const {
        if (sample_count < 2)
            return start;
        return start + length * (static_cast<double>(sample) / (sample_count - 1));
    }
    /// Of a frame of an animation: four frames take as long as the shutter of a single picture, and
    /// the shutter is open for half of a frame.
    static ShutterTime of_frame(unsigned frame) { return {0.25 * frame, 0.125}; }
};

} // namespace gas_app
