// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/farm/tile_file.h>

#include <gmock/gmock.h>

#include <apps/common/output_file.h>
#include <apps/common/user_error.h>
#include <apps/gas/farm/tile_folder.h>
#include <apps/gas/farm/tile_merge.h>

#include <tests/app/temporary_folder.h>

namespace {

using namespace gas_app;

/// A picture of 3 x 2 blocks, those at the right and below cut off.
TileSource make_source(TileContent content, unsigned tile_count) {
    TileSource source;
    source.scene_hash = 11;
    source.options_hash = 12;
    source.functions_hash = 13;
    source.width = 40;
    source.height = 20;
    source.tile_count = tile_count;
    source.content = content;
    source.seed = 5;
    source.version = "1.2.3";
    source.walk = content == TileContent::costs ? "single, width 4" : "";
    return source;
}

/// Its values are the numbers of the pixels, and of their channels.
PictureTile make_tile(const TileSource& source, unsigned tile) {
    PictureTile made;
    made.source = source;
    made.tile = tile;
    made.ray_counts = {1, 2, 3, 4 + tile};
    made.walk_counts.visited_nodes = 100 + tile;
    RenderSettings settings;
    settings.width = source.width;
    settings.height = source.height;
    const BlockRange blocks = source.get_cut().get_blocks(tile);
    for (unsigned number = blocks.first; number < blocks.last; ++number) {
        const Tile block = get_block(settings, number);
        for (unsigned pixel = 0; pixel < block.get_pixel_count(); ++pixel)
            for (unsigned channel = 0; channel < source.get_channel_count(); ++channel)
                made.values.push_back(
                    static_cast<double>(block.get_picture_pixel(pixel, source.width)) +
                    0.25 * channel);
    }
    return made;
}

/// What is wrong with the file, without its name.
std::string get_flaw(const std::string& path) {
    try {
        read_tile(path);
    } catch (const UserError& error) {
        const std::string flaw = error.what();
        EXPECT_EQ(flaw.substr(0, path.size() + 2), path + ": ");
        return flaw.substr(path.size() + 2);
    }
    return {};
}

TEST(TileFile, EveryCutHasEachBlockOnce) {
    for (unsigned block_count = 1; block_count < 40; ++block_count)
        for (unsigned tile_count = 1; tile_count <= block_count; ++tile_count) {
            const TileCut cut = {block_count, tile_count};
            unsigned next = 0;
            for (unsigned tile = 0; tile < tile_count; ++tile) {
                const BlockRange blocks = cut.get_blocks(tile);
                EXPECT_EQ(blocks.first, next);
                const unsigned size = blocks.last - blocks.first;
                EXPECT_GE(size, block_count / tile_count);
                EXPECT_LE(size, block_count / tile_count + 1);
                next = blocks.last;
            }
            EXPECT_EQ(next, block_count);
        }
    EXPECT_EQ(TileCut::get_usual_count(1), 1u);
    EXPECT_EQ(TileCut::get_usual_count(1000), 15u);
    EXPECT_EQ(TileCut::get_usual_count(1u << 20), 1024u);
}

TEST(TileFile, NamesSortAsTheirTiles) {
    EXPECT_EQ(get_tile_name(0, 1), "tile-1-of-1.gastile");
    EXPECT_EQ(get_tile_name(8, 100), "tile-009-of-100.gastile");
}

TEST(TileFile, ReadsWhatItWrote) {
    const TemporaryFolder folder;
    for (const TileContent content : {TileContent::light, TileContent::costs})
        for (unsigned tile = 0; tile < 4; ++tile) {
            const PictureTile made = make_tile(make_source(content, 4), tile);
            EXPECT_EQ(made.values.size(), count_values(made.source, tile));
            const std::string path = folder.get_path("tile");
            write_output_file(path, encode_tile(made));
            const PictureTile read = read_tile(path);
            EXPECT_EQ(read.source, made.source);
            EXPECT_EQ(read.tile, tile);
            EXPECT_EQ(read.values, made.values);
            EXPECT_EQ(read.ray_counts.get_total(), made.ray_counts.get_total());
            EXPECT_EQ(read.walk_counts.visited_nodes, 100u + tile);
            EXPECT_EQ(encode_tile(read), encode_tile(made));
        }
}

TEST(TileFile, NamesWhatIsWrong) {
    const TemporaryFolder folder;
    const std::vector<unsigned char> bytes =
        encode_tile(make_tile(make_source(TileContent::costs, 6), 5));
    const std::string whole(bytes.begin(), bytes.end());
    const auto get = [&](const std::string& content) {
        return get_flaw(folder.write("tile", content));
    };
    EXPECT_EQ(get(whole), "");
    EXPECT_EQ(get_flaw(folder.get_path("none")), "cannot be read: No such file or directory");
    EXPECT_EQ(get_flaw(folder.get_path("")), "cannot be read: Is a directory");
    EXPECT_EQ(get(""), "is not a tile of a picture");
    EXPECT_EQ(get("GAS"), "is not a tile of a picture");
    EXPECT_EQ(get("P6" + whole.substr(2)), "is not a tile of a picture");
    for (const std::size_t size :
         {std::size_t{8}, std::size_t{255}, std::size_t{256}, whole.size() / 2, whole.size() - 1})
        EXPECT_EQ(get(whole.substr(0, size)), "is cut off") << size;
    EXPECT_EQ(get(whole + "x"), "is longer than it should be");
    std::string turned = whole;
    std::swap(turned[8], turned[11]);
    std::swap(turned[9], turned[10]);
    EXPECT_EQ(get(turned), "was made on a machine with another byte order");
    std::string newer = whole;
    ++newer[12];
    EXPECT_EQ(get(newer), "has another version of the format");
}

TEST(TileFile, NoticesEachFlippedBit) {
    const TemporaryFolder folder;
    const std::vector<unsigned char> bytes =
        encode_tile(make_tile(make_source(TileContent::costs, 6), 5));
    std::string damaged(bytes.begin(), bytes.end());
    for (std::size_t place = 0; place < damaged.size(); ++place) {
        const char flip = static_cast<char>(1 << place % 8);
        damaged[place] = static_cast<char>(damaged[place] ^ flip);
        EXPECT_NE(get_flaw(folder.write("tile", damaged)), "") << place;
        damaged[place] = static_cast<char>(damaged[place] ^ flip);
    }
}

/// Files of all tiles of a picture.
class TileMergeOf : public testing::Test {
  protected:
    std::string write(const std::string& name, const PictureTile& tile) const {
        write_output_file(m_folder.get_path(name), encode_tile(tile));
        return m_folder.get_path(name);
    }
    void write_all(const TileSource& source) const {
        const TileFolder folder(m_folder.get_path(""), source);
        for (unsigned tile = 0; tile < source.tile_count; ++tile)
            folder.write(make_tile(source, tile));
    }
    std::vector<std::string> get_flaws(const std::vector<std::string>& paths) const {
        TileMerge merge;
        for (const std::string& path : paths)
            merge.add(path);
        return merge.get_flaws();
    }

