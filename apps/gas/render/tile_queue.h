// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <apps/gas/render/pixel_tracer.h>

namespace gas_app {

struct RenderResult {
    RayCounts ray_counts;
    /// Where walks are counted.
    GasWalkCounts walk_counts;
    double seconds = 0.0;
    /// Until the first tile was done.
    double first_tile_seconds = 0.0;
};

/// A run of the tiles in which a picture is computed, which are numbered row by row.
struct BlockRange {
    unsigned first = 0;
    /// Exclusive.
    unsigned last = 0;
};

unsigned get_block_count(const RenderSettings& settings);
Tile get_block(const RenderSettings& settings, unsigned block);

/// Follows a picture whose tiles are computed, on the threads that compute them.
class TileWatch {
  public:
    virtual ~TileWatch() = default;
    /// Whether no more tiles are wanted; asked before each, by several threads at once.
    virtual bool is_stopped() const = 0;
    /// A tile is done; told by one thread at a time. What it throws ends the picture.
    virtual void finish_tile(const Tile& tile) = 0;
};

/// Computes some tiles of the picture on the threads of the settings, the one in the middle first:
/// calls `compute` once per tile, with a tracer of the thread. Throws what a thread throws.
using ComputeTile = std::function<void(PixelTracer& tracer, unsigned block)>;
RenderResult compute_tiles(const Stage& stage, const RenderSettings& settings,
                           const BlockRange& blocks, TileWatch& watch, const ComputeTile& compute);

} // namespace gas_app
