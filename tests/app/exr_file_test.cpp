// SPDX-License-Identifier: Apache-2.0
#include <OpenEXR/ImfChannelList.h>
#include <OpenEXR/ImfFrameBuffer.h>
#include <OpenEXR/ImfHeader.h>
#include <OpenEXR/ImfInputFile.h>

#include <gtest/gtest.h>

#include <apps/gas/image/light_picture.h>

#include <tests/app/temporary_folder.h>

namespace {

using namespace gas_app;

LightPicture make_light() {
    LightPicture picture(37, 11);
    for (unsigned y = 0; y < picture.height; ++y)
        for (unsigned x = 0; x < picture.width; ++x)
            picture.at(x, y) = {0.1f * static_cast<float>(x), 1e-20f, 1e6f * static_cast<float>(y)};
    return picture;
}

TEST(ExrFile, KeepsEveryFloat) {
    const LightPicture picture = make_light();
    const std::vector<unsigned char> bytes = encode_exr(picture);
    const TemporaryFolder folder;
    const std::string path = folder.write("a.exr", std::string(bytes.begin(), bytes.end()));

    Imf::InputFile file(path.c_str());
    const Imath::Box2i window = file.header().dataWindow();
    ASSERT_EQ(window.max.x - window.min.x + 1, 37);
    ASSERT_EQ(window.max.y - window.min.y + 1, 11);
    LightPicture read(37, 11);
    Imf::FrameBuffer channels;
    unsigned offset = 0;
    for (const char* name : {"R", "G", "B"}) {
        ASSERT_NE(file.header().channels().findChannel(name), nullptr);
        char* const base = reinterpret_cast<char*>(read.pixels.data()) + offset;
        channels.insert(name, Imf::Slice(Imf::FLOAT, base, sizeof(Vec3f), 37 * sizeof(Vec3f)));
        offset += sizeof(float);
    }
    file.setFrameBuffer(channels);
    file.readPixels(window.min.y, window.max.y);
    EXPECT_TRUE(read.pixels == picture.pixels);
}

TEST(ExrFile, GivesEqualBytesForEqualPictures) {
    EXPECT_EQ(encode_exr(make_light()), encode_exr(make_light()));
}

} // namespace