    TemporaryFolder m_folder;
};

TEST_F(TileMergeOf, PutsEachPixelInItsPlace) {
    for (const unsigned tile_count : {1u, 4u, 6u}) {
        const TemporaryFolder folder;
        const TileSource source = make_source(TileContent::light, tile_count);
        const TileFolder tiles(folder.get_path("some/where"), source);
        tiles.prepare();
        // The same tile twice is no harm.
        for (unsigned tile = tile_count; tile-- > 0;)
            tiles.write(make_tile(source, tile));
        TileMerge merge;
        merge.add(tiles.get_file(0));
        merge.add(tiles.get_path());
        EXPECT_THAT(merge.get_flaws(), testing::IsEmpty());
        EXPECT_FALSE(merge.is_heat_map());
        EXPECT_EQ(merge.get_picture().get_width(), source.width);
        for (unsigned y = 0; y < source.height; ++y)
            for (unsigned x = 0; x < source.width; ++x) {
                const Vec3f& light = merge.get_light().at(x, y);
                const float number = static_cast<float>(y * source.width + x);
                EXPECT_EQ(light.x, number);
                EXPECT_EQ(light.y, number + 0.25f);
                EXPECT_EQ(light.z, number + 0.5f);
            }
        EXPECT_EQ(merge.get_ray_counts().camera, tile_count);
    }
}

TEST_F(TileMergeOf, NamesWhatIsMissing) {
    const TileSource source = make_source(TileContent::costs, 6);
    const auto get = [&](const std::vector<unsigned>& tiles) {
        const TemporaryFolder folder;
        const TileFolder files(folder.get_path(""), source);
        for (const unsigned tile : tiles)
            files.write(make_tile(source, tile));
        return get_flaws({folder.get_path("")});
    };
    using testing::ElementsAre;
    EXPECT_THAT(get({0, 1, 2, 3, 4}), ElementsAre("tile 6 of 6 is missing"));
    EXPECT_THAT(get({1, 4}), ElementsAre("tiles 1, 3-4, 6 of 6 are missing"));
    EXPECT_THAT(get({}), ElementsAre(testing::EndsWith("holds no tiles"),
                                     "there is no whole tile of a picture"));
}

TEST_F(TileMergeOf, NamesWhatIsForeign) {
    const TileSource source = make_source(TileContent::light, 2);
    const std::string first = write("first", make_tile(source, 0));
    const auto expect = [&](const char* flaw, const auto& change) {
        TileSource other = source;
        change(other);
        const std::string second = write("second", make_tile(other, 1));
        EXPECT_THAT(get_flaws({first, second}),
                    testing::ElementsAre(second + ": " + flaw + ", unlike " + first,
                                         "tile 2 of 2 is missing"));
        std::string told;
        EXPECT_FALSE(TileFolder(m_folder.get_path(""), source).has(0, told));
        EXPECT_EQ(told, "");
        write(get_tile_name(1, 2), make_tile(other, 1));
        EXPECT_FALSE(TileFolder(m_folder.get_path(""), source).has(1, told));
        EXPECT_EQ(told, m_folder.get_path(get_tile_name(1, 2)) + ": " + flaw);
    };
    expect("is of another scene or camera", [](TileSource& other) { ++other.scene_hash; });
    expect("was made with other options", [](TileSource& other) { ++other.options_hash; });
    expect("was made on a machine whose mathematical functions round in another way",
           [](TileSource& other) { ++other.functions_hash; });
    expect("was made by version 1.2.4 of the program, not 1.2.3",
           [](TileSource& other) { other.version = "1.2.4"; });
    expect("is one of 3 tiles, not of 2", [](TileSource& other) { other.tile_count = 3; });
    expect("is of another frame", [](TileSource& other) { other.frame = 3; });
}

TEST_F(TileMergeOf, TakesNoTwoThatDifferForOneTile) {
    const TileSource source = make_source(TileContent::light, 2);
    PictureTile tile = make_tile(source, 0);
    const std::string first = write("first", tile);
    const std::string copy = write("copy", tile);
    tile.values[7] += 1.0;
    const std::string other = write("other", tile);
    const std::string second = write("second", make_tile(source, 1));
    EXPECT_THAT(get_flaws({first, second, copy}), testing::IsEmpty());
    EXPECT_THAT(
        get_flaws({first, second, other}),
        testing::ElementsAre(other + ": differs from " + first + ", which is the same tile"));
}

TEST_F(TileMergeOf, KeepsTilesThatAreWholeAndInPlace) {
    const TileSource source = make_source(TileContent::costs, 3);
    write_all(source);
    const TileFolder folder(m_folder.get_path(""), source);
    std::string flaw;
    EXPECT_TRUE(folder.has(2, flaw));
    EXPECT_EQ(flaw, "");
    write(get_tile_name(2, 3), make_tile(source, 1));
    EXPECT_FALSE(folder.has(2, flaw));
    EXPECT_THAT(flaw, testing::EndsWith(": is another tile"));
    m_folder.write(get_tile_name(1, 3), "GASTILE\n");
    EXPECT_FALSE(folder.has(1, flaw));
    EXPECT_THAT(flaw, testing::EndsWith(": is cut off"));
}

} // namespace
