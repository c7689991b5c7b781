#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Called for each leaf that a query reaches, with the user pointer that was registered beside it.
/// `item` is the leaf's position in the boxes that the tree was built over, or the entry of the
/// caller's index array there. The callback looks at the rays first..last of `ctx`.
using GasLeafCallback = void (*)(void* user, const unsigned& item, const CtxEval& eval,
                                 CtxShader& shader, GeometryRaytraceCtx& ctx);

/// The four leaf callbacks of a tree and their user pointer. They are never null: one that was not
/// set does nothing.
struct GasLeafCallbacks {
    GasLeafCallback hit_static = ignore;
    GasLeafCallback hit_motion = ignore;
    GasLeafCallback hit_nearest_static = ignore;
    GasLeafCallback hit_nearest_motion = ignore;
    void* user = nullptr;

    /// Replaces each callback whose argument is not null, and always the user pointer.
    void set(GasLeafCallback new_static, GasLeafCallback new_motion,
             GasLeafCallback new_nearest_static, GasLeafCallback new_nearest_motion,
             void* new_user) {
        if (new_static)
            hit_static = new_static;
        if (new_motion)
            hit_motion = new_motion;
        if (new_nearest_static)
            hit_nearest_static = new_nearest_static;
        if (new_nearest_motion)
            hit_nearest_motion = new_nearest_motion;
        user = new_user;
    }

    static void ignore(void*, const unsigned&, const CtxEval&, CtxShader&, GeometryRaytraceCtx&) {}
};

} // namespace gas_abi1
