// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/farm/tile_file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include <apps/common/user_error.h>
#include <apps/gas/math/content_hash.h>

namespace gas_app {

namespace {

constexpr char tile_magic[8] = {'G', 'A', 'S', 'T', 'I', 'L', 'E', '\n'};
constexpr std::uint32_t tile_byte_order = 0x01020304;
constexpr std::uint32_t tile_format = 1;

/// The start of a tile's file, which its values follow.
struct TileHeader {
    char magic[8];
    std::uint32_t byte_order;
    std::uint32_t format;
    char version[16];
    char walk[112];
    std::uint64_t scene_hash;
    std::uint64_t options_hash;
    std::uint64_t functions_hash;
    std::uint64_t seed;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t tile;
    std::uint32_t tile_count;
    std::uint32_t frame;
    std::uint32_t content;
    std::uint64_t rays[4];
    std::uint64_t visited_nodes;
    std::uint64_t leaf_calls;
    /// Of all other bytes of the file.
    std::uint64_t checksum;
};

static_assert(sizeof(TileHeader) == 256, "without gaps");

template <std::size_t size> void put_text(char (&place)[size], const std::string& text) {
    std::memcpy(place, text.data(), std::min(size - 1, text.size()));
}

template <std::size_t size> std::string get_text(const char (&place)[size]) {
    return {place, ::strnlen(place, size)};
}

std::uint64_t get_checksum(TileHeader header, const std::vector<double>& values) {
    header.checksum = 0;
    ContentHash hash;
    hash.add(header);
    hash.add(values);
    return hash.get();
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

[[noreturn]] void refuse(const std::string& path, const std::string& flaw) {
    throw UserError(path + ": " + flaw);
}

/// What is wrong with a header that was read; null: nothing.
const char* find_flaw(const TileHeader& header) {
    if (std::memcmp(header.magic, tile_magic, sizeof tile_magic) != 0)
        return "is not a tile of a picture";
    if (header.byte_order != tile_byte_order)
        return "was made on a machine with another byte order";
    if (header.format != tile_format)
        return "has another version of the format";
    RenderSettings settings;
    settings.width = header.width;
    settings.height = header.height;
    constexpr std::uint64_t most_pixels = std::uint64_t{1} << 32;
    const bool is_sound = header.width > 0 && header.height > 0 &&
                          std::uint64_t{header.width} * header.height < most_pixels &&
                          header.content <= static_cast<std::uint32_t>(TileContent::costs) &&
                          header.tile_count > 0 && header.tile < header.tile_count &&
                          header.tile_count <= get_block_count(settings);
    return is_sound ? nullptr : "does not match its checksum";
}

PictureTile take_header(const TileHeader& header) {
    PictureTile tile;
    tile.source = {header.scene_hash,     header.options_hash,
                   header.functions_hash, header.width,
                   header.height,         header.tile_count,
                   header.frame,          static_cast<TileContent>(header.content),
                   header.seed,           get_text(header.version),
                   get_text(header.walk)};
    tile.tile = header.tile;
    tile.ray_counts = {header.rays[0], header.rays[1], header.rays[2], header.rays[3]};
    tile.walk_counts.visited_nodes = header.visited_nodes;
    tile.walk_counts.leaf_calls = header.leaf_calls;
    tile.checksum = header.checksum;
    return tile;
}

} // namespace

TileCut TileSource::get_cut() const {
    RenderSettings settings;
    settings.width = width;
    settings.height = height;
    return {gas_app::get_block_count(settings), tile_count};
}

std::string TileSource::describe_difference(const TileSource& source) const {
    if (version != source.version)
        return "was made by version " + source.version + " of the program, not " + version;
    if (tile_count != source.tile_count)
        return "is one of " + std::to_string(source.tile_count) + " tiles, not of " +
               std::to_string(tile_count);
    if (frame != source.frame)
        return "is of another frame";
    // The functions shape the scene, too.
    if (functions_hash != source.functions_hash)
        return "was made on a machine whose mathematical functions round in another way";
    return scene_hash != source.scene_hash ? "is of another scene or camera"
                                           : "was made with other options";
}

std::size_t count_values(const TileSource& source, unsigned tile) {
    RenderSettings settings;
    settings.width = source.width;
    settings.height = source.height;
    const BlockRange blocks = source.get_cut().get_blocks(tile);
    std::size_t count = 0;
    for (unsigned block = blocks.first; block < blocks.last; ++block)
        count += get_block(settings, block).get_pixel_count();
    return count * source.get_channel_count();
}

std::string get_tile_name(unsigned tile, unsigned tile_count) {
    const std::string count = std::to_string(tile_count);
    const std::string number = std::to_string(tile + 1);
    return "tile-" + std::string(count.size() - number.size(), '0') + number + "-of-" + count +
           tile_file_ending;
}

std::vector<unsigned char> encode_tile(const PictureTile& tile) {
    const TileSource& source = tile.source;
    TileHeader header = {};
    std::memcpy(header.magic, tile_magic, sizeof tile_magic);
    header.byte_order = tile_byte_order;
    header.format = tile_format;
    put_text(header.version, source.version);
    put_text(header.walk, source.walk);
    header.scene_hash = source.scene_hash;
    header.options_hash = source.options_hash;
    header.functions_hash = source.functions_hash;
    header.seed = source.seed;
    header.width = source.width;
    header.height = source.height;
    header.tile = tile.tile;
    header.tile_count = source.tile_count;
    header.frame = source.frame;
    header.content = static_cast<std::uint32_t>(source.content);
    const RayCounts& rays = tile.ray_counts;
    const std::uint64_t counts[4] = {rays.camera, rays.mirror, rays.shadow, rays.ambient};
    std::memcpy(header.rays, counts, sizeof counts);
    header.visited_nodes = tile.walk_counts.visited_nodes;
    header.leaf_calls = tile.walk_counts.leaf_calls;
    header.checksum = get_checksum(header, tile.values);

    const std::size_t size = tile.values.size() * sizeof(double);
    std::vector<unsigned char> bytes(sizeof header + size);
    std::memcpy(bytes.data(), &header, sizeof header);
    std::memcpy(bytes.data() + sizeof header, tile.values.data(), size);
    return bytes;
}

PictureTile read_tile(const std::string& path) {
    const std::unique_ptr<std::FILE, CloseFile> file(std::fopen(path.c_str(), "rb"));
    TileHeader header = {};
    if (!file)
        refuse(path, std::string("cannot be read: ") + std::strerror(errno));
    const std::size_t size = std::fread(&header, 1, sizeof header, file.get());
    if (std::ferror(file.get()))
        refuse(path, std::string("cannot be read: ") + std::strerror(errno));
    if (size < sizeof header)
        refuse(path, size >= sizeof tile_magic &&
                             std::memcmp(header.magic, tile_magic, sizeof tile_magic) == 0
                         ? "is cut off"
                         : "is not a tile of a picture");
    if (const char* const flaw = find_flaw(header))
        refuse(path, flaw);

    PictureTile tile = take_header(header);
    // Of a damaged header the count may be far too large: memory is taken as values are found.
    const std::size_t count = count_values(tile.source, tile.tile);
    constexpr std::size_t piece = std::size_t{1} << 16;
    while (tile.values.size() < count) {
        const std::size_t start = tile.values.size();
        const std::size_t wanted = std::min(piece, count - start);
        tile.values.resize(start + wanted);
        if (std::fread(&tile.values[start], sizeof(double), wanted, file.get()) < wanted)
            refuse(path, "is cut off");
    }
    if (std::fgetc(file.get()) != EOF)
        refuse(path, "is longer than it should be");
    if (get_checksum(header, tile.values) != header.checksum)
        refuse(path, "does not match its checksum");
    return tile;
}

} // namespace gas_app
