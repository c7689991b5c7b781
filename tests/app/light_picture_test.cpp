// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/light_picture.h>

#include <bit>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

TEST(LightPicture, IsStoredFromBottomToTopInAPfmFile) {
    LightPicture picture(3, 2);
    for (unsigned y = 0; y < 2; ++y)
        for (unsigned x = 0; x < 3; ++x)
            picture.at(x, y) = {static_cast<float>(x), static_cast<float>(y), -1e9f};
    const std::vector<unsigned char> bytes = encode_pfm(picture);

    const std::string header =
        std::endian::native == std::endian::little ? "PF\n3 2\n-1.0\n" : "PF\n3 2\n1.0\n";
    ASSERT_EQ(bytes.size(), header.size() + 6 * 12);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + static_cast<long>(header.size())), header);
    for (unsigned row = 0; row < 2; ++row)
        for (unsigned x = 0; x < 3; ++x) {
            Vec3f pixel;
            std::memcpy(&pixel, bytes.data() + header.size() + (row * 3 + x) * 12, 12);
            EXPECT_EQ(pixel, picture.at(x, 1 - row));
        }
}

} // namespace
