// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// The scene's light in each pixel, linear and not clamped (1: bright white paper in the sun); rows
/// from top to bottom.
struct LightPicture {
    unsigned width = 0;
    unsigned height = 0;
    std::vector<Vec3f> pixels;

    LightPicture() = default;
    LightPicture(unsigned picture_width, unsigned picture_height)
        : width(picture_width), height(picture_height),
          pixels(std::size_t{picture_width} * picture_height) {}

    Vec3f& at(unsigned x, unsigned y) { return pixels[std::size_t{y} * width + x]; }
    const Vec3f& at(unsigned x, unsigned y) const { return pixels[std::size_t{y} * width + x]; }
};

static_assert(sizeof(Vec3f) == 3 * sizeof(float), "rows go into files as they are");

/// The bytes of a PFM file in this machine's byte order, which the file tells.
std::vector<unsigned char> encode_pfm(const LightPicture& picture);

/// Whether the program was built with OpenEXR.
bool can_encode_exr();
/// The bytes of an OpenEXR file; `can_encode_exr()` holds.
std::vector<unsigned char> encode_exr(const LightPicture& picture);

} // namespace gas_app
