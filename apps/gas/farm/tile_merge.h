// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include <apps/gas/farm/tile_file.h>

namespace gas_app {

/// Joins the tiles of a picture, read from their files in any order.
class TileMerge {
  public:
    /// Adds a file, or all files of tiles in a folder. The first tile says what picture it is; what
    /// is wrong with a file is kept.
    void add(const std::string& path);

    /// Sentences on what is wrong, with the tiles that are missing; none: the picture is whole.
    std::vector<std::string> get_flaws() const;
    bool is_heat_map() const { return m_source && m_source->content == TileContent::costs; }

    /// Of a picture that is whole, whose light is that of its tiles.
    const Picture& get_picture();
    const LightPicture& get_light() const { return m_light; }
    const TileSource& get_source() const { return *m_source; }
    const RayCounts& get_ray_counts() const { return m_ray_counts; }

  private:
    void add_folder(const std::string& path);
    void add_file(const std::string& path);
    void start(const TileSource& source, const std::string& path);
    void paint(const PictureTile& tile);
    std::string describe_missing() const;

    std::vector<std::string> m_flaws;
    std::optional<TileSource> m_source;
    /// The file of the first tile.
    std::string m_first_path;
    /// Per tile, of those that are there: file and checksum.
    struct Found {
        std::string path;
        std::uint64_t checksum = 0;
    };
    std::vector<Found> m_found;
    RayCounts m_ray_counts;
    Picture m_picture = {0, 0};
    LightPicture m_light;
    std::vector<double> m_costs;
    bool m_is_drawn = false;
};

} // namespace gas_app
