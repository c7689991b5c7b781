// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <vector>

#include <bench/bench_scene.h>
#include <bench/peer/row_maker.h>

namespace gas_peer {

/// A scene to be measured, not yet made.
struct SceneChoice {
    /// As scene/items.
    std::string label;
    std::string name;
    std::function<gas_bench::Scene()> make;
};

struct Options {
    std::vector<SceneChoice> scenes;
    MeasureSettings measure;
    /// Which tables beside the peer's.
    bool with_trees = true;
    bool with_growth = false;
    bool with_queries = false;
    bool with_anatomy = false;
    /// Whether all scenes are tiny.
    bool is_quick = false;
    /// Rays of each kind and scene of the anatomy.
    unsigned anatomy_ray_count = 0;
    /// Item counts of the table of growth.
    std::vector<unsigned> growth_counts;
    /// Output files; empty: none.
    std::string json_path;
    std::string svg_path;
};

/// Reads the command line. Throws std::runtime_error with a message that names the error; false:
/// help was requested and printed.
bool read_options(int argument_count, const char* const* arguments, Options& options);

} // namespace gas_peer
