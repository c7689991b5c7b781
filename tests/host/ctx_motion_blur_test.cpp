// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include <gas/host/host.h>

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

void expect_span(const CtxMotionBlur& motion, float time, unsigned sample, float fraction) {
    unsigned got_sample = 12345;
    float got_fraction = -1.0f;
    motion.get_time_spanf(time, got_sample, got_fraction);
    EXPECT_EQ(got_sample, sample) << "time " << time;
    EXPECT_EQ(got_fraction, fraction) << "time " << time;
}

struct Span {
    float time;
    unsigned sample;
    float fraction;
};
void expect_spans(const CtxMotionBlur& motion, const std::vector<Span>& spans) {
    for (const Span& span : spans)
        expect_span(motion, span.time, span.sample, span.fraction);
}

TEST(CtxMotionBlur, StepsFromSampleToSample) {
    EXPECT_EQ(CtxMotionBlur().get_time_step(), 0.0);
    EXPECT_EQ(CtxMotionBlur(0.25f, 0.75f, 1).get_time_step(), 0.0);
    EXPECT_EQ(CtxMotionBlur(0.25f, 0.75f, 2).get_time_step(), 0.5);
    EXPECT_EQ(CtxMotionBlur(-1.0f, 1.0f, 5).get_time_step(), 0.5);
    EXPECT_EQ(CtxMotionBlur(1.0f, 0.0f, 3).get_time_step(), -0.5);
}

} // namespace

TEST(CtxMotionBlur, FewerThanTwoSamplesHaveNoSpan) {
    for (const float time : {-1.0f, 0.0f, 0.5f, 1.0f, infinity}) {
        expect_span(CtxMotionBlur(), time, 0, 0.0f);
        expect_span(CtxMotionBlur(0.0f, 1.0f, 1), time, 0, 0.0f);
    }
}

TEST(CtxMotionBlur, TwoSamplesSpanTheShutter) {
    expect_spans(CtxMotionBlur(2.0f, 4.0f, 2),
                 {{2.0f, 0, 0.0f}, {2.5f, 0, 0.25f}, {3.0f, 0, 0.5f}, {4.0f, 0, 1.0f}});
}

TEST(CtxMotionBlur, ATimeOnASampleStartsItsSpan) {
    const CtxMotionBlur motion(0.0f, 1.0f, 5);
    expect_spans(motion, {{0.0f, 0, 0.0f}, {0.25f, 1, 0.0f}, {0.375f, 1, 0.5f}});
    expect_spans(motion, {{0.75f, 3, 0.0f}, {0.875f, 3, 0.5f}});
    expect_spans(motion, {{1.0f, 3, 1.0f}}); // there is no span after the last sample
}

TEST(CtxMotionBlur, TimesOutsideCountAsTheNearerEnd) {
    const CtxMotionBlur motion(0.0f, 1.0f, 5);
    for (const float time : {-1e-30f, -1.0f, -3e38f, -infinity})
        expect_span(motion, time, 0, 0.0f);
    for (const float time : {1.0000001f, 2.0f, 3e38f, infinity})
        expect_span(motion, time, 3, 1.0f);
}

TEST(CtxMotionBlur, ANanCountsAsTheOpening) {
    const float nan = std::nanf("");
    expect_span(CtxMotionBlur(0.0f, 1.0f, 5), nan, 0, 0.0f);
    expect_span(CtxMotionBlur(nan, 1.0f, 5), 0.5f, 0, 0.0f);
    expect_span(CtxMotionBlur(0.0f, nan, 5), 0.5f, 0, 0.0f);
}

TEST(CtxMotionBlur, AShutterThatNeverOpensStandsAtItsFirstSample) {
    expect_span(CtxMotionBlur(0.5f, 0.5f, 5), 0.5f, 0, 0.0f);
    expect_span(CtxMotionBlur(0.5f, 0.5f, 5), 9.0f, 0, 0.0f);
    expect_span(CtxMotionBlur(1.0f, 0.0f, 5), 0.5f, 0, 0.0f);
}

TEST(CtxMotionBlur, HugeShuttersAndCountsStayInRange) {
    for (const unsigned count : {2u, 3u, 16777217u, 16777219u, 33554435u, 0xFFFFFFFFu})
        for (const float open : {-3e38f, -1.0f, 0.0f})
            for (const float close : {1e-40f, 1.0f, 3e38f}) {
                const CtxMotionBlur motion(open, close, count);
                for (int sixteenth = -4; sixteenth < 24; ++sixteenth) {
                    const float part = static_cast<float>(sixteenth) * 0.0625f;
                    const float time = open + part * (close - open);
                    unsigned sample = 0xFFFFFFFFu;
                    float fraction = -1.0f;
                    motion.get_time_spanf(time, sample, fraction);
                    ASSERT_LE(sample, count - 2);
                    ASSERT_GE(fraction, 0.0f);
                    ASSERT_LE(fraction, 1.0f);
                }
            }
}

TEST(CtxMotionBlur, SpansOnlyMoveForwardInTime) {
    const CtxMotionBlur motion(0.0f, 1.0f, 7);
    float before = 0.0f;
    for (unsigned step = 0; step <= 100000; ++step) {
        unsigned sample;
        float fraction;
        motion.get_time_spanf(static_cast<float>(step) / 100000.0f, sample, fraction);
        const float position = static_cast<float>(sample) + fraction;
        ASSERT_GE(position, before);
        before = position;
    }
}

TEST(CtxShader, StartsWithoutFramesOrMotion) {
    CtxShader shader;
    EXPECT_EQ(shader.tree_ctx_slot, nullptr);
    EXPECT_EQ(shader.ray_frame_slot, nullptr);
    EXPECT_EQ(shader.get_motion_blur_sample_count(), 0u);

    shader.set_motion_blur(CtxMotionBlur(0.0f, 2.0f, 3));
    EXPECT_EQ(gas_host::get_motion_blur_sample_count(shader), 3u);
    EXPECT_EQ(gas_host::get_motion_blur(shader).get_shutter_close(), 2.0f);
    EXPECT_EQ(gas_host::get_motion_blur(shader).get_shutter_open(), 0.0f);
}

TEST(CtxShader, SlotsAreReachedByReference) {
    CtxShader shader;
    int frame = 0;
    gas_host::get_tree_ctx_slot(shader) = &frame;
    EXPECT_EQ(shader.tree_ctx_slot, &frame);
    EXPECT_EQ(shader.ray_frame_slot, nullptr);
    gas_host::get_ray_frame_slot(shader) = &frame;
    EXPECT_EQ(shader.ray_frame_slot, &frame);

    shader.intersection_flags = 9;
    shader.intersection_bias = 0.125;
    EXPECT_EQ(gas_host::get_intersection_flags(shader), 9u);
    EXPECT_EQ(gas_host::get_intersection_bias(shader), 0.125);
}
