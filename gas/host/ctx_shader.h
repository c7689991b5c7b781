// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/ctx_motion_blur.h>

inline namespace gas_abi1 {

/// One thread's shading context: motion-blur settings, the settings that a nearest-hit query hands
/// to its intersection map, and two slots for the traversal frames of the library.
///
/// Used by one thread at a time. A GasShaderFrames fills the slots and empties them at its end, as
/// `GasObject::create_ctx` and `GasObject::destroy_ctx` do by hand. The context does not free
/// frames by itself, so it must be emptied before it is destroyed. Not copyable, because a copy
/// would share the frames.
class CtxShader {
  public:
    CtxShader() = default;
    CtxShader(const CtxShader&) = delete;
    CtxShader& operator=(const CtxShader&) = delete;

    const CtxMotionBlur& get_motion_blur() const { return m_motion_blur; }
    void set_motion_blur(const CtxMotionBlur& motion_blur) { m_motion_blur = motion_blur; }
    unsigned get_motion_blur_sample_count() const { return m_motion_blur.get_sample_count(); }

    /// Bits for the host's callbacks.
    unsigned intersection_flags = 0;
    /// How far secondary rays start off a surface; for the host's callbacks.
    double intersection_bias = 0.0;

    /// Owned by the library; null while there are no frames.
    void* tree_ctx_slot = nullptr;
    void* ray_frame_slot = nullptr;

  private:
    CtxMotionBlur m_motion_blur;
};

} // namespace gas_abi1
