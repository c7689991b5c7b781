// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/test_shader.h>

namespace support {

inline constexpr double far_away = 1000.0;

/// A tree, callbacks that write down what it calls, and a ray along a row of boxes.
template <typename Tree> struct RowRay {
    RowRay() : calls(tree), batch(1) {}

    /// Along the row from before its first box; enters box i at 10 i + 1.
    void aim_forward(int slot = 0, double near = 0.0, double far = far_away) {
        batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, near, far, ray_time, slot);
    }
    void aim_forward_at(float time) {
        ray_time = time;
        aim_forward();
    }
    /// Away from every box.
    void aim_away(int slot = 0) {
        batch.set_ray(0, {-1.0, 0.5, 0.5}, {-1.0, 0.0, 0.0}, 0.0, far_away, ray_time, slot);
    }

    /// The items that the query calls, in order.
    std::vector<unsigned> run(RayQuery query) {
        trace(tree, query, shader, batch.get_ctx());
        return calls.take_items();
    }

    /// Of the rays that are aimed from then on.
    float ray_time = 0.0f;
    Tree tree;
    RecordingCallbacks calls;
    TestShader shader;
    GeometryRayBatch batch;
};

/// The items along a ray that passes every box of a row.
template <typename Tree> std::vector<unsigned> get_items_along_row(Tree& tree, RayQuery query) {
    RecordingCallbacks calls(tree);
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, tree.get_motion_blur_sample_count()));
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-1.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, 0.5f);
    trace(tree, query, shader, batch.get_ctx());
    return calls.take_items();
}

} // namespace support
