// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/farm/tile_folder.h>

#include <filesystem>

#include <apps/common/output_file.h>
#include <apps/common/user_error.h>

namespace gas_app {

namespace fs = std::filesystem;

void TileFolder::prepare() const {
    std::error_code error;
    fs::create_directories(m_path, error);
    if (!fs::is_directory(m_path))
        throw UserError(m_path + ": this folder cannot be made" +
                        (error ? ": " + error.message() : ""));
    check_output_path(get_file(0), "");
}

std::string TileFolder::get_file(unsigned tile) const {
    return (fs::path(m_path) / get_tile_name(tile, m_source.tile_count)).string();
}

bool TileFolder::has(unsigned tile, std::string& flaw) const {
    flaw.clear();
    const std::string path = get_file(tile);
    std::error_code error;
    if (!fs::exists(path, error))
        return false;
    try {
        const PictureTile found = read_tile(path);
        if (found.source == m_source && found.tile == tile)
            return true;
        flaw = path + ": " +
               (found.source == m_source ? "is another tile"
                                         : m_source.describe_difference(found.source));
    } catch (const UserError& damage) {
        flaw = damage.what();
    }
    return false;
}

void TileFolder::write(const PictureTile& tile) const {
    write_output_file(get_file(tile.tile), encode_tile(tile));
}

std::string get_tiles_folder(const std::string& picture, const std::string& parent) {
    const fs::path path(picture);
    return (parent.empty() ? path : parent / path.filename()).string() + ".tiles";
}

PictureTile render_tile(const Stage& stage, const RenderSettings& settings,
                        const TileSource& source, unsigned tile, AppProgressBar& progress_bar) {
    PictureTile made;
    made.source = source;
    made.tile = tile;
    made.values.resize(count_values(source, tile));
    const BlockRange blocks = source.get_cut().get_blocks(tile);
    // Where the values of each block begin.
    std::vector<std::size_t> places;
    std::size_t place = 0;
    for (unsigned block = blocks.first; block < blocks.last; ++block) {
        places.push_back(place);
        place +=
            std::size_t{get_block(settings, block).get_pixel_count()} * source.get_channel_count();
    }
    RenderResult result;
    if (source.content == TileContent::light)
        result = render_light(stage, settings, blocks, progress_bar,
                              [&](unsigned block, const std::vector<Vec3>& light) {
                                  double* value = &made.values[places[block - blocks.first]];
                                  for (const Vec3& pixel : light)
                                      for (unsigned channel = 0; channel < 3; ++channel)
                                          *value++ = pixel[channel];
                              });
    else
        result = render_costs(stage, settings, blocks, progress_bar,
                              [&](unsigned block, const std::vector<PixelCost>& costs) {
                                  double* value = &made.values[places[block - blocks.first]];
                                  for (const PixelCost& cost : costs)
                                      *value++ = cost.visits;
                              });
    made.ray_counts = result.ray_counts;
    made.walk_counts = result.walk_counts;
    return made;
}

} // namespace gas_app
