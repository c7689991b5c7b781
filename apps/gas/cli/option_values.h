// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <apps/gas/farm/frames.h>
#include <apps/gas/scene/stage.h>
#include <apps/gas/trees/tree_kind.h>

namespace gas_app {

/// Readers of option values that are not plain numbers. They throw an OptionError that names the
/// option.

inline constexpr unsigned largest_side = 16384;
inline constexpr unsigned largest_pixel_count = 1u << 26;

struct PictureSize {
    unsigned width = 0;
    unsigned height = 0;
};

/// What `parse_size` takes, for help and messages.
std::string describe_sizes();
/// `WIDTHxHEIGHT`, each 1 to `largest_side`, together at most `largest_pixel_count`.
PictureSize parse_size(const std::string& text);

/// `AZIMUTH,ELEVATION` or `AZIMUTH,ELEVATION,ZOOM`: degrees, elevation -90 to 90, zoom 0.01 to
/// 1000.
ViewPoint parse_view(const std::string& text);

/// Tiles `first` to `last`, from 0 on, of `count`.
struct TileChoice {
    unsigned first = 0;
    unsigned last = 0;
    unsigned count = 1;
};

/// `A-B/N` or `A/N`: from 1 on, of at most `most`, which is how many the picture can be cut into.
TileChoice parse_tiles(const std::string& text, unsigned most);

/// A number of 1 to `most`.
unsigned parse_tile_count(const std::string& text, unsigned most);

/// `A-B` or `A`, of 0 to `largest_frame`.
FrameChoice parse_frames(const std::string& text);

/// `turn` or `wave`.
MeshMotion parse_animation(const std::string& name);
/// What a camera looks at, and from how far.
struct LookAt {
    Vec3 target;
    double distance;
};

/// `X,Y,Z,DISTANCE`: the distance 1e-9 to 1e9, no coordinate beyond 1e9.
LookAt parse_look_at(const std::string& text);

/// A number of `low` to `high`.
double parse_number(const std::string& text, std::string_view option, double low, double high);

/// `X,Y,Z`, as floats.
Vec3f parse_point(const std::string& text, std::string_view option);

/// `X0,Y0,Z0,X1,Y1,Z1`: two corners, the lower one first.
GMathBbox3<float> parse_box(const std::string& text, std::string_view option);

/// A whole number of 0 to 2^64 - 1.
std::uint64_t parse_seed(const std::string& text);

/// The build method setting of a name: 0 median, 1 hybrid, 2 sah-fast, 3 sah.
unsigned parse_build_method(const std::string& name);

/// `plain`, `compressed` or `grid`.
TreeKind parse_tree_kind(const std::string& name);

/// Which rays are traced in streams.
enum class StreamChoice {
    none,           ///< `off`
    scattered_rays, ///< `on`
    all_rays        ///< `all`
};

StreamChoice parse_streams(const std::string& text);

/// `on` or `off`.
bool parse_switch(const std::string& text, std::string_view option);

/// 0 for x, 1 for y, 2 for z.
unsigned parse_axis(const std::string& name);

} // namespace gas_app
