// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>

#include <gas/grid/gas_grid_resolution.h>

namespace {

using Counts = std::array<unsigned, 3>;

constexpr unsigned largest_target = 0xFFFFFFFFu;

/// A box from the origin.
GMathBbox3<float> make_box(float x, float y, float z) { return {{0.0f, 0.0f, 0.0f}, {x, y, z}}; }

Counts get_counts(const GMathBbox3<float>& box, unsigned target) {
    const GasGridResolution grid(box, target);
    return {grid.counts[0], grid.counts[1], grid.counts[2]};
}

Counts get_counts(float x, float y, float z, unsigned target) {
    return get_counts(make_box(x, y, z), target);
}

std::optional<unsigned> find_cell(const GasGridResolution& grid, const GMathVec3<float>& point) {
    unsigned cell = 0xabcdef;
    if (!grid.find_cell(point, cell))
        return std::nullopt;
    return cell;
}

} // namespace

TEST(GridResolution, ACubeIsDividedAlikeOnEveryAxis) {
    EXPECT_EQ(get_counts(3.0f, 3.0f, 3.0f, 1), (Counts{1, 1, 1}));
    EXPECT_EQ(get_counts(3.0f, 3.0f, 3.0f, 8), (Counts{2, 2, 2}));
    EXPECT_EQ(get_counts(0.5f, 0.5f, 0.5f, 1000), (Counts{10, 10, 10}));
    EXPECT_EQ(get_counts(1e30f, 1e30f, 1e30f, 27), (Counts{3, 3, 3}));
}

TEST(GridResolution, CountsAreRoundedToTheNearest) {
    // Cube roots 1.442, 1.587 and 2.466, 2.571.
    EXPECT_EQ(get_counts(1.0f, 1.0f, 1.0f, 3), (Counts{1, 1, 1}));
    EXPECT_EQ(get_counts(1.0f, 1.0f, 1.0f, 4), (Counts{2, 2, 2}));
    EXPECT_EQ(get_counts(1.0f, 1.0f, 1.0f, 15), (Counts{2, 2, 2}));
    EXPECT_EQ(get_counts(1.0f, 1.0f, 1.0f, 17), (Counts{3, 3, 3}));
}

TEST(GridResolution, ATargetOfNoneIsOneCell) {
    EXPECT_EQ(get_counts(1.0f, 2.0f, 3.0f, 0), (Counts{1, 1, 1}));
}

TEST(GridResolution, AxesAreDividedByTheirExtent) {
    // 20 along the longest: the cube root of 1000 / (1/2 1/4) or of 2000 / (1/2 1/2).
    EXPECT_EQ(get_counts(4.0f, 2.0f, 1.0f, 1000), (Counts{20, 10, 5}));
    EXPECT_EQ(get_counts(1.0f, 4.0f, 2.0f, 1000), (Counts{5, 20, 10}));
    EXPECT_EQ(get_counts(2.0f, 1.0f, 4.0f, 1000), (Counts{10, 5, 20}));
    EXPECT_EQ(get_counts(4.0f, 2.0f, 2.0f, 2000), (Counts{20, 10, 10}));
    // Equal largest extents.
    EXPECT_EQ(get_counts(4.0f, 4.0f, 1.0f, 2000), (Counts{20, 20, 5}));
    EXPECT_EQ(get_counts(4.0f, 1.0f, 4.0f, 2000), (Counts{20, 5, 20}));
    EXPECT_EQ(get_counts(1.0f, 4.0f, 4.0f, 2000), (Counts{5, 20, 20}));
}

TEST(GridResolution, AShortAxisCountsAsATenthOfTheLongest) {
    // The cube root of 10 / (1/10 1/10) is 10.
    EXPECT_EQ(get_counts(100.0f, 1.0f, 1.0f, 10), (Counts{10, 1, 1}));
    EXPECT_EQ(get_counts(100.0f, 1e-4f, 1.0f, 80), (Counts{20, 2, 2}));
    EXPECT_EQ(get_counts(100.0f, 9.0f, 1.0f, 80), (Counts{20, 2, 2}));
    // Well above a tenth it counts itself: the cube root of 10 / (1/5 1/10) is 7.94.
    EXPECT_EQ(get_counts(100.0f, 20.0f, 1.0f, 10), (Counts{8, 2, 1}));
}

