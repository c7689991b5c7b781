// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/object/gas_object.h>

inline namespace gas_abi1 {

/// Owns the traversal frames of a shading context: gives it frames and frees them at its end.
///
///     CtxShader shader; // one per thread
///     const GasShaderFrames frames(shader);
///
/// The context outlives the owner; no query runs on it when the owner ends. A context that has
/// frames already keeps them, and whoever gave them frees them.
class [[nodiscard]] GasShaderFrames {
  public:
    /// Throws std::bad_alloc where there is no memory; the context then has no frames.
    [[nodiscard]] explicit GasShaderFrames(CtxShader& shader) {
        if (gas_host::get_tree_ctx_slot(shader) || gas_host::get_ray_frame_slot(shader))
            return;
        GasObject::create_ctx(shader);
        m_shader = &shader;
    }
    /// Takes over what the other owner has to free; that one frees nothing any more.
    GasShaderFrames(GasShaderFrames&& other) noexcept : m_shader(other.m_shader) {
        other.m_shader = nullptr;
    }
    GasShaderFrames(const GasShaderFrames&) = delete;
    GasShaderFrames& operator=(const GasShaderFrames&) = delete;
    ~GasShaderFrames() {
        if (m_shader)
            GasObject::destroy_ctx(*m_shader);
    }

  private:
    /// Null where there is nothing to free.
    CtxShader* m_shader = nullptr;
};

} // namespace gas_abi1
