// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/bitmap_font.h>

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

constexpr Color8 ink = {255, 255, 255};

/// The dots of a character as text.
std::string draw(char character) {
    Picture picture(glyph_width, glyph_height);
    draw_text(picture, 0, 0, std::string_view(&character, 1), 1, ink);
    std::string dots;
    for (unsigned y = 0; y < glyph_height; ++y)
        for (unsigned x = 0; x < glyph_width; ++x)
            dots += picture.at(x, y) == ink ? '#' : '.';
    return dots;
}

TEST(BitmapFont, ShowsAOneAsAOne) {
    EXPECT_EQ(draw('1'), "..#.."
                         ".##.."
                         "..#.."
                         "..#.."
                         "..#.."
                         "..#.."
                         ".###.");
}

TEST(BitmapFont, HasDifferentGlyphs) {
    const std::string characters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ.+ ";
    std::set<std::string> glyphs;
    for (const char character : characters)
        glyphs.insert(draw(character));
    EXPECT_EQ(glyphs.size(), characters.size());
    EXPECT_EQ(draw('a'), draw(' '));
}

TEST(BitmapFont, MeasuresWhatItDraws) {
    EXPECT_EQ(get_text_width("", 2), 0u);
    EXPECT_EQ(get_text_width("8", 2), 10u);
    EXPECT_EQ(get_text_width("88", 3), 33u);

    Picture picture(60, 30);
    draw_text(picture, 4, 5, "88", 3, ink);
    unsigned right = 0;
    unsigned bottom = 0;
    for (unsigned y = 0; y < 30; ++y)
        for (unsigned x = 0; x < 60; ++x)
            if (picture.at(x, y) == ink) {
                EXPECT_GE(x, 4u);
                EXPECT_GE(y, 5u);
                right = std::max(right, x);
                bottom = std::max(bottom, y);
            }
    EXPECT_EQ(right, 4 + 33 - 1u);
    EXPECT_EQ(bottom, 5 + 7 * 3 - 1u);
}

TEST(BitmapFont, LosesWhatLiesOutside) {
    Picture picture(3, 3);
    draw_text(picture, 0, 0, "WWWW", 5, ink);
    EXPECT_EQ(picture.at(0, 0), ink);
}

} // namespace
