// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

// Motion queries over boxes that move from one place to the next with each sample.

namespace {

using naive::Box;
using support::RayQuery;
using support::row_of_boxes;
using Items = std::vector<unsigned>;

template <typename Traced> class TreesMotionRays : public testing::Test {
  protected:
    TreesMotionRays() : calls(tree), batch(1) {}

    /// Sample s has the row 100 s further along y.
    void build(unsigned sample_count) {
        support::build(tree, row_of_boxes(3));
        std::vector<std::vector<Box>> samples;
        for (unsigned sample = 0; sample < sample_count; ++sample) {
            samples.push_back(row_of_boxes(3));
            for (Box& box : samples.back()) {
                box.min[1] += 100.0f * static_cast<float>(sample);
                box.max[1] += 100.0f * static_cast<float>(sample);
            }
        }
        support::fill_samples(tree, samples);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, sample_count));
    }

    /// What a ray along the row meets at this height.
    Items run(double height, float time) {
        batch.set_ray(0, {-1.0, height, 0.5}, {1.0, 0.0, 0.0}, 0.0, 1000.0, time);
        trace(tree, Traced::query, shader, batch.get_ctx());
        for (const support::LeafCall& call : calls.calls)
            EXPECT_EQ(call.callback, Traced::query);
        return calls.take_items();
    }

    typename Traced::Tree tree;
    support::RecordingCallbacks calls;
    support::TestShader shader;
    GeometryRayBatch batch;
};

TYPED_TEST_SUITE(TreesMotionRays, support::BothTreesMotionQueries, support::TreeQueryNames);

} // namespace

TYPED_TEST(TreesMotionRays, ARayMeetsTheBoxesOfItsTime) {
    this->build(3);
    const Items all = {0, 1, 2};
    for (unsigned i = 0; i <= 8; ++i) {
        const float time = 0.125f * static_cast<float>(i);
        const double height = 200.0 * static_cast<double>(time) + 0.5;
        EXPECT_EQ(this->run(height, time), all) << time;
        EXPECT_EQ(this->run(height + 20.0, time), Items{}) << time;
        EXPECT_EQ(this->run(height - 20.0, time), Items{}) << time;
    }
    EXPECT_EQ(this->run(0.5, -1.0f), all);
    EXPECT_EQ(this->run(200.5, 2.0f), all);
}

TYPED_TEST(TreesMotionRays, SamplesMayTurnTheOrderAround) {
    const std::vector<Box> row = row_of_boxes(3);
    support::build(this->tree, row);
    support::fill_samples(this->tree, {row, {row[2], row[1], row[0]}});
    this->shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(this->run(0.5, 0.0f), (Items{0, 1, 2}));
    EXPECT_EQ(this->run(0.5, 1.0f), (Items{2, 1, 0}));
}

TYPED_TEST(TreesMotionRays, SharesBlendLaterAndEarlier) {
    // The lone box of interest moves from 0 to 100 along y; a quarter of the way it is at 25.
    this->build(2);
    EXPECT_EQ(this->run(25.5, 0.25f), (Items{0, 1, 2}));
    EXPECT_EQ(this->run(75.5, 0.25f), Items{});
}

// Broken contracts assert in debug builds; elsewhere they do no harm.
#ifdef NDEBUG
TYPED_TEST(TreesMotionRays, ASampleThatWasNeverFilledIsNotTraced) {
    this->build(2);
    this->tree.set_motion_blur_sample_count(4);
    this->shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    EXPECT_EQ(this->run(0.5, 0.5f), Items{});
    EXPECT_EQ(this->run(0.5, 1.0f), Items{});
    EXPECT_EQ(this->run(0.5, 0.0f), (Items{0, 1, 2}));
}
#else
TYPED_TEST(TreesMotionRays, ASampleThatWasNeverFilledAsserts) {
    this->build(2);
    this->tree.set_motion_blur_sample_count(4);
    this->shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
    EXPECT_DEATH(this->run(0.5, 0.5f), "never filled");
}
#endif
