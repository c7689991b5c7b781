// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include <apps/gas/math/vector_math.h>

namespace gas_app {

/// Eight bits each of red, green and blue.
struct Color8 {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;

    bool operator==(const Color8&) const = default;
};

/// A picture, rows from top to bottom.
class Picture {
  public:
    Picture(unsigned width, unsigned height)
        : m_width(width), m_height(height), m_pixels(std::size_t{width} * height) {}

    unsigned get_width() const { return m_width; }
    unsigned get_height() const { return m_height; }
    const Color8* get_pixels() const { return m_pixels.data(); }

    Color8& at(unsigned x, unsigned y) { return m_pixels[std::size_t{y} * m_width + x]; }
    const Color8& at(unsigned x, unsigned y) const {
        return m_pixels[std::size_t{y} * m_width + x];
    }

    /// Fills the part of a rectangle that lies in the picture.
    void fill(unsigned left, unsigned top, unsigned width, unsigned height, Color8 color);

  private:
    unsigned m_width;
    unsigned m_height;
    std::vector<Color8> m_pixels;
};

static_assert(sizeof(Color8) == 3, "rows are handed to the PNG library as they are");

/// Maps scene light (1: bright white paper in the sun) to 0..1 and encodes it as sRGB. `noise`
/// (0..1) decides which of the two nearest codes is taken, so that gradients show no bands.
Color8 encode_light(const Vec3& light, double noise);

/// The picture as the bytes of a PNG file; equal pictures give equal bytes. Throws when memory runs
/// out.
std::vector<unsigned char> encode_png(const Picture& picture);

/// As above, of at most 256 colours: for each pixel its place among them.
std::vector<unsigned char> encode_png(unsigned width, unsigned height,
                                      const std::vector<std::uint8_t>& pixels,
                                      const std::vector<Color8>& colors);

/// The picture as the bytes of a binary PPM file.
std::vector<unsigned char> encode_ppm(const Picture& picture);

} // namespace gas_app
