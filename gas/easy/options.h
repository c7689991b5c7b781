// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <functional>

#include <gas/easy/values.h>

namespace gas {
inline namespace gas_abi1 {

/// What a tree is made of.
enum class Kind {
    /// The plain hierarchy: the fastest rays and builds, and the only one that is refitted in
    /// place.
    /// 64 bytes an item, and about 60 more with wide nodes.
    plain,
    /// Quantized boxes: 16 bytes an item.
    compressed,
    /// Two levels; the lower ones are built where rays first reach them.
    grid
};

/// How a build divides items. SAH: surface area heuristic.
enum class Method {
    /// In the middle: the fastest build.
    median,
    /// In the middle above 128 items, below by the SAH.
    hybrid,
    /// Binned SAH along the widest axis.
    sah_fast,
    /// Binned SAH along all axes: the slowest build, the fastest rays.
    sah
};

/// Calls its function once for each number below `count`, in any order, on any threads, and returns
/// when all calls have. It may call them one after the other.
using ParallelFor =
    std::function<void(std::size_t count, const std::function<void(std::size_t)>& call)>;

struct Options {
    Kind kind = Kind::plain;
    Method method = Method::sah_fast;
    /// Threads that a build may use, the calling one included; 0: all that the machine has. The
    /// tree is the same for any number.
    unsigned threads = 0;
    /// The threads of a renderer that has its own: builds then use none but these, `threads` of
    /// them. The cells of a grid are built by threads that trace, and by the library's own.
    ParallelFor parallel_for = nullptr;
    /// Plain trees keep their boxes once more, four to a record, for faster rays.
    bool wide_nodes = true;
    /// The largest coordinate, without its sign, of all boxes at all times, and of most points that
    /// rays start from; boxes are padded by 2^-19 of it, so that no hit is lost to rounding. 0:
    /// twice that of the boxes. Rays from beyond lose no hits, they are only a little slower.
    double reach = 0.0;
    /// The items of a grid for each of its cells, in the mean; at least 1.
    std::size_t items_per_cell = 256;
    /// Called by a build on its calling thread with a fraction from 0 to 1 that grows. False stops
    /// the build, which then throws Stopped.
    std::function<bool(double)> progress = nullptr;
};

} // namespace gas_abi1
} // namespace gas
