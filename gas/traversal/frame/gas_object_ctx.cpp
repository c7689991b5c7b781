// SPDX-License-Identifier: Apache-2.0
#include <memory>

#include <gas/object/gas_object.h>
#include <gas/traversal/frame/gas_raytrace_frame.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

inline namespace gas_abi1 {

void GasObject::create_ctx(CtxShader& shader) {
    auto frame = std::make_unique<GasRaytraceFrame>();
    gas_host::get_tree_ctx_slot(shader) = new GasTreeCtx;
    gas_host::get_ray_frame_slot(shader) = frame.release();
}

void GasObject::destroy_ctx(CtxShader& shader) {
    void*& frame_slot = gas_host::get_ray_frame_slot(shader);
    delete static_cast<GasRaytraceFrame*>(frame_slot);
    frame_slot = nullptr;

    void*& ctx_slot = gas_host::get_tree_ctx_slot(shader);
    delete static_cast<GasTreeCtx*>(ctx_slot);
    ctx_slot = nullptr;
}

} // namespace gas_abi1
