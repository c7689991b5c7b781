// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/heat_map.h>

#include <limits>

#include <gtest/gtest.h>

namespace {

using namespace gas_app;

TEST(HeatMap, GetsLighterAllTheWay) {
    int previous = -1;
    for (int step = 0; step <= 100; ++step) {
        const Color8 color = get_heat_color(step / 100.0);
        const int lightness = 2 * color.red + 5 * color.green + color.blue;
        EXPECT_GT(lightness, previous) << step;
        previous = lightness;
    }
}

TEST(HeatMap, ClampsColors) {
    EXPECT_EQ(get_heat_color(-1.0), get_heat_color(0.0));
    EXPECT_EQ(get_heat_color(std::numeric_limits<double>::quiet_NaN()), get_heat_color(0.0));
    EXPECT_EQ(get_heat_color(1e30), get_heat_color(1.0));
}

TEST(HeatMap, EndsTheScaleAtARoundNumber) {
    EXPECT_EQ(get_scale_end({}), 1.0);
    EXPECT_EQ(get_scale_end({0.0, 0.0}), 1.0);
    EXPECT_EQ(get_scale_end({1.2}), 1.5);
    EXPECT_EQ(get_scale_end({2.0, 100.0}), 100.0);
    EXPECT_EQ(get_scale_end({101.0}), 150.0);
    EXPECT_EQ(get_scale_end({300.5}), 500.0);
    EXPECT_EQ(get_scale_end({6e6}), 7.5e6);
}

TEST(HeatMap, LeavesOneCostInTwoHundredAboveTheScale) {
    std::vector<double> costs(400, 4.0);
    costs[7] = 1e6;
    costs[200] = 1e6;
    EXPECT_EQ(get_scale_end(costs), 5.0);
    costs[300] = 1e6;
    EXPECT_EQ(get_scale_end(costs), 1e6);
}

TEST(HeatMap, FormatsNumbersOfTheScale) {
    EXPECT_EQ(format_scale_number(0.0), "0");
    EXPECT_EQ(format_scale_number(7.5), "7.5");
    EXPECT_EQ(format_scale_number(75.0), "75");
    EXPECT_EQ(format_scale_number(37.5), "38");
    EXPECT_EQ(format_scale_number(2e6), "2000000");
}

TEST(HeatMap, DrawsTheLegendOverThePicture) {
    Picture picture(640, 400);
    draw_heat_map(picture, std::vector<double>(640 * 400, 3.0), "single");
    EXPECT_EQ(picture.at(0, 0), get_heat_color(1.0));

    // The scale runs from left to right somewhere near the lower edge.
    bool found = false;
    for (unsigned y = 340; y < 400; ++y)
        found = found || (picture.at(17, y) == get_heat_color(0.5 / 608 + 1.0 / 608) &&
                          picture.at(622, y) == get_heat_color(606.5 / 608));
    EXPECT_TRUE(found);
}

TEST(HeatMap, NamesTheWalkInItsLegend) {
    const auto draw = [](const char* walk) {
        Picture picture(640, 400);
        draw_heat_map(picture, std::vector<double>(640 * 400, 3.0), walk);
        return encode_png(picture);
    };
    EXPECT_TRUE(draw("single, width 4") == draw("SINGLE  WIDTH 4"));
    EXPECT_FALSE(draw("single, width 4") == draw("single, width 2"));
}

TEST(HeatMap, SparesSmallPicturesTheLegend) {
    Picture picture(16, 10);
    draw_heat_map(picture, std::vector<double>(160, 1.0), "single");
    EXPECT_EQ(picture.at(8, 9), get_heat_color(1.0));
}

} // namespace