TEST(GridResolution, AFlatBoxIsNotDividedAcross) {
    // A tenth for the flat axis: the cube root of 6400 / 10 / (1/10) is 40 where 6400^(1/2) is 80.
    EXPECT_EQ(get_counts(1.0f, 1.0f, 0.0f, 6400), (Counts{40, 40, 1}));
    EXPECT_EQ(get_counts(1.0f, 0.0f, 1.0f, 6400), (Counts{40, 1, 40}));
    EXPECT_EQ(get_counts(0.0f, 1.0f, 1.0f, 6400), (Counts{1, 40, 40}));
    EXPECT_EQ(get_counts(1.0f, 0.0f, 0.0f, 10), (Counts{10, 1, 1}));
    EXPECT_EQ(get_counts(0.0f, 1.0f, 0.0f, 10), (Counts{1, 10, 1}));
    EXPECT_EQ(get_counts(0.0f, 0.0f, 1.0f, 10), (Counts{1, 1, 10}));
    EXPECT_EQ(get_counts(0.0f, 0.0f, 0.0f, 1000), (Counts{1, 1, 1}));
    EXPECT_EQ(get_counts(0.0f, 0.0f, 0.0f, largest_target), (Counts{1, 1, 1}));
}

TEST(GridResolution, TheSmallestExtentThatIsDividedIsJustAboveATenMillionthOfATenth) {
    const float below = 1e-8f; // 9.99999993922529e-9
    const float above = std::nextafter(below, 1.0f);
    EXPECT_EQ(get_counts(below, below, below, 8), (Counts{1, 1, 1}));
    EXPECT_EQ(get_counts(above, above, above, 8), (Counts{2, 2, 2}));
    EXPECT_EQ(get_counts(above, below, above, 8), (Counts{2, 1, 2}));
    const GasGridResolution flat(make_box(above, below, 0.0f), 8);
    EXPECT_GT(flat.inverse_cell_size.x, 0.0);
    EXPECT_EQ(flat.inverse_cell_size.y, 0.0);
    EXPECT_EQ(flat.inverse_cell_size.z, 0.0);
}

TEST(GridResolution, InvertedBoxesAreNotDivided) {
    EXPECT_EQ(get_counts({{1.0f, 1.0f, 1.0f}, {-1.0f, -1.0f, -1.0f}}, 1000), (Counts{1, 1, 1}));
    EXPECT_EQ(get_counts({{0.0f, 5.0f, 0.0f}, {1.0f, -5.0f, 0.0f}}, 10), (Counts{10, 1, 1}));
}

TEST(GridResolution, CellsAreALittleLargerThanExact) {
    const GasGridResolution grid({{-2.0f, 10.0f, 0.0f}, {2.0f, 14.0f, 4.0f}}, 64);
    ASSERT_EQ(grid.get_cell_count(), 64u);
    for (const double inverse :
         {grid.inverse_cell_size.x, grid.inverse_cell_size.y, grid.inverse_cell_size.z})
        EXPECT_EQ(inverse, 0.9999);
    EXPECT_EQ(grid.corner.x, -2.0);
    EXPECT_EQ(grid.corner.y, 10.0);
    EXPECT_EQ(grid.corner.z, 0.0);
}

TEST(GridResolution, CellsGoAlongXFirstThenYThenZ) {
    const GasGridResolution grid(make_box(4.0f, 2.0f, 1.0f), 1000); // 20, 10, 5
    for (unsigned z = 0; z < 5; ++z) {
        for (unsigned y = 0; y < 10; ++y) {
            for (unsigned x = 0; x < 20; ++x) {
                const auto middle = [](unsigned i) {
                    return (static_cast<float>(i) + 0.5f) * 0.2f;
                };
                EXPECT_EQ(find_cell(grid, {middle(x), middle(y), middle(z)}),
                          (z * 10 + y) * 20 + x);
            }
        }
    }
}

TEST(GridResolution, TheFarFacesAreInTheLastCells) {
    const GasGridResolution grid(make_box(4.0f, 2.0f, 1.0f), 1000);
    EXPECT_EQ(find_cell(grid, {0.0f, 0.0f, 0.0f}), 0u);
    EXPECT_EQ(find_cell(grid, {4.0f, 0.0f, 0.0f}), 19u);
    EXPECT_EQ(find_cell(grid, {0.0f, 2.0f, 0.0f}), 9u * 20);
    EXPECT_EQ(find_cell(grid, {0.0f, 0.0f, 1.0f}), 4u * 200);
    EXPECT_EQ(find_cell(grid, {4.0f, 2.0f, 1.0f}), 999u);
    // An exact boundary lies in the cell before it, since cells are larger than exact.
    EXPECT_EQ(find_cell(grid, {2.0f, 0.0f, 0.0f}), 9u);
}

TEST(GridResolution, PointsOutsideHaveNoCell) {
    const GasGridResolution grid(make_box(2.0f, 2.0f, 2.0f), 8);
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const float coordinate : {2.01f, 3.0f, 1e6f, -1.01f, -3.0f, -1e6f}) {
            GMathVec3<float> point = {0.5f, 0.5f, 0.5f};
            point[axis] = coordinate;
            EXPECT_EQ(find_cell(grid, point), std::nullopt) << coordinate;
        }
        // Truncation towards zero brings what is less than a cell below into the first one.
        GMathVec3<float> point = {0.5f, 0.5f, 0.5f};
        point[axis] = -0.99f;
        EXPECT_EQ(find_cell(grid, point), 0u);
    }
}

