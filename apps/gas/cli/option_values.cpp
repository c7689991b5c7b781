// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/option_values.h>

#include <array>
#include <charconv>
#include <cstdio>
#include <limits>
#include <optional>
#include <vector>

#include <apps/common/user_error.h>

namespace gas_app {

namespace {

[[noreturn]] void fail(std::string_view option, const std::string& text,
                       const std::string& message) {
    throw OptionError(std::string(option) + " " + text + ": " + message);
}

/// The whole of `text` as a number of 1 to `largest_side`; 0 when it is not one.
unsigned read_side(std::string_view text) {
    unsigned side = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, side);
    return error == std::errc() && stop == end && side <= largest_side ? side : 0;
}

std::string format(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", number);
    return text;
}

std::vector<std::string> split_at_commas(const std::string& text) {
    std::vector<std::string> parts;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        parts.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    return parts;
}

/// `parts` from `first` on as the coordinates of a point.
Vec3f to_point(const std::vector<std::string>& parts, std::size_t first, std::string_view option) {
    constexpr double largest = static_cast<double>(std::numeric_limits<float>::max());
    Vec3 point{0.0, 0.0, 0.0};
    for (unsigned axis = 0; axis < 3; ++axis)
        point[axis] = parse_number(parts[first + axis], option, -largest, largest);
    return to_float(point);
}

} // namespace

std::string describe_sizes() {
    return "WIDTHxHEIGHT, each from 1 to " + std::to_string(largest_side) + ", at most " +
           std::to_string(largest_pixel_count) + " pixels";
}

PictureSize parse_size(const std::string& text) {
    const std::size_t cross = text.find('x');
    PictureSize size;
    if (cross != std::string::npos) {
        size.width = read_side(std::string_view(text).substr(0, cross));
        size.height = read_side(std::string_view(text).substr(cross + 1));
    }
    if (size.width == 0 || size.height == 0)
        fail("--size", text, "expected " + describe_sizes() + ", such as 640x400");
    if (size.width > largest_pixel_count / size.height)
        fail("--size", text, "more than " + std::to_string(largest_pixel_count) + " pixels");
    return size;
}

namespace {

/// The whole of `text` as a number; nothing when it is not one.
std::optional<unsigned> read_whole(std::string_view text) {
    unsigned number = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return number;
}

struct WholeRange {
    unsigned first = 0;
    unsigned last = 0;
};

/// `A-B` or `A`, in order; nothing when it is not that.
std::optional<WholeRange> read_range(std::string_view text) {
    const std::size_t dash = text.find('-');
    const std::optional<unsigned> first = read_whole(text.substr(0, dash));
    const std::optional<unsigned> last =
        dash == std::string_view::npos ? first : read_whole(text.substr(dash + 1));
    if (!first || !last || *first > *last)
        return std::nullopt;
    return WholeRange{*first, *last};
}

} // namespace

TileChoice parse_tiles(const std::string& text, unsigned most) {
    constexpr std::string_view option = "--tiles";
    const std::size_t slash = text.find('/');
    if (slash == std::string::npos)
        fail(option, text, "expected A-B/N, tiles A to B of N, such as 1-4/16");
    const std::optional<WholeRange> range = read_range(std::string_view(text).substr(0, slash));
    const std::optional<unsigned> count = read_whole(std::string_view(text).substr(slash + 1));
    if (!range || !count || range->first < 1)
        fail(option, text, "expected A-B/N, tiles A to B of N, such as 1-4/16");
    if (range->last > *count)
        fail(option, text,
             "there is no tile " + std::to_string(range->last) + " of " + std::to_string(*count));
    if (*count > most)
        fail(option, text,
             "a picture of this size is cut into at most " + std::to_string(most) + " tiles");
    return {range->first - 1, range->last - 1, *count};
}

unsigned parse_tile_count(const std::string& text, unsigned most) {
    const std::optional<unsigned> count = read_whole(text);
    if (!count || *count < 1 || *count > most)
        fail("--tiles", text,
             "expected a whole number from 1 to " + std::to_string(most) +
                 ", into which a picture of this size can be cut");
    return *count;
}

FrameChoice parse_frames(const std::string& text) {
    const std::optional<WholeRange> range = read_range(text);
    if (!range || range->last > largest_frame)
        fail("--frames", text,
             "expected A-B, such as 0-99, or A, of 0 to " + std::to_string(largest_frame));
    return {range->first, range->last};
}

