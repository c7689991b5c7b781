// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

namespace gas_app {

/// How a picture is stored in a file.
enum class ImageFormat {
    png, ///< eight-bit colours
    ppm, ///< eight-bit colours, not compressed
    pfm, ///< light as floats, not compressed
    exr  ///< light as floats, where the program was built with OpenEXR
};

/// Their names on the command line and, after a dot, at the end of file names; in the order of
/// their values.
inline constexpr std::array<std::string_view, 4> image_format_names = {"png", "ppm", "pfm", "exr"};

inline bool holds_light(ImageFormat format) {
    return format == ImageFormat::pfm || format == ImageFormat::exr;
}

} // namespace gas_app
