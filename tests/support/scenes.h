// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include <tests/naive/naive_tree.h>

/// Seeded box scenes, equal bit by bit on every compiler.
namespace scenes {

enum class Kind {
    random,          ///< boxes of mixed sizes, spread evenly
    clustered,       ///< small boxes in a few tight, distant groups
    flat,            ///< all in one plane across an axis, without thickness
    collinear,       ///< centres on a line along an axis, many of them equal
    coincident,      ///< all centres equal: identical or concentric boxes
    huge,            ///< coordinates around 1e30
    tiny,            ///< coordinates around 1e-12
    grid,            ///< touching unit boxes of a cube
    nested,          ///< each box inside the next larger one, sharing a corner
    diagonal,        ///< centres spread equally along all three axes
    geometric_chain, ///< touching boxes that shrink by a ratio along an axis
    sheet,           ///< x from -3e38 to 3e38, y shrinking by a ratio, no thickness
};

const char* name(Kind kind);
const std::vector<Kind>& all_kinds();
/// `count` boxes; the seed also picks axes, ratios and the order of the items.
std::vector<naive::Box> make(Kind kind, unsigned count, std::uint64_t seed);

/// Boxes from 2^126 down along `axis`, each `ratio` times the one before, largest first; once they
/// underflow they coincide at 0.
std::vector<naive::Box> geometric_chain(unsigned count, float ratio, unsigned axis);
/// Lines across x whose y shrinks from 2^126 by `ratio`, largest first. Their areas overflow.
std::vector<naive::Box> sheet(unsigned count, float ratio);

} // namespace scenes
