// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <vector>

#include <gas/diagnostics/gas_validate.h>

namespace {

using Boxes = std::vector<GMathBbox3<float>>;
using Flaws = std::vector<std::string>;
constexpr float nan_value = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

Flaws validate(const Boxes& boxes, unsigned max_count = 20) {
    return gas_validate_boxes(boxes.data(), static_cast<unsigned>(boxes.size()), max_count);
}

} // namespace

TEST(GasValidateBoxes, BoxesThatAreOrderedAndFiniteAreGood) {
    EXPECT_EQ(gas_validate_boxes(static_cast<const GMathBbox3<float>*>(nullptr), 0), Flaws());
    constexpr float most = std::numeric_limits<float>::max();
    EXPECT_EQ(validate({{{0, 0, 0}, {0, 0, 0}},
                        {{-1, -2, -3}, {4, 5, 6}},
                        {{-most, -most, -most}, {most, most, most}}}),
              Flaws());
}

TEST(GasValidateBoxes, EveryCoordinateIsNamed) {
    const char* const names[] = {"min x", "min y", "min z", "max x", "max y", "max z"};
    for (unsigned coordinate = 0; coordinate < 6; ++coordinate) {
        Boxes boxes(5, {{0, 0, 0}, {1, 1, 1}});
        GMathVec3<float>& corner = coordinate < 3 ? boxes[3].min : boxes[3].max;
        corner[coordinate % 3] = nan_value;
        const std::string name = names[coordinate];
        EXPECT_EQ(validate(boxes), Flaws{"item 3: the box has a NaN (" + name + ")"});
        corner[coordinate % 3] = coordinate < 3 ? -infinity : infinity;
        EXPECT_EQ(validate(boxes), Flaws{"item 3: the box is infinite (" + name + ")"});
    }
}

TEST(GasValidateBoxes, ABoxMayBeWrongInSeveralWays) {
    EXPECT_EQ(validate({{{2, nan_value, infinity}, {1, nan_value, -infinity}}}),
              (Flaws{"item 0: the box has a NaN (min y, max y)", "item 0: min is above max (x, z)",
                     "item 0: the box is infinite (min z, max z)"}));
}

TEST(GasValidateBoxes, TheSentencesAreLimited) {
    const Boxes boxes(12, {{1, 0, 0}, {0, 0, 0}});
    EXPECT_EQ(validate(boxes, 12).size(), 12u);
    EXPECT_EQ(validate(boxes, 2),
              (Flaws{"item 0: min is above max (x)", "item 1: min is above max (x)",
                     "10 more are not listed"}));
    EXPECT_EQ(validate(boxes, 0), Flaws{"12 more are not listed"});
}

TEST(GasValidateBoxes, OfDoublesTheFloatsCount) {
    const std::vector<GMathBbox3<double>> boxes = {{{0, 0, 0}, {1, 1, 1}},
                                                   {{-1e300, 0, 0}, {1, 1, 1}}};
    EXPECT_EQ(gas_validate_boxes(boxes.data(), 2), Flaws{"item 1: the box is infinite (min x)"});
}
