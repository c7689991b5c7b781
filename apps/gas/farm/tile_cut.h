// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <apps/gas/render/renderer.h>

namespace gas_app {

/// A picture cut into tiles of about equal size: runs of the blocks in which it is computed, row by
/// row. Tiles are numbered from 0, and from 1 where people see them.
struct TileCut {
    unsigned block_count = 1;
    /// 1 to `block_count`.
    unsigned tile_count = 1;

    BlockRange get_blocks(unsigned tile) const { return {get_first(tile), get_first(tile + 1)}; }

    /// Tiles for a picture whose tiles nobody chose: of some blocks each, which keep several
    /// threads busy, and enough of them for many ranks.
    static unsigned get_usual_count(unsigned block_count) {
        constexpr unsigned usual_blocks = 64;
        constexpr unsigned most_tiles = 1024;
        const unsigned count = block_count / usual_blocks;
        return count < 1 ? 1 : count < most_tiles ? count : most_tiles;
    }

  private:
    unsigned get_first(unsigned tile) const {
        return static_cast<unsigned>(std::uint64_t{tile} * block_count / tile_count);
    }
};

} // namespace gas_app
