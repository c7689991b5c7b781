// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Gives the distance from `point` to an item, for `get_closest_item` of a tree, which passes its
/// point and user pointer on. `item` is the leaf's position in the boxes that the tree was built
/// over, or the entry of the caller's index array there.
///
/// `get_closest_item(ctx, point, max_distance, callback, user, item, distance)` finds the item of
/// least distance among those at most `max_distance` away; of items at the same distance, the one
/// with the lowest leaf position. That is the result of asking for all items, but only those are
/// asked for whose boxes are near enough, each once, the nearest box first. False: there is none,
/// and `item` and `distance` stay as they were.
///
/// * `max_distance`: +infinity is no limit, 0 finds an item that holds the point, a negative limit
///   one with a signed distance that low, a NaN nothing.
/// * Where the point or a box is not finite, or a box is inverted, all items are asked for; so is a
///   lone item. The boxes are those of the build or the last refit, whatever the samples.
/// * `ctx` lends its stack, 256 entries and a few a level, and for decoded boxes as many slots. It
///   serves no other query meanwhile. Nothing is allocated once it has grown.
/// * A null callback breaks the contract; a release build then finds nothing.
///
/// What is asked of the callback:
///
/// * `bound` is the largest distance that still counts: that of the closest item so far, or
///   `max_distance`. For an item beyond it any larger number will do, so a callback may stop early.
///   +infinity and NaN never count.
/// * The item lies in its box. By rounding, or where the item sticks out of the box, the distance
///   may be less than the box's by up to 2^-19 of the largest coordinate of the point and of the
///   tree's box. Callbacks may thus compute in floats.
/// * A signed distance may be negative where the point lies in the item's box.
/// * The callback may start queries, with other frames than `ctx`. What it throws ends the query
///   and passes through.
using GasClosestItemCallback = double (*)(void* user, const unsigned& item,
                                          const GMathVec3<double>& point, const double& bound);

} // namespace gas_abi1
