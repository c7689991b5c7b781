// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <apps/gas/farm/tile_cut.h>

namespace gas_app {

/// What the numbers of a tile are.
enum class TileContent : std::uint32_t {
    light, ///< of each pixel, red, green and blue, before it becomes a colour
    costs  ///< of each pixel, for a heat map
};

/// What a tile is a part of: equal for all tiles of a picture, wherever they were made.
struct TileSource {
    static constexpr std::uint32_t no_frame = 0xFFFFFFFFu;

    /// Of the scene and the camera, of the options that matter to the picture, and of the
    /// mathematical functions of the machine.
    std::uint64_t scene_hash = 0;
    std::uint64_t options_hash = 0;
    std::uint64_t functions_hash = 0;
    unsigned width = 1;
    unsigned height = 1;
    unsigned tile_count = 1;
    std::uint32_t frame = no_frame;
    TileContent content = TileContent::light;
    std::uint64_t seed = 0;
    /// Of the program.
    std::string version;
    /// Of a heat map: the walk that was counted, for its legend.
    std::string walk;

    bool operator==(const TileSource&) const = default;
    TileCut get_cut() const;
    unsigned get_channel_count() const { return content == TileContent::light ? 3 : 1; }
    /// What is in `tile` that differs from here, where `source` and this one are not equal, as the
    /// end of a sentence on the tile: "is of another scene".
    std::string describe_difference(const TileSource& source) const;
};

/// Some of a picture's pixels, as they are before anything that takes the whole picture.
struct PictureTile {
    TileSource source;
    /// From 0 on.
    unsigned tile = 0;
    RayCounts ray_counts;
    GasWalkCounts walk_counts;
    /// Block by block, its pixels row by row, channel by channel.
    std::vector<double> values;
    /// Of the file that it was read from.
    std::uint64_t checksum = 0;
};

/// How often a value stands in a tile.
std::size_t count_values(const TileSource& source, unsigned tile);

/// The end of the name of a tile's file.
inline constexpr const char* tile_file_ending = ".gastile";
/// Such as "tile-03-of-16.gastile".
std::string get_tile_name(unsigned tile, unsigned tile_count);

/// The bytes of a tile's file, the same for the same tile.
std::vector<unsigned char> encode_tile(const PictureTile& tile);
/// Throws a UserError that names the file and what is wrong with it.
PictureTile read_tile(const std::string& path);

} // namespace gas_app
