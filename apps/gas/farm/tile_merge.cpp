// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/farm/tile_merge.h>

#include <algorithm>
#include <filesystem>

#include <apps/common/user_error.h>
#include <apps/gas/image/heat_map.h>

namespace gas_app {

void TileMerge::add(const std::string& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error))
        add_folder(path);
    else
        add_file(path);
}

void TileMerge::add_folder(const std::string& path) {
    std::vector<std::string> files;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(path, error), end; !error && entry != end;
         entry.increment(error))
        if (entry->path().extension() == tile_file_ending)
            files.push_back(entry->path().string());
    if (error)
        m_flaws.push_back(path + ": cannot be read: " + error.message());
    else if (files.empty())
        m_flaws.push_back(path + ": holds no tiles");
    std::sort(files.begin(), files.end());
    for (const std::string& file : files)
        add_file(file);
}

void TileMerge::add_file(const std::string& path) {
    try {
        const PictureTile tile = read_tile(path);
        if (!m_source)
            start(tile.source, path);
        if (*m_source != tile.source)
            throw UserError(path + ": " + m_source->describe_difference(tile.source) + ", unlike " +
                            m_first_path);
        Found& found = m_found[tile.tile];
        if (found.path.empty()) {
            found = {path, tile.checksum};
            paint(tile);
        } else if (found.checksum != tile.checksum) {
            throw UserError(path + ": differs from " + found.path + ", which is the same tile");
        }
    } catch (const UserError& error) {
        m_flaws.push_back(error.what());
    }
}

void TileMerge::start(const TileSource& source, const std::string& path) {
    m_source = source;
    m_first_path = path;
    m_found.resize(source.tile_count);
    m_picture = Picture(source.width, source.height);
    if (is_heat_map())
        m_costs.resize(std::size_t{source.width} * source.height);
    else
        m_light = LightPicture(source.width, source.height);
}

void TileMerge::paint(const PictureTile& tile) {
    RenderSettings settings;
    settings.width = m_source->width;
    settings.height = m_source->height;
    const BlockRange blocks = m_source->get_cut().get_blocks(tile.tile);
    const double* value = tile.values.data();
    std::vector<Vec3> light;
    for (unsigned number = blocks.first; number < blocks.last; ++number) {
        const Tile block = get_block(settings, number);
        light.clear();
        for (unsigned pixel = 0; pixel < block.get_pixel_count(); ++pixel) {
            if (is_heat_map())
                m_costs[block.get_picture_pixel(pixel, settings.width)] = *value;
            else
                light.push_back({value[0], value[1], value[2]});
            value += m_source->get_channel_count();
        }
        if (!is_heat_map())
            paint_light(block, light.data(), m_source->seed, m_picture, &m_light);
    }
    m_ray_counts.add(tile.ray_counts);
}

std::vector<std::string> TileMerge::get_flaws() const {
    std::vector<std::string> flaws = m_flaws;
    if (!m_source)
        flaws.emplace_back("there is no whole tile of a picture");
    else if (const std::string missing = describe_missing(); !missing.empty())
        flaws.push_back(missing);
    return flaws;
}

/// Such as "tiles 2, 5-7 of 16 are missing"; empty: none is.
std::string TileMerge::describe_missing() const {
    std::string list;
    unsigned count = 0;
    const auto is_missing = [&](std::size_t tile) {
        return tile < m_found.size() && m_found[tile].path.empty();
    };
    for (std::size_t first = 0; first < m_found.size(); ++first) {
        if (!is_missing(first))
            continue;
        std::size_t last = first;
        while (is_missing(last + 1))
            ++last;
        if (!list.empty())
            list += ", ";
        list += std::to_string(first + 1);
        if (last > first)
            list.append("-").append(std::to_string(last + 1));
        count += static_cast<unsigned>(last - first + 1);
        first = last;
    }
    if (count == 0)
        return {};
    return (count > 1 ? "tiles " : "tile ") + list + " of " + std::to_string(m_found.size()) +
           (count > 1 ? " are missing" : " is missing");
}

const Picture& TileMerge::get_picture() {
    if (is_heat_map() && !m_is_drawn)
        draw_heat_map(m_picture, m_costs, m_source->walk);
    m_is_drawn = true;
    return m_picture;
}

} // namespace gas_app
