// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/farm/tile_file.h>

namespace gas_app {

/// The tiles of one picture in a folder, where others may write tiles of it at the same time. Equal
/// tiles replace each other, whole.
class TileFolder {
  public:
    TileFolder(const std::string& path, const TileSource& source)
        : m_path(path), m_source(source) {}

    /// Makes the folder where there is none. Throws a UserError.
    void prepare() const;
    /// Whether the tile is there, whole and of this picture. Else `flaw` is empty, or tells of the
    /// file that stands in its place.
    bool has(unsigned tile, std::string& flaw) const;
    /// Throws a UserError.
    void write(const PictureTile& tile) const;
    /// Of a tile.
    std::string get_file(unsigned tile) const;

    const std::string& get_path() const { return m_path; }
    const TileSource& get_source() const { return m_source; }

  private:
    std::string m_path;
    TileSource m_source;
};

/// The folder for the tiles of a picture: beside it, or in `parent` unless that is empty.
std::string get_tiles_folder(const std::string& picture, const std::string& parent);

/// Computes a tile of a stage with built trees. Throws what a thread throws.
PictureTile render_tile(const Stage& stage, const RenderSettings& settings,
                        const TileSource& source, unsigned tile, AppProgressBar& progress_bar);

} // namespace gas_app