MeshMotion parse_animation(const std::string& name) {
    if (name != "turn" && name != "wave")
        fail("--animate", name, "expected turn or wave");
    return name == "turn" ? MeshMotion::turn : MeshMotion::wave;
}

double parse_number(const std::string& text, std::string_view option, double low, double high) {
    double number = 0.0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    // Written so that a NaN fails.
    if (error != std::errc() || stop != end || !(number >= low && number <= high))
        fail(option, text, "expected a number from " + format(low) + " to " + format(high));
    return number;
}

ViewPoint parse_view(const std::string& text) {
    constexpr std::string_view option = "--camera";
    const std::vector<std::string> parts = split_at_commas(text);
    if (parts.size() != 2 && parts.size() != 3)
        fail(option, text, "expected AZIMUTH,ELEVATION or AZIMUTH,ELEVATION,ZOOM");
    ViewPoint view;
    view.azimuth = parse_number(parts[0], option, -3600.0, 3600.0);
    view.elevation = parse_number(parts[1], option, -90.0, 90.0);
    if (parts.size() == 3)
        view.zoom = parse_number(parts[2], option, 0.01, 1000.0);
    return view;
}

LookAt parse_look_at(const std::string& text) {
    constexpr std::string_view option = "--look-at";
    constexpr double farthest = 1e9;
    const std::vector<std::string> parts = split_at_commas(text);
    if (parts.size() != 4)
        fail(option, text, "expected X,Y,Z,DISTANCE");
    LookAt look_at = {};
    for (unsigned axis = 0; axis < 3; ++axis)
        look_at.target[axis] = parse_number(parts[axis], option, -farthest, farthest);
    look_at.distance = parse_number(parts[3], option, 1.0 / farthest, farthest);
    return look_at;
}

Vec3f parse_point(const std::string& text, std::string_view option) {
    const std::vector<std::string> parts = split_at_commas(text);
    if (parts.size() != 3)
        fail(option, text, "expected X,Y,Z");
    return to_point(parts, 0, option);
}

GMathBbox3<float> parse_box(const std::string& text, std::string_view option) {
    const std::vector<std::string> parts = split_at_commas(text);
    if (parts.size() != 6)
        fail(option, text, "expected X0,Y0,Z0,X1,Y1,Z1");
    const GMathBbox3<float> box = {to_point(parts, 0, option), to_point(parts, 3, option)};
    for (unsigned axis = 0; axis < 3; ++axis)
        if (box.min[axis] > box.max[axis])
            fail(option, text,
                 std::string("its smallest ") + "xyz"[axis] + " is above its largest");
    return box;
}

std::uint64_t parse_seed(const std::string& text) {
    std::uint64_t seed = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, seed);
    if (error != std::errc() || stop != end)
        fail("--seed", text, "expected a whole number from 0 to 18446744073709551615");
    return seed;
}

unsigned parse_build_method(const std::string& name) {
    for (unsigned method = 0; method < build_method_names.size(); ++method)
        if (build_method_names[method] == name)
            return method;
    fail("--build", name, "expected median, hybrid, sah-fast or sah");
}

TreeKind parse_tree_kind(const std::string& name) {
    for (unsigned kind = 0; kind < tree_kind_names.size(); ++kind)
        if (tree_kind_names[kind] == name)
            return static_cast<TreeKind>(kind);
    fail("--tree", name, "expected plain, compressed or grid");
}

StreamChoice parse_streams(const std::string& text) {
    if (text == "all")
        return StreamChoice::all_rays;
    if (text != "on" && text != "off")
        fail("--stream", text, "expected on, off or all");
    return text == "on" ? StreamChoice::scattered_rays : StreamChoice::none;
}

bool parse_switch(const std::string& text, std::string_view option) {
    if (text != "on" && text != "off")
        fail(option, text, "expected on or off");
    return text == "on";
}

unsigned parse_axis(const std::string& name) {
    constexpr std::string_view axes = "xyz";
    const std::size_t axis = name.size() == 1 ? axes.find(name) : std::string_view::npos;
    if (axis == std::string_view::npos)
        fail("--up", name, "expected x, y or z");
    return static_cast<unsigned>(axis);
}

} // namespace gas_app
