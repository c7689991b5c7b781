// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/scene/gas_box_padding.h>

#include <apps/gas/scene/shape.h>

namespace gas_app {

/// The leaf callbacks of a shape, for any kind of items. `Items` is the shape's class; it offers
///
///     Item get_item_at(unsigned item, const Moment& moment) const
///
/// and what that returns
///
///     bool intersect(const LocalRay& ray, double near_distance, ItemHit& hit) const
///     Box get_box() const
///
/// where a hit before `near_distance` may be reported; it is ignored. The range of rays is not
/// empty.
template <typename Items> struct ShapeCallbacks {
    static void find_any_hit(void* user, const unsigned& item, const CtxEval& eval, CtxShader&,
                             GeometryRaytraceCtx& ctx) {
        const Items& items = *static_cast<const Items*>(user);
        const TraceState& state = TraceState::of(eval);
        for_each_ray(items, item, state, ctx, [&](const auto& placed, unsigned ray) {
            ItemHit hit;
            if (!ctx.is_hit(ray) && is_hit(items, placed, state.local_rays[ray], ctx, ray, hit) &&
                hit.distance < ctx.get_tfar(ray))
                ctx.set_hit(ray);
        });
    }

    static void find_nearest_hit(void* user, const unsigned& item, const CtxEval& eval, CtxShader&,
                                 GeometryRaytraceCtx& ctx) {
        const Items& items = *static_cast<const Items*>(user);
        TraceState& state = TraceState::of(eval);
        for_each_ray(items, item, state, ctx, [&](const auto& placed, unsigned ray) {
            ItemHit hit;
            if (is_hit(items, placed, state.local_rays[ray], ctx, ray, hit))
                record(state, item, hit, ctx, ray);
        });
    }

  private:
    /// Calls `meet(the item at the ray's moment, ray)`; an item that does not move is
    /// looked up once for all rays.
    template <typename Meet>
    static void for_each_ray(const Items& items, unsigned item, const TraceState& state,
                             const GeometryRaytraceCtx& ctx, const Meet& meet) {
        const unsigned first = static_cast<unsigned>(ctx.get_first_ray());
        const unsigned last = static_cast<unsigned>(ctx.get_last_ray());
        auto placed = items.get_item_at(item, state.local_rays[first].moment);
        meet(placed, first);
        const bool moves = first < last && items.get_sample_count() > 1;
        for (unsigned ray = first + 1; ray <= last; ++ray) {
            if (moves)
                placed = items.get_item_at(item, state.local_rays[ray].moment);
            meet(placed, ray);
        }
    }

    template <typename Item>
    static bool is_hit(const Items& items, const Item& item, const LocalRay& ray,
                       const GeometryRaytraceCtx& ctx, unsigned index, ItemHit& hit) {
        const double near_distance = ctx.get_tnear(index);
        return item.intersect(ray, near_distance, hit) && hit.distance > near_distance &&
               gas_is_within_padding(item.get_box(), ray.origin + ray.direction * hit.distance,
                                     items.get_tree().get_padding());
    }

    /// At equal distance the lower instance, then the lower item is kept, in any order of calls;
    /// the distance does not change then.
    static void record(TraceState& state, unsigned item, const ItemHit& hit,
                       const GeometryRaytraceCtx& ctx, unsigned ray) {
        GeometryIntersectionPath& path = ctx.get_intersection_path(ray);
        SceneHit& best = state.hits[state.local_rays[ray].scene_ray];
        const SceneHit found{state.instance, item, hit.u, hit.v};
        if (ctx.record_nearest_hit(ray, hit.distance, item))
            best = found;
        else if (hit.distance == path.get_hit_distance() && best.is_hit() &&
                 found.comes_before(best))
            best = found;
    }
};

} // namespace gas_app
