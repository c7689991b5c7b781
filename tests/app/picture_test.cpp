// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/picture.h>

#include <cstring>
#include <string>

#include <png.h>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

Picture make_picture() {
    Picture picture(37, 11);
    for (unsigned y = 0; y < picture.get_height(); ++y)
        for (unsigned x = 0; x < picture.get_width(); ++x)
            picture.at(x, y) = {static_cast<std::uint8_t>(7 * x), static_cast<std::uint8_t>(23 * y),
                                static_cast<std::uint8_t>(x * y)};
    return picture;
}

TEST(Picture, SurvivesThePngFile) {
    const Picture picture = make_picture();
    const std::vector<unsigned char> bytes = encode_png(picture);

    png_image image = {};
    image.version = PNG_IMAGE_VERSION;
    ASSERT_TRUE(png_image_begin_read_from_memory(&image, bytes.data(), bytes.size()));
    ASSERT_EQ(image.width, picture.get_width());
    ASSERT_EQ(image.height, picture.get_height());
    image.format = PNG_FORMAT_RGB;
    std::vector<unsigned char> pixels(PNG_IMAGE_SIZE(image));
    ASSERT_TRUE(png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr));
    for (unsigned index = 0; index < picture.get_width() * picture.get_height(); ++index) {
        const Color8& color = picture.get_pixels()[index];
        EXPECT_EQ(pixels[3 * index], color.red);
        EXPECT_EQ(pixels[3 * index + 1], color.green);
        EXPECT_EQ(pixels[3 * index + 2], color.blue);
    }
}

TEST(Picture, IsStoredAsItIsInAPpmFile) {
    const Picture picture = make_picture();
    const std::vector<unsigned char> bytes = encode_ppm(picture);
    const std::string header = "P6\n37 11\n255\n";
    ASSERT_EQ(bytes.size(), header.size() + 3 * 37 * 11);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + static_cast<long>(header.size())), header);
    EXPECT_EQ(std::memcmp(bytes.data() + header.size(), picture.get_pixels(), 3 * 37 * 11), 0);
}

TEST(Picture, GivesEqualBytesForEqualPictures) {
    EXPECT_EQ(encode_png(make_picture()), encode_png(make_picture()));
}

TEST(Picture, FillsNoMoreThanItHas) {
    Picture picture(4, 3);
    picture.fill(2, 1, 100, 100, {9, 9, 9});
    EXPECT_EQ(picture.at(1, 1), (Color8{0, 0, 0}));
    EXPECT_EQ(picture.at(2, 0), (Color8{0, 0, 0}));
    EXPECT_EQ(picture.at(2, 1), (Color8{9, 9, 9}));
    EXPECT_EQ(picture.at(3, 2), (Color8{9, 9, 9}));
}

TEST(Picture, EncodesMoreLightAsBrighter) {
    EXPECT_EQ(encode_light({0.0, 0.0, 0.0}, 0.5), (Color8{0, 0, 0}));
    EXPECT_EQ(encode_light({1e9, 1e9, 1e9}, 0.5), (Color8{255, 255, 255}));
    EXPECT_EQ(encode_light({-1.0, std::nan(""), 0.0}, 0.0).red, 0);
    int previous = -1;
    for (double light = 0.0; light < 4.0; light += 0.01) {
        const Color8 color = encode_light({light, 0.0, 0.0}, 0.5);
        EXPECT_GE(color.red, previous);
        EXPECT_EQ(color.green, 0);
        previous = color.red;
    }
}

} // namespace
