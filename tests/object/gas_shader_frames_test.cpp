// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include <gas/object/gas_shader_frames.h>

#include <tests/support/allocation_attempts.h>

// What gives a shading context its frames, and frees them.

namespace {

bool has_frames(const CtxShader& shader) { return shader.tree_ctx_slot && shader.ray_frame_slot; }
bool has_none(const CtxShader& shader) { return !shader.tree_ctx_slot && !shader.ray_frame_slot; }

} // namespace

TEST(ShaderFrames, LastAsLongAsTheirOwner) {
    CtxShader shader;
    const std::int64_t live = support::count_live_blocks();
    {
        const GasShaderFrames frames(shader);
        EXPECT_TRUE(has_frames(shader));
        EXPECT_GT(support::count_live_blocks(), live);
    }
    EXPECT_TRUE(has_none(shader));
    EXPECT_EQ(support::count_live_blocks(), live);
}

TEST(ShaderFrames, AContextThatHasFramesKeepsThem) {
    CtxShader shader;
    GasObject::create_ctx(shader);
    const void* const tree_ctx = shader.tree_ctx_slot;
    const void* const ray_frame = shader.ray_frame_slot;
    { const GasShaderFrames frames(shader); }
    EXPECT_EQ(shader.tree_ctx_slot, tree_ctx);
    EXPECT_EQ(shader.ray_frame_slot, ray_frame);
    GasObject::destroy_ctx(shader);

    const GasShaderFrames outer(shader);
    { const GasShaderFrames inner(shader); }
    EXPECT_TRUE(has_frames(shader));
}

TEST(ShaderFrames, AnOwnerHandsThemOn) {
    CtxShader shader;
    {
        GasShaderFrames first(shader);
        {
            const GasShaderFrames second(std::move(first));
            EXPECT_TRUE(has_frames(shader));
        }
        EXPECT_TRUE(has_none(shader));
    }
    EXPECT_TRUE(has_none(shader));
    static_assert(std::is_nothrow_move_constructible_v<GasShaderFrames>);
    static_assert(!std::is_copy_constructible_v<GasShaderFrames>);
}

TEST(ShaderFrames, WithoutMemoryTheContextStaysWithoutFrames) {
    for (std::uint64_t nth = 0;; ++nth) {
        CtxShader shader;
        const support::Attempt attempt =
            support::attempt(nth, [&] { const GasShaderFrames frames(shader); });
        EXPECT_TRUE(has_none(shader));
        EXPECT_EQ(attempt.thrown, attempt.reached);
        if (!attempt.reached)
            break;
        ASSERT_LT(nth, 10u);
    }
}
