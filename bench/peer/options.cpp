// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/options.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <stdexcept>

#include <CLI/CLI.hpp>

#include <apps/common/output_file.h>
#include <apps/common/whole_number.h>

namespace gas_peer {

namespace {

constexpr unsigned largest_item_count = 100'000'000;

/// A generated scene that is measured by default.
struct DefaultScene {
    const char* name;
    unsigned item_count;
};

constexpr DefaultScene default_scenes[] = {{"uniform", 1'000'000},    {"uniform", 4'000'000},
                                           {"clustered", 1'000'000},  {"interior", 400'000},
                                           {"rooms", 250'000},        {"surface", 1'000'000},
                                           {"subdivided", 1'000'000}, {"nested", 7'700}};

/// The item count of a scene without a count above.
constexpr unsigned usual_item_count = 1'000'000;

/// The options as text.
struct RawOptions {
    std::vector<std::string> scenes;
    std::vector<unsigned> item_counts;
    std::vector<std::string> obj_paths;
    unsigned subdivision_count = 0;
};

void add_choice(const std::string& scene, unsigned item_count, Options& options) {
    options.scenes.push_back({scene + "/" + std::to_string(item_count), scene, [scene, item_count] {
                                  return gas_bench::make_scene(scene, item_count);
                              }});
}

/// With the requested counts, or else with its own.
void add_generated(const std::string& scene, const RawOptions& raw, Options& options) {
    const std::vector<std::string>& known = gas_bench::get_scene_names();
    if (std::find(known.begin(), known.end(), scene) == known.end())
        throw std::runtime_error("there is no scene named '" + scene + "'");
    for (const unsigned count : raw.item_counts)
        add_choice(scene, count, options);
    if (!raw.item_counts.empty())
        return;
    bool has_own_count = false;
    for (const DefaultScene& candidate : default_scenes) {
        if (scene == candidate.name) {
            add_choice(scene, candidate.item_count, options);
            has_own_count = true;
        }
    }
    if (!has_own_count)
        add_choice(scene, usual_item_count, options);
}

void add_mesh(const std::string& path, unsigned subdivision_count, Options& options) {
    if (!std::filesystem::is_regular_file(path))
        throw std::runtime_error(path + ": there is no such file");
    gas_bench::read_obj_scene(path); // throws for what is not a mesh, before anything is measured
    std::string name = std::filesystem::path(path).stem().string();
    if (subdivision_count > 0)
        name += "^" + std::to_string(subdivision_count);
    options.scenes.push_back({path, name, [path, subdivision_count] {
                                  return gas_bench::read_obj_scene(path, subdivision_count);
                              }});
}

void choose_scenes(RawOptions raw, Options& options) {
    if (options.is_quick && raw.item_counts.empty())
        raw.item_counts = {1000};
    const bool is_anatomy_alone =
        options.with_anatomy && raw.scenes.empty() && raw.obj_paths.empty();
    const bool has_none = is_anatomy_alone || (raw.scenes.size() == 1 && raw.scenes[0] == "none");
    if (raw.scenes.empty()) {
        for (const DefaultScene& scene : default_scenes) {
            if (std::find(raw.scenes.begin(), raw.scenes.end(), scene.name) == raw.scenes.end())
                raw.scenes.emplace_back(scene.name);
        }
    }
    if (!has_none) {
        for (const std::string& scene : raw.scenes)
            add_generated(scene, raw, options);
    }
    for (const std::string& path : raw.obj_paths)
        add_mesh(path, raw.subdivision_count, options);
    if (options.scenes.empty() && !options.with_growth && !options.with_anatomy)
        throw std::runtime_error("there is no scene to measure on");
    if (options.scenes.empty() && !options.svg_path.empty())
        throw std::runtime_error("--svg draws the peer's table, which needs a scene");
}

void set_up(CLI::App& app, RawOptions& raw, Options& options) {
    using gas_app::whole_number;
    app.add_option("--scenes", raw.scenes,
                   "Generated scenes, or 'none' (default: all but long_thin and coincident)")
        ->delimiter(',');
    app.add_option("--items", raw.item_counts, "Item counts of generated scenes")
        ->delimiter(',')
        ->check(whole_number(1, largest_item_count));
    app.add_option("--obj", raw.obj_paths, "A mesh to measure on as well; repeatable");
    app.add_option("--subdivide", raw.subdivision_count,
                   "Cuts each triangle of the meshes into four, so many times")
        ->check(whole_number(0, 8));
    app.add_option("--rays", options.measure.ray_count, "Rays per run (default: 65536)")
        ->check(whole_number(4, 1u << 26));
    app.add_option("--repetitions", options.measure.repetition_count,
                   "Runs of which the median is taken (default: 5)")
        ->check(whole_number(1, 1000));
    app.add_option("--operations", options.measure.operations,
                   "Only operations whose names contain one of these")
        ->delimiter(',');
    app.add_flag("--quick", options.is_quick,
                 "Shows that everything runs: tiny scenes, one repetition");
    app.add_flag("!--no-trees", options.with_trees, "Leaves out the table of tree classes");
    app.add_flag("--growth", options.with_growth, "Adds a table of 0.1 to 16 million items");
    app.add_flag(
        "--anatomy", options.with_anatomy,
        "Adds a table of what a ray's parts cost; without --scenes and --obj the only one");
    app.add_flag("--queries", options.with_queries, "Adds a table of spatial queries");
    app.add_option("--json", options.json_path, "Writes everything to this file");
    app.add_option("--svg", options.svg_path, "Writes a chart of the peer's table to this file");
}

} // namespace

bool read_options(int argument_count, const char* const* arguments, Options& options) {
    CLI::App app("Measures the library and a peer in turns and compares their answers.",
                 "gas_peer");
    RawOptions raw;
    options.measure = {0, 0, {}};
    set_up(app, raw, options);
    try {
        app.parse(argument_count, arguments);
    } catch (const CLI::CallForHelp&) {
        std::fputs(app.help().c_str(), stdout);
        return false;
    } catch (const CLI::ParseError& error) {
        throw std::runtime_error(error.what());
    }
    options.anatomy_ray_count = options.measure.ray_count;
    if (options.anatomy_ray_count == 0)
        options.anatomy_ray_count = options.is_quick ? 128 : 4096;
    if (options.measure.ray_count == 0)
        options.measure.ray_count = options.is_quick ? 512 : 65536;
    if (options.measure.repetition_count == 0)
        options.measure.repetition_count = options.is_quick ? 1 : 5;
    if (options.is_quick)
        options.growth_counts = {250, 500, 1000};
    else
        options.growth_counts = {100'000, 1'000'000, 4'000'000, 16'000'000};
    choose_scenes(raw, options);
    for (const std::string& path : {options.json_path, options.svg_path}) {
        if (!path.empty())
            gas_app::check_output_path(path, "");
    }
    return true;
}

} // namespace gas_peer
