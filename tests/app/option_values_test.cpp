// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/option_values.h>

#include <gmock/gmock.h>

#include <apps/common/user_error.h>

namespace {

using namespace gas_app;

TEST(OptionValues, ReadsSizes) {
    const PictureSize size = parse_size("640x400");
    EXPECT_EQ(size.width, 640u);
    EXPECT_EQ(size.height, 400u);
    EXPECT_EQ(parse_size("1x16384").height, 16384u);
    EXPECT_EQ(parse_size("8192x8192").width, 8192u);
}

TEST(OptionValues, RefusesOtherSizes) {
    for (const char* text :
         {"", "x", "640", "640x", "x400", "0x400", "640x0", "-1x4", "+3x4", "6.5x4", "640 x 400",
          "16385x1", "4294967297x1", "99999999999999x1", "3x4x5", "640X400", "16384x16384"})
        EXPECT_THROW(parse_size(text), UserError) << text;
}

TEST(OptionValues, ReadsViewPoints) {
    const ViewPoint plain = parse_view("-30,12.5");
    EXPECT_EQ(plain.azimuth, -30.0);
    EXPECT_EQ(plain.elevation, 12.5);
    EXPECT_EQ(plain.zoom, 1.0);
    EXPECT_EQ(parse_view("0,-90,2.5").zoom, 2.5);
}

TEST(OptionValues, RefusesOtherViewPoints) {
    for (const char* text : {"", ",", "30", "30,", "30,91", "30,10,0", "30,10,1,1", "a,b", "nan,0",
                             "0,nan", "inf,0", "30,10,1,", "1e9,0"})
        EXPECT_THROW(parse_view(text), UserError) << text;
}

TEST(OptionValues, ReadsWhatACameraLooksAt) {
    const LookAt look_at = parse_look_at("-1,0.1,1e9,0.25");
    EXPECT_EQ(look_at.target, (Vec3{-1.0, 0.1, 1e9}));
    EXPECT_EQ(look_at.distance, 0.25);
    for (const char* text : {"", "1,2,3", "1,2,3,0", "1,2,3,-1", "1,2,3,4,5", "1,2,x,4",
                             "nan,2,3,4", "1,2,3,inf", "2e9,2,3,4", "1,2,3,"})
        EXPECT_THROW(parse_look_at(text), UserError) << text;
}

TEST(OptionValues, ReadsPointsAndBoxes) {
    EXPECT_EQ(parse_point("-1,0.1,3e38", "--nearest"), (Vec3f{-1.0f, 0.1f, 3e38f}));
    const GMathBbox3<float> box = parse_box("0,1,2,0,3,4.5", "--box");
    EXPECT_EQ(box.min, (Vec3f{0.0f, 1.0f, 2.0f}));
    EXPECT_EQ(box.max, (Vec3f{0.0f, 3.0f, 4.5f}));
}

TEST(OptionValues, RefusesOtherPointsAndBoxes) {
    for (const char* text :
         {"", ",,", "1,2", "1,2,", "1,2,3,4", "1,2,x", "1,nan,3", "-inf,2,3", "1,2,1e39", "1, 2,3"})
        EXPECT_THROW(parse_point(text, "--nearest"), UserError) << text;
    for (const char* text :
         {"", "0,0,0", "0,0,0,1,1", "0,0,0,1,1,1,1", "0,0,0,1,1,", "0,0,0,1,1,nan", "0,0,2,1,1,1"})
        EXPECT_THROW(parse_box(text, "--box"), UserError) << text;
}

TEST(OptionValues, NamesTheOption) {
    try {
        parse_number("nan", "--detail", 0.5, 20.0);
        FAIL() << "a NaN is no number in a range";
    } catch (const OptionError& error) {
        EXPECT_STREQ(error.what(), "--detail nan: expected a number from 0.5 to 20");
    }
}

TEST(OptionValues, ReadsSeeds) {
    EXPECT_EQ(parse_seed("0"), 0u);
    EXPECT_EQ(parse_seed("18446744073709551615"), ~std::uint64_t{0});
    for (const char* text : {"", "-1", "+1", "1.5", "18446744073709551616", "x"})
        EXPECT_THROW(parse_seed(text), UserError) << text;
}

TEST(OptionValues, ReadsSwitches) {
    EXPECT_TRUE(parse_switch("on", "--wide"));
    EXPECT_FALSE(parse_switch("off", "--wide"));
    EXPECT_EQ(parse_streams("off"), StreamChoice::none);
    EXPECT_EQ(parse_streams("on"), StreamChoice::scattered_rays);
    EXPECT_EQ(parse_streams("all"), StreamChoice::all_rays);
    for (const char* text : {"", "On", "1", "yes", "offf"}) {
        EXPECT_THROW(parse_switch(text, "--wide"), UserError) << text;
        EXPECT_THROW(parse_streams(text), UserError) << text;
    }
}

TEST(OptionValues, ReadsNames) {
    EXPECT_EQ(parse_build_method("median"), 0u);
    EXPECT_EQ(parse_build_method("hybrid"), 1u);
    EXPECT_EQ(parse_build_method("sah-fast"), 2u);
    EXPECT_EQ(parse_build_method("sah"), 3u);
    EXPECT_THROW(parse_build_method("SAH"), UserError);
    EXPECT_THROW(parse_build_method(""), UserError);
    EXPECT_EQ(parse_tree_kind("plain"), TreeKind::plain);
    EXPECT_EQ(parse_tree_kind("compressed"), TreeKind::compressed);
    EXPECT_EQ(parse_tree_kind("grid"), TreeKind::grid);
    EXPECT_THROW(parse_tree_kind("Plain"), UserError);
    EXPECT_THROW(parse_tree_kind(""), UserError);
    EXPECT_EQ(parse_axis("x"), 0u);
    EXPECT_EQ(parse_axis("z"), 2u);
    for (const char* text : {"", "w", "xy", "-z"})
        EXPECT_THROW(parse_axis(text), UserError) << text;
}

} // namespace
