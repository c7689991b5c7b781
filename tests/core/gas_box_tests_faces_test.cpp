// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <gas/core/gas_box_tests.h>
#include <gas/tree/gas_tree.h>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

// Rays that lie exactly in faces and edges of boxes: 0 x infinity in every float box test. No box
// whose closed region holds a part of the ray may be missed.

namespace {

using naive::Box;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

constexpr float infinity = std::numeric_limits<float>::infinity();

void expect_loaded(const double (&inverse)[3], const float (&expected)[3]) {
    const SimdF lanes = GasLaneRay::load_inverse(inverse[0], inverse[1], inverse[2]);
    for (unsigned lane = 0; lane < 3; ++lane)
        EXPECT_EQ(lanes.get(lane), expected[lane]) << lane;
}

TEST(LaneRay, AnInfiniteInverseIsLoadedAsPlusInfinity) {
    constexpr double wide = std::numeric_limits<double>::infinity();
    expect_loaded({wide, -wide, 2.5}, {infinity, infinity, 2.5f});
    expect_loaded({-2.5, wide, -wide}, {-2.5f, infinity, infinity});
    // Beyond all floats.
    expect_loaded({-1e39, 1e39, -1e300}, {infinity, infinity, infinity});
    constexpr float largest = std::numeric_limits<float>::max();
    constexpr double wide_largest = static_cast<double>(largest);
    expect_loaded({wide_largest, -wide_largest, 0.0}, {largest, -largest, 0.0f});
    const SimdF loaded = GasLaneRay::load_inverse(-0.0, std::nan(""), -std::nan(""));
    EXPECT_TRUE(std::signbit(loaded.get(0)));
    EXPECT_TRUE(std::isnan(loaded.get(1)));
    EXPECT_TRUE(std::isnan(loaded.get(2)));
}

TEST(LaneRay, LaneWIsZero) {
    const GasLaneRay ray(GMathBasicRay({1.0, 2.0, 3.0}, {0.0, -0.0, -4.0}), 0.5);
    const float origin[4] = {1.0f, 2.0f, 3.0f, 0.0f};
    const float inverse[4] = {infinity, infinity, -0.25f, 0.0f};
    for (unsigned lane = 0; lane < 4; ++lane) {
        EXPECT_EQ(ray.origin.get(lane), origin[lane]);
        EXPECT_EQ(ray.inverse_direction.get(lane), inverse[lane]);
        EXPECT_EQ(ray.near_distance.get(lane), 0.5f);
    }
}

struct PairResult {
    int hits;
    float entries[2];
};

/// Tests two boxes whose fourth lanes hold what must not matter.
PairResult test_pair(const GasLaneRay& ray, float far_distance, const Box& first,
                     const Box& second) {
    const auto load = [](const float(&corner)[3]) {
        return SimdF(corner[0], corner[1], corner[2], 0.0f);
    };
    SimdF entries;
    const int hits = gas_test_box_pair(
        ray, SimdF(far_distance),
        {{load(first.min), load(first.max)}, {load(second.min), load(second.max)}}, entries);
    return {hits, {entries.get(0), entries.get(1)}};
}

TEST(BoxPairTest, EachBoxHasItsOwnBitAndEntry) {
    const Box near_box = {{1.0f, -1.0f, -1.0f}, {2.0f, 1.0f, 1.0f}};
    const Box far_box = {{5.0f, -1.0f, -1.0f}, {6.0f, 1.0f, 1.0f}};
    const Box off = {{1.0f, 7.0f, -1.0f}, {2.0f, 8.0f, 1.0f}};
    const GasLaneRay ray(GMathBasicRay({0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}), 0.0);
    PairResult result = test_pair(ray, 100.0f, near_box, far_box);
    EXPECT_EQ(result.hits, 3);
    EXPECT_EQ(result.entries[0], 1.0f);
    EXPECT_EQ(result.entries[1], 5.0f);
    result = test_pair(ray, 100.0f, far_box, off);
    EXPECT_EQ(result.hits, 1);
    EXPECT_EQ(result.entries[0], 5.0f);
    result = test_pair(ray, 100.0f, off, near_box);
    EXPECT_EQ(result.hits, 2);
    EXPECT_EQ(result.entries[1], 1.0f);
    EXPECT_EQ(test_pair(ray, 4.0f, far_box, off).hits, 0);
    EXPECT_EQ(test_pair(ray, 5.0f, far_box, off).hits, 1);
}

TEST(BoxPairTest, TheEntryIsNeverBelowTheNearDistance) {
    const Box box = {{1.0f, -1.0f, -1.0f}, {9.0f, 1.0f, 1.0f}};
    const GasLaneRay ray(GMathBasicRay({0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}), 3.0);
    const PairResult result = test_pair(ray, 100.0f, box, box);
    EXPECT_EQ(result.hits, 3);
    EXPECT_EQ(result.entries[0], 3.0f);
    EXPECT_EQ(result.entries[1], 3.0f);
}

TEST(BoxPairTest, ARayInAFaceOrEdgeEntersWhereTheOtherAxesSay) {
    const Box box = {{4.0f, 0.0f, 0.0f}, {5.0f, 1.0f, 1.0f}};
    const Box slab = {{4.0f, 0.0f, -1.0f}, {5.0f, 0.0f, 1.0f}}; // without thickness in y
    for (const double y : {0.0, 0.5, 1.0}) {
        for (const double z : {0.0, 0.5, 1.0}) {
            for (const double zero : {0.0, -0.0}) {
                for (const double sign : {1.0, -1.0}) {
                    const GMathBasicRay line({sign > 0.0 ? 0.0 : 9.0, y, z}, {sign, zero, zero});
                    const GasLaneRay ray(line, 0.0);
                    const PairResult result = test_pair(ray, 100.0f, box, slab);
                    EXPECT_EQ(result.hits, y == 0.0 ? 3 : 1) << y << " " << z << " " << sign;
                    EXPECT_EQ(result.entries[0], 4.0f);
                }
            }
        }
    }
}

TEST(BoxPairTest, ARayJustOutsideAFaceMisses) {
    const Box box = {{4.0f, 0.0f, 0.0f}, {5.0f, 1.0f, 1.0f}};
    const double below = -static_cast<double>(std::numeric_limits<float>::denorm_min());
    const double above = 1.0 + static_cast<double>(std::numeric_limits<float>::epsilon());
    for (const auto& [y, z] : {std::pair{below, 0.5},
                               {above, 0.5},
                               {0.5, below},
                               {0.5, above},
                               {0.0, above},
                               {1.0, below}}) {
        const GasLaneRay ray(GMathBasicRay({0.0, y, z}, {1.0, 0.0, 0.0}), 0.0);
        EXPECT_EQ(test_pair(ray, 100.0f, box, box).hits, 0) << y << " " << z;
    }
}

/// Whether an axis-parallel ray between its distances shares a point with the closed box, exactly.
bool touches(const Box& box, const double (&origin)[3], unsigned axis, double direction,
             double near, double far) {
    for (unsigned other = 0; other < 3; ++other) {
        if (other == axis)
            continue;
        if (origin[other] < static_cast<double>(box.min[other]) ||
            origin[other] > static_cast<double>(box.max[other]))
            return false;
    }
    const double from = origin[axis] + direction * near;
    const double to = origin[axis] + direction * far;
    return std::max(from, to) >= static_cast<double>(box.min[axis]) &&
           std::min(from, to) <= static_cast<double>(box.max[axis]);
}

/// A grid of touching boxes between the planes, and a flat box in each of their faces.
std::vector<Box> grid_with_faces(const std::vector<float>& planes) {
    std::vector<Box> boxes;
    const std::size_t cells = planes.size() - 1;
    for (std::size_t i = 0; i < cells * cells * cells; ++i) {
        const std::size_t cell[3] = {i % cells, i / cells % cells, i / cells / cells};
        Box box;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = planes[cell[axis]];
            box.max[axis] = planes[cell[axis] + 1];
        }
        boxes.push_back(box);
        for (unsigned axis = 0; axis < 3; ++axis) {
            Box face = box;
            face.max[axis] = face.min[axis];
            boxes.push_back(face);
            face.min[axis] = face.max[axis] = box.max[axis];
            boxes.push_back(face);
        }
    }
    return boxes;
}

