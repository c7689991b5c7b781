// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/object/gas_object.h>
#include <gas/traversal/frame/gas_raytrace_frame.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

namespace support {

/// A shading context that has traversal frames as long as it lives.
class TestShader : public CtxShader {
  public:
    TestShader() { GasObject::create_ctx(*this); }
    ~TestShader() { GasObject::destroy_ctx(*this); }

    /// The frames that the next query takes.
    GasTreeCtx& get_tree_ctx() const { return *static_cast<GasTreeCtx*>(tree_ctx_slot); }
    GasRaytraceFrame& get_ray_frame() const {
        return *static_cast<GasRaytraceFrame*>(ray_frame_slot);
    }
};

} // namespace support
