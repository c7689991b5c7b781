// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/gas_export.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Called for each leaf that a query reaches, with the user pointer that was registered beside it.
/// `item` is the leaf's position in the boxes that the tree was built over, or the entry of the
/// caller's index array there. The callback looks at the rays first..last of `ctx`.
///
/// Every leaf whose box a ray crosses is called, unless the ray was stopped or shortened before;
/// not every leaf that is called is crossed. The cached leaf of the ray's slot is called first,
/// whatever its box, and again where an all-hits walk comes to it; a lone leaf's box is tested only
/// for batches that go together. So a callback intersects its item with the ray between the ray's
/// distances, and an all-hits callback that adds something up must know an item that it has seen.
///
/// What it may do to these rays, and what follows. The bound of a ray is its far distance in an
/// all-hits query and its hit distance in a nearest-hit query; it is read again after each call.
///
/// * Set the ray's hit flag. An all-hits ray stops there. A nearest-hit ray goes on; a flag that is
///   set and a bound that came nearer in the same call are a hit, and its leaf the cached one.
/// * Bring the bound nearer. Boxes are tested against the bound of the moment at which a walk of
///   the tree's own nodes expands their parent, so that less is reached from here on. What was
///   reached before is pending: an all-hits ray visits it all the same, a nearest-hit ray leaves
///   out what it enters at or beyond the bound.
/// * Move the bound away, also beyond where the ray started, or to a NaN, which no box is within.
///   More is reached from here on; a box that a ray missed before is not tested again. A pending
///   node that a nearest-hit ray has left out does not come back.
///
/// The calls of a ray are the same whether its tree has wide nodes and whether it is one of a
/// stream: a faster walk that cannot follow what happened to a bound hands the ray over to the walk
/// of the tree's own nodes. A nearest-hit batch whose rays go together reads the bounds of the rays
/// first..last again after the call. Origin, direction, near distance and time stay as they are.
using GasLeafCallback = void (*)(void* user, const unsigned& item, const CtxEval& eval,
                                 CtxShader& shader, GeometryRaytraceCtx& ctx);

/// A leaf callback by the query that calls it.
enum class GasRayCall { hit_static, hit_motion, nearest_static, nearest_motion };

/// How rays are handed over: by a query, or as a stream.
enum class GasRayWay { query, stream };

/// For trees whose queries take no such argument: a lone leaf is called for all rays at once, and
/// its box is never tested.
inline constexpr bool gas_calls_lone_leaf = true;

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

    GasLeafCallback get(GasRayCall call) const {
        switch (call) {
        case GasRayCall::hit_static:
            return hit_static;
        case GasRayCall::hit_motion:
            return hit_motion;
        case GasRayCall::nearest_static:
            return hit_nearest_static;
        case GasRayCall::nearest_motion:
            return hit_nearest_motion;
        }
        return ignore;
    }

    /// Out of line: queries of all instruction sets compare with its one address.
    GAS_EXPORT static void ignore(void* user, const unsigned& item, const CtxEval& eval,
                                  CtxShader& shader, GeometryRaytraceCtx& ctx);
};

} // namespace gas_abi1