struct Parallel {
    double origin[3];
    unsigned axis;
    double direction;
    double zero;
};

/// Along each axis, both ways, with zeros of both signs: through every plane, between them, and
/// outside; starting before the grid, in a plane, and inside.
std::vector<Parallel> parallels(const std::vector<float>& planes) {
    std::vector<double> places;
    for (std::size_t i = 0; i < planes.size(); ++i) {
        places.push_back(static_cast<double>(planes[i]));
        if (i + 1 < planes.size())
            places.push_back(static_cast<double>(planes[i] + (planes[i + 1] - planes[i]) * 0.5f));
    }
    const double before = static_cast<double>(planes.front()) - 8.0;
    const double after = static_cast<double>(planes.back()) + 8.0;
    std::vector<Parallel> rays;
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const double u : places) {
            for (const double v : places) {
                for (const double start : {before, places[2], places[3], after}) {
                    for (const double direction : {1.0, -1.0, 0.25}) {
                        for (const double zero : {0.0, -0.0}) {
                            Parallel ray = {{u, u, u}, axis, direction, zero};
                            ray.origin[axis] = start;
                            ray.origin[(axis + 1) % 3] = v;
                            rays.push_back(ray);
                        }
                    }
                }
            }
        }
    }
    return rays;
}

class RaysInFaces : public testing::TestWithParam<naive::Split> {
  protected:
    void expect_none_missed(const std::vector<float>& planes) {
        const std::vector<Box> boxes = grid_with_faces(planes);
        GasTree tree;
        support::build(tree, boxes, GetParam());
        support::fill_samples(tree, {boxes, boxes});
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        RecordingCallbacks calls(tree);
        GeometryRayBatch batch(1);
        constexpr double near = 0.0;
        constexpr double far = 1e4;
        unsigned touched = 0;
        for (const Parallel& ray : parallels(planes)) {
            GMathVec3<double> direction = {ray.zero, ray.zero, ray.zero};
            direction[ray.axis] = ray.direction;
            batch.set_ray(0, {ray.origin[0], ray.origin[1], ray.origin[2]}, direction, near, far,
                          0.5f);
            for (const RayQuery query : support::all_ray_queries) {
                trace(tree, query, shader, batch.get_ctx());
                std::vector<bool> is_called(boxes.size(), false);
                for (const unsigned item : calls.take_items())
                    is_called[item] = true;
                for (std::size_t item = 0; item < boxes.size(); ++item) {
                    if (touches(boxes[item], ray.origin, ray.axis, ray.direction, near, far)) {
                        ++touched;
                        ASSERT_TRUE(is_called[item])
                            << "item " << item << " from " << ray.origin[0] << " " << ray.origin[1]
                            << " " << ray.origin[2] << " along axis " << ray.axis << " times "
                            << ray.direction;
                    }
                }
            }
        }
        EXPECT_GT(touched, 100000u);
    }
};

TEST_P(RaysInFaces, NoTouchedBoxOfAUnitGridIsMissed) {
    expect_none_missed({0.0f, 1.0f, 2.0f, 3.0f});
}

TEST_P(RaysInFaces, NoTouchedBoxOfAnUnevenGridIsMissed) {
    expect_none_missed({-0.7f, -0.1f, 0.3f, 33.1f});
}

INSTANTIATE_TEST_SUITE_P(Splits, RaysInFaces, testing::ValuesIn(support::all_splits),
                         [](const auto& split) { return support::name(split.param); });

} // namespace
