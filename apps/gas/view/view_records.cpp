// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/view/view_records.h>

#include <algorithm>
#include <vector>

#include <nlohmann/json.hpp>

#include <apps/gas/report/compressed_statistics.h>
#include <apps/gas/report/tree_statistics.h>

namespace gas_app {

namespace {

using Json = nlohmann::ordered_json;

/// The name of a record's kind comes first.
std::string make_head(const char* kind, const Json& more = Json::object()) {
    Json head = {{"kind", kind}};
    head.update(more);
    return head.dump();
}

/// The pixels of a part of a picture, as a page's canvas takes them.
std::string get_colors(const Picture& picture, const Tile& tile) {
    std::string colors;
    colors.reserve(4 * std::size_t{tile.get_pixel_count()});
    for (unsigned pixel = 0; pixel < tile.get_pixel_count(); ++pixel) {
        const Color8& color = picture.at(tile.get_x(pixel), tile.get_y(pixel));
        for (const std::uint8_t part : {color.red, color.green, color.blue, std::uint8_t{255}})
            colors += static_cast<char>(part);
    }
    return colors;
}

} // namespace

void push_state(RecordQueue& records, const std::string& doing, double done) {
    records.push(make_head("state", {{"doing", doing}, {"done", done}}));
}

void push_pixels(RecordQueue& records, const Picture& picture, const Tile& tile, unsigned divisor) {
    records.push(make_head("pixels", {{"x", tile.left},
                                      {"y", tile.top},
                                      {"width", tile.get_width()},
                                      {"height", tile.bottom - tile.top},
                                      {"divisor", divisor}}),
                 get_colors(picture, tile));
}

void push_pass(RecordQueue& records, const RenderPass& pass, const RenderResult& result) {
    records.push(make_head("pass", {{"divisor", pass.divisor},
                                    {"samples", pass.first_sample + pass.sample_count},
                                    {"preview", pass.is_preview},
                                    {"rays", result.ray_counts.get_total()},
                                    {"seconds", result.seconds}}));
}

void push_counts(RecordQueue& records, const RenderResult& result) {
    const auto rays = static_cast<double>(result.ray_counts.camera);
    records.push(make_head(
        "counts", {{"nodes_per_ray", static_cast<double>(result.walk_counts.visited_nodes) / rays},
                   {"leaves_per_ray", static_cast<double>(result.walk_counts.leaf_calls) / rays}}));
}

void push_boxes(RecordQueue& records, const std::vector<ShownLevel>& levels, unsigned level) {
    const std::size_t shown = std::min<std::size_t>(level, levels.size() - 1);
    std::vector<float> corners;
    for (const TreeBox& box : levels[shown].boxes)
        for (const Vec3f& corner : {box.box.min, box.box.max})
            corners.insert(corners.end(), {corner.x, corner.y, corner.z});
    const Json more = {{"level", shown},
                       {"levels", levels.size()},
                       {"shown", levels[shown].boxes.size()},
                       {"of", levels[shown].box_count}};
    records.push(make_head("boxes", more),
                 {reinterpret_cast<const char*>(corners.data()), corners.size() * sizeof(float)});
}

void push_end(RecordQueue& records) { records.push(make_head("end")); }

void push_error(RecordQueue& records, const std::string& text) {
    records.push(make_head("error", {{"text", text}}));
}

std::string describe_trees(const Scene& scene, double build_seconds) {
    std::size_t bytes = scene.get_tree().get_total_bytes();
    const Shape* largest = scene.get_shapes().front().get();
    for (const auto& shape : scene.get_shapes()) {
        bytes += shape->get_tree().get_total_bytes();
        if (shape->get_item_count() > largest->get_item_count())
            largest = shape.get();
    }
    Json figures = {{"build_seconds", build_seconds},
                    {"bytes", bytes},
                    {"largest", largest->get_name()},
                    {"items", largest->get_item_count()}};
    const auto add = [&](const TreeStatistics& tree) {
        figures["depth"] = tree.depth;
        figures["sah_cost"] = tree.sah_cost;
        figures["mean_leaf_depth"] = tree.mean_leaf_depth;
    };
    const TracedTree::AnyTree& tree = largest->get_tree().get_tree();
    if (const auto* plain = std::get_if<GasTree>(&tree))
        add(get_tree_statistics(*plain));
    else if (const auto* compressed = std::get_if<GasCompressedTree>(&tree))
        add(get_tree_statistics(*compressed));
    else
        figures["cells"] = std::get<GasGridTree>(tree).get_cell_count();
    return make_head("trees", figures);
}

} // namespace gas_app
