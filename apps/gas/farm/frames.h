// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace gas_app {

/// Frames of an animation.
struct FrameChoice {
    unsigned first = 0;
    unsigned last = 0;

    unsigned get_count() const { return last - first + 1; }
};

inline constexpr unsigned largest_frame = 9'999'999;

/// Frames come in runs of so many: a run's first is built, later ones may be refits. What a frame's
/// trees are follows from the boxes of its run up to it, whichever frames a process has seen.
inline constexpr unsigned frames_per_run = 16;

inline unsigned get_run_start(unsigned frame) { return frame - frame % frames_per_run; }

/// The name of a frame's file: `pattern` holds `%d` or, for a number with leading zeros, such as
/// `%04d`. Empty where it holds no such place, or something else with a %.
inline std::string get_frame_path(const std::string& pattern, unsigned frame) {
    const std::size_t start = pattern.find('%');
    const std::size_t end = pattern.find('d', start);
    if (start == std::string::npos || end == std::string::npos)
        return {};
    const std::string width = pattern.substr(start + 1, end - start - 1);
    const bool is_padded =
        width.size() == 2 && width[0] == '0' && width[1] > '0' && width[1] <= '9';
    if ((!width.empty() && !is_padded) || pattern.find('%', start + 1) != std::string::npos)
        return {};
    std::string number = std::to_string(frame);
    const std::size_t digits = is_padded ? static_cast<std::size_t>(width[1] - '0') : 0;
    if (number.size() < digits)
        number.insert(0, digits - number.size(), '0');
    return pattern.substr(0, start) + number + pattern.substr(end + 1);
}

} // namespace gas_app
