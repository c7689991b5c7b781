// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/picture.h>

#include <cstring>
#include <stdexcept>
#include <string>

#include <png.h>

namespace gas_app {

void Picture::fill(unsigned left, unsigned top, unsigned width, unsigned height, Color8 color) {
    const unsigned right = std::min(m_width, left + width);
    const unsigned bottom = std::min(m_height, top + height);
    for (unsigned y = top; y < bottom; ++y)
        for (unsigned x = left; x < right; ++x)
            at(x, y) = color;
}

namespace {

/// The curve of film: some contrast in the shadows, a soft shoulder for highlights (a rational fit
/// by Narkowicz, 2015).
double tone_map(double light) {
    const double x = std::max(light, 0.0);
    return std::min(1.0, x * (2.51 * x + 0.03) / (x * (2.43 * x + 0.59) + 0.14));
}

double encode_srgb(double value) {
    return value <= 0.0031308 ? 12.92 * value : 1.055 * std::pow(value, 1.0 / 2.4) - 0.055;
}

std::uint8_t quantize(double value, double noise) {
    return static_cast<std::uint8_t>(std::clamp(std::floor(value * 255.0 + noise), 0.0, 255.0));
}

} // namespace

Color8 encode_light(const Vec3& light, double noise) {
    constexpr double exposure = 0.62;
    const auto encode = [noise](double channel) {
        return quantize(encode_srgb(tone_map(channel * exposure)), noise);
    };
    return {encode(light.x), encode(light.y), encode(light.z)};
}

namespace {

std::vector<unsigned char> write_png(png_image& image, const void* pixels, const void* colors) {
    std::vector<unsigned char> bytes(PNG_IMAGE_PNG_SIZE_MAX(image));
    png_alloc_size_t size = bytes.size();
    constexpr int keep_eight_bits = 0;
    constexpr int packed_rows = 0;
    if (!png_image_write_to_memory(&image, bytes.data(), &size, keep_eight_bits, pixels,
                                   packed_rows, colors))
        throw std::runtime_error(std::string("the picture cannot be encoded: ") + image.message);
    bytes.resize(size);
    return bytes;
}

} // namespace

std::vector<unsigned char> encode_png(const Picture& picture) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = picture.get_width();
    image.height = picture.get_height();
    image.format = PNG_FORMAT_RGB;
    return write_png(image, picture.get_pixels(), nullptr);
}

std::vector<unsigned char> encode_png(unsigned width, unsigned height,
                                      const std::vector<std::uint8_t>& pixels,
                                      const std::vector<Color8>& colors) {
    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    image.width = width;
    image.height = height;
    image.format = PNG_FORMAT_RGB_COLORMAP;
    image.colormap_entries = static_cast<png_uint_32>(colors.size());
    return write_png(image, pixels.data(), colors.data());
}

std::vector<unsigned char> encode_ppm(const Picture& picture) {
    const std::string header = "P6\n" + std::to_string(picture.get_width()) + " " +
                               std::to_string(picture.get_height()) + "\n255\n";
    const std::size_t size =
        std::size_t{picture.get_width()} * picture.get_height() * sizeof(Color8);
    std::vector<unsigned char> bytes(header.size() + size);
    std::memcpy(bytes.data(), header.data(), header.size());
    std::memcpy(bytes.data() + header.size(), picture.get_pixels(), size);
    return bytes;
}

} // namespace gas_app
