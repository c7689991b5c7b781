// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/view_request.h>

#include <algorithm>
#include <functional>

#include <apps/common/instruction_set.h>
#include <apps/common/user_error.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/ray_walk.h>
#include <apps/gas/cli/scene_options.h>

namespace gas_app {

namespace {

constexpr unsigned largest_view = 1u << 22;
constexpr double deepest_level = 1000.0;
constexpr double most_samples = 4096.0;
constexpr double most_ambient_rays = 64.0;

unsigned parse_whole(const std::string& text, std::string_view name, double low, double high) {
    const double number = parse_number(text, name, low, high);
    const auto whole = static_cast<unsigned>(number);
    if (static_cast<double>(whole) != number)
        throw UserError(std::string(name) + " " + text + ": expected a whole number");
    return whole;
}

GasInstructionSet parse_instruction_set(const std::string& name) {
    GasInstructionSet set;
    if (!gas_find_instruction_set(name.c_str(), set) || !gas_has_instruction_set(set))
        throw UserError("isa " + name + ": is not on this machine");
    return set;
}

std::string parse_page(const std::string& name) {
    constexpr std::size_t longest = 64;
    const auto is_plain = [](char letter) {
        return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'z') ||
               (letter >= 'A' && letter <= 'Z') || letter == '-';
    };
    if (name.size() > longest || !std::all_of(name.begin(), name.end(), is_plain))
        throw UserError("page: expected up to 64 letters and digits");
    return name;
}

ViewKind parse_kind(const std::string& name) {
    const auto* const found = std::find(view_kind_names.begin(), view_kind_names.end(), name);
    if (found == view_kind_names.end())
        throw UserError("show " + name + ": expected picture, heatmap, leaves or time");
    return static_cast<ViewKind>(found - view_kind_names.begin());
}

} // namespace

nlohmann::ordered_json describe_choices() {
    nlohmann::ordered_json sets = nlohmann::ordered_json::array();
    sets.push_back({{"name", "baseline"}, {"text", get_counted_instruction_set_name()}});
    if (gas_has_instruction_set(GasInstructionSet::avx2))
        sets.push_back({{"name", "avx2"}, {"text", "avx2"}});
    return {{"tree", tree_kind_names},       {"build", build_method_names},
            {"wide", {"on", "off"}},         {"stream", {"off", "on", "all"}},
            {"packet", {1, 4, 16, 64, 256}}, {"isa", std::move(sets)},
            {"show", view_kind_names}};
}

ViewRequest parse_view_request(const std::map<std::string, std::string>& arguments,
                               const ViewRequest& usual, bool in_motion) {
    ViewRequest request = usual;
    WalkChoice walks;
    const auto set_size = [&](const std::string& text) {
        const PictureSize size = parse_size(text);
        if (size.width * size.height > largest_view)
            throw UserError("size " + text + ": more than 4194304 pixels");
        request.render.width = size.width;
        request.render.height = size.height;
    };
    const auto set_look_at = [&](const std::string& text) {
        const LookAt look_at = parse_look_at(text);
        request.target = look_at.target;
        request.distance = look_at.distance;
    };
    using Text = const std::string&;
    const std::map<std::string, std::function<void(Text)>> setters = {
        {"page", [&](Text text) { request.page = parse_page(text); }},
        {"tree", [&](Text text) { request.trees.kind = parse_tree_kind(text); }},
        {"wide", [&](Text text) { request.trees.has_wide_nodes = parse_switch(text, "--wide"); }},
        {"build",
         [&](Text text) {
             request.build_method = parse_build_method(text);
             request.trees.has_cell_bars = text != SceneOptions::usual_build_method;
         }},
        {"isa", [&](Text text) { request.instruction_set = parse_instruction_set(text); }},
        {"stream", [&](Text text) { walks.streams = parse_streams(text); }},
        {"packet", [&](Text text) { walks.packet_size = parse_whole(text, "packet", 1, 256); }},
        {"show", [&](Text text) { request.kind = parse_kind(text); }},
        {"level", [&](Text text) { request.level = parse_whole(text, "level", 0, deepest_level); }},
        {"size", set_size},
        {"spp",
         [&](Text text) { request.render.samples = parse_whole(text, "spp", 1, most_samples); }},
        {"ao",
         [&](Text text) {
             request.render.ambient_rays = parse_whole(text, "ao", 0, most_ambient_rays);
         }},
        {"camera", [&](Text text) { request.view = parse_view(text); }},
        {"look-at", set_look_at}};
    for (const auto& [name, text] : arguments) {
        const auto setter = setters.find(name);
        if (setter == setters.end())
            throw UserError("there is no such argument");
        setter->second(text);
    }
    // Times are those of the chosen instructions, counts those of the baseline.
    const bool is_counted = request.kind == ViewKind::heatmap || request.kind == ViewKind::leaves;
    walks.heat_map = request.kind != ViewKind::picture;
    walks.apply(request.render);
    request.render.counts_walks = false;
    request.walk_name =
        get_camera_walk(request.render, request.trees, in_motion)
            .describe(is_counted ? get_counted_instruction_set_name()
                                 : gas_get_instruction_set_name(request.instruction_set));
    return request;
}

} // namespace gas_app