TEST(GridResolution, AFlatAxisTakesEveryPoint) {
    const GasGridResolution grid(make_box(2.0f, 2.0f, 0.0f), 8);
    for (const float z : {0.0f, 100.0f, -3e38f, 3e38f})
        EXPECT_TRUE(find_cell(grid, {0.5f, 0.5f, z})) << z;
}

// Of a coordinate 64 bits, and of these the lower half: what lies 2^32 cells away comes back.
TEST(GridResolution, CoordinatesAreTakenModulo32Bits) {
    const GasGridResolution grid(make_box(1.0f, 0.0f, 0.0f), 4000000000u);
    ASSERT_GT(grid.counts[0], 7000u);
    ASSERT_EQ(grid.get_cell_count(), grid.counts[0]);
    unsigned found = 0;
    unsigned missed = 0;
    for (const float start : {1e6f, -1e6f, 1e12f, -1e13f}) {
        float x = start;
        for (unsigned i = 0; i < 1000000; ++i) {
            x = std::nextafter(x, 2.0f * start);
            const double coordinate = std::trunc(static_cast<double>(x) * grid.inverse_cell_size.x);
            const double low = coordinate - 4294967296.0 * std::floor(coordinate / 4294967296.0);
            if (low < grid.counts[0]) {
                ++found;
                ASSERT_EQ(find_cell(grid, {x, 0.0f, 0.0f}), static_cast<unsigned>(low)) << x;
            } else if (++missed % 100 == 0) {
                ASSERT_EQ(find_cell(grid, {x, 0.0f, 0.0f}), std::nullopt) << x;
            }
        }
    }
    EXPECT_GT(found, 3u);
}

TEST(GridResolution, CoordinatesBeyond64BitsCountAsZero) {
    const GasGridResolution grid(make_box(1.0f, 1.0f, 1.0f), 1000);
    for (const float far : {1e19f, -1e19f, 3e38f, -3e38f})
        EXPECT_EQ(find_cell(grid, {far, 0.95f, far}), 90u) << far;
}

TEST(GridResolution, TheNumberOfCellsWrapsIn32Bits) {
    // Rounding all three axes up lifts the product above 2^32.
    unsigned wrapped = 0;
    for (unsigned i = 0; i < 2000; ++i) {
        const float y = 0.1f + static_cast<float>(i) * 0.00001f;
        const GasGridResolution grid(make_box(1.0f, y, 0.1f), largest_target);
        const std::uint64_t product =
            std::uint64_t{grid.counts[0]} * grid.counts[1] * grid.counts[2];
        const std::uint64_t low = product % 4294967296u;
        EXPECT_EQ(grid.get_cell_count(), low ? low : 1);
        if (product < 4294967296u)
            continue;
        ++wrapped;
        for (const float x : {0.0f, 0.3f, 0.7f, 1.0f}) {
            const std::optional<unsigned> cell = find_cell(grid, {x, x * y, x * 0.1f});
            ASSERT_TRUE(cell);
            EXPECT_LT(*cell, grid.get_cell_count());
        }
    }
    EXPECT_GT(wrapped, 100u);
}

TEST(GridResolution, WrappedCellsFoldIntoTheOnesThatThereAre) {
    GasGridResolution grid(make_box(1.0f, 1.0f, 1.0f), 1);
    grid.counts[0] = 65536;
    grid.counts[1] = 65536;
    grid.counts[2] = 1;
    grid.inverse_cell_size = {65536.0, 65536.0, 1.0};
    EXPECT_EQ(grid.get_cell_count(), 1u) << "a product of 2^32 leaves one cell";
    EXPECT_EQ(find_cell(grid, {0.5f, 0.5f, 0.0f}), 0u);

    grid.counts[2] = 3;
    grid.counts[0] = 65537; // 3 x 65536 x 65537 leaves 196608
    grid.inverse_cell_size = {65537.0, 65536.0, 3.0};
    ASSERT_EQ(grid.get_cell_count(), 196608u);
    const auto fold = [](std::uint64_t x, std::uint64_t y, std::uint64_t z) {
        return static_cast<unsigned>((z * 65536 + y) * 65537 + x) % 196608u;
    };
    EXPECT_EQ(find_cell(grid, {0.5f, 0.25f, 0.5f}), fold(32768, 16384, 1));
    EXPECT_EQ(find_cell(grid, {0.0f, 0.75f, 0.9f}), fold(0, 49152, 2));
}
