// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/light_picture.h>

#include <bit>
#include <cstring>
#include <string>

namespace gas_app {

std::vector<unsigned char> encode_pfm(const LightPicture& picture) {
    // The sign of the scale tells the byte order.
    const char* const scale = std::endian::native == std::endian::little ? "-1.0" : "1.0";
    const std::string header = "PF\n" + std::to_string(picture.width) + " " +
                               std::to_string(picture.height) + "\n" + scale + "\n";
    std::vector<unsigned char> bytes(header.size() + picture.pixels.size() * sizeof(Vec3f));
    std::memcpy(bytes.data(), header.data(), header.size());
    // Rows go from bottom to top.
    const std::size_t row_size = picture.width * sizeof(Vec3f);
    unsigned char* row = bytes.data() + header.size();
    for (unsigned y = picture.height; y-- > 0; row += row_size)
        std::memcpy(row, &picture.at(0, y), row_size);
    return bytes;
}

} // namespace gas_app
