// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/report_page.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include <nlohmann/json.hpp>

#include <apps/gas/image/heat_map.h>
#include <apps/gas/page/byte_pack.h>
#include <apps/gas/page/page_text.h>

namespace gas_app {

namespace {

using Json = nlohmann::ordered_json;

/// With six digits, which is more than what is measured has.
double shorten(double number) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", number);
    return std::strtod(text, nullptr);
}

Json as_json(const std::optional<double>& number) {
    return number ? Json(shorten(*number)) : Json(nullptr);
}

Json as_json(const BytePack::Place& place) { return {place.offset, place.count}; }

Json as_json(const Box& box) {
    return {box.min.x, box.min.y, box.min.z, box.max.x, box.max.y, box.max.z};
}

Json as_json(const ReportPicture& picture) {
    return {{"width", picture.width},
            {"height", picture.height},
            {"source", "data:image/png;base64," + encode_base64(picture.png)}};
}

Json as_json(const ReportRow::Memory& memory) {
    return {{"nodes", memory.nodes}, {"wide_nodes", memory.wide_nodes}, {"total", memory.total}};
}

/// Each corner as its difference from the one before, each index as its distance from the first
/// that was not used yet: both are small.
Json as_json(const PageMesh& mesh, BytePack& pack) {
    std::vector<std::uint16_t> steps[3];
    for (std::size_t place = 0; place < mesh.positions.size(); ++place) {
        const unsigned before = place < 3 ? 0u : mesh.positions[place - 3];
        steps[place % 3].push_back(static_cast<std::uint16_t>(mesh.positions[place] - before));
    }
    std::vector<std::uint32_t> distances;
    std::uint32_t next = 0;
    for (const std::uint32_t index : mesh.indices) {
        distances.push_back(next - index);
        next = std::max(next, index + 1);
    }
    return {
        {"box", as_json(mesh.box)},
        {"focus", as_json(mesh.focus)},
        {"steps",
         {as_json(pack.add(steps[0])), as_json(pack.add(steps[1])), as_json(pack.add(steps[2]))}},
        {"distances", as_json(pack.add(distances))},
        {"triangles", mesh.triangle_count},
        {"grid", mesh.grid_size},
        {"by_instance", mesh.is_by_instance},
        {"stride", mesh.item_stride},
        {"octahedra", mesh.has_octahedra}};
}

Json as_json(const ShownLevel& level, BytePack& pack) {
    Json columns = Json::array();
    for (unsigned column = 0; column < 6; ++column) {
        std::vector<float> numbers;
        for (const TreeBox& box : level.boxes)
            numbers.push_back(column < 3 ? box.box.min[column] : box.box.max[column - 3]);
        columns.push_back(as_json(pack.add(numbers)));
    }
    std::vector<float> costs;
    std::vector<std::uint32_t> items;
    std::vector<std::uint32_t> numbers;
    std::vector<std::uint32_t> parents;
    for (const TreeBox& box : level.boxes) {
        costs.push_back(static_cast<float>(box.cost));
        items.push_back(box.is_leaf ? 2 * box.item_count + 1 : 2 * box.item_count);
        numbers.push_back(box.number);
        parents.push_back(box.parent);
    }
    return {{"count", level.box_count},
            {"columns", std::move(columns)},
            {"costs", as_json(pack.add(costs))},
            {"items", as_json(pack.add(items))},
            {"numbers", as_json(pack.add(numbers))},
            {"parents", as_json(pack.add(parents))}};
}

Json as_json(const ReportTree& tree, BytePack* pack) {
    Json nodes = Json::array();
    Json leaves = Json::array();
    Json costs = Json::array();
    Json overlaps = Json::array();
    for (const TreeLevel& level : tree.levels) {
        nodes.push_back(level.node_count);
        leaves.push_back(level.leaf_count);
        costs.push_back(shorten(level.cost));
        if (level.node_count > 0)
            overlaps.push_back(shorten(level.overlap));
    }
    Json made = {{"name", tree.name},
                 {"kind", get_name(tree.kind)},
                 {"saved", tree.is_saved},
                 {"depth", tree.levels.size()},
                 {"mean_leaf_depth", shorten(tree.mean_leaf_depth)},
                 {"sah_cost", shorten(tree.sah_cost)},
                 {"nodes", std::move(nodes)},
                 {"leaves", std::move(leaves)},
                 {"costs", std::move(costs)},
                 {"overlaps", std::move(overlaps)}};
    if (!pack || tree.shown.empty())
        return made;
    made["levels"] = Json::array();
    for (const ShownLevel& level : tree.shown)
        made["levels"].push_back(as_json(level, *pack));
    return made;
}

Json as_json(const ReportPart& part, BytePack* pack) {
    Json trees = Json::array();
    for (const ReportTree& tree : part.trees)
        trees.push_back(as_json(tree, pack));
    Json made = {{"name", part.name}, {"items", part.item_count}, {"trees", std::move(trees)}};
    if (pack && part.mesh)
        made["mesh"] = as_json(*part.mesh, *pack);
    return made;
}

Json as_json(const ReportRow& row) {
    Json rates = Json::array();
    for (const ReportRow::Rates& rate : row.rates)
        rates.push_back({{"set", rate.instruction_set},
                         {"single", shorten(rate.single)},
                         {"packets", shorten(rate.packets)},
                         {"streams", shorten(rate.streams)},
                         {"picture", shorten(rate.picture)}});
    Json memory = Json::array();
    for (const ReportRow::Memory& part : row.memory)
        memory.push_back(as_json(part));
    return {{"name", row.name},
            {"kind", get_name(row.kind)},
            {"method", row.build_method},
            {"wide", row.has_wide_nodes},
            {"saved", row.is_saved},
            {"tree", row.tree},
            {"build_seconds", shorten(row.build_seconds)},
            {"memory", std::move(memory)},
            {"whole", as_json(row.whole)},
            {"nodes_per_ray", as_json(row.nodes_per_ray)},
            {"leaf_calls_per_ray", as_json(row.leaf_calls_per_ray)},
            {"rates", std::move(rates)}};
}

Json as_json(const ReportMap& map, bool has_picture) {
    Json made = {{"title", map.title},        {"unit", map.unit},
                 {"note", map.note},          {"scale_end", shorten(map.scale_end)},
                 {"mean", shorten(map.mean)}, {"largest", shorten(map.largest)}};
    if (has_picture)
        made["picture"] = as_json(map.picture);
    return made;
}

/// `pack`: takes what is for the page alone; null: that is left out.
Json as_json(const ReportSubject& subject, BytePack* pack) {
    Json made = {{"name", subject.name},
                 {"items", subject.item_count},
                 {"instances", subject.instance_count},
                 {"notes", subject.notes},
                 {"main_tree", subject.main_tree}};
    if (pack && subject.picture)
        made["picture"] = as_json(*subject.picture);
    for (const char* list : {"maps", "parts", "rows"})
        made[list] = Json::array();
    for (const ReportMap& map : subject.maps)
        made["maps"].push_back(as_json(map, pack != nullptr));
    for (const ReportPart& part : subject.parts)
        made["parts"].push_back(as_json(part, pack));
    for (const ReportRow& row : subject.rows)
        made["rows"].push_back(as_json(row));
    return made;
}

/// The colours of heat maps, as in style sheets.
Json get_heat_colors() {
    Json colors = Json::array();
    for (unsigned step = 0; step <= ReportMap::step_count; ++step) {
        const Color8 color = get_heat_color(static_cast<double>(step) / ReportMap::step_count);
        char text[8];
        std::snprintf(text, sizeof text, "#%02x%02x%02x", color.red, color.green, color.blue);
        colors.push_back(text);
    }
    return colors;
}

Json as_json(const std::vector<ReportSubject>& subjects, const ReportInfo& info, BytePack* pack) {
    Json made = {{"title", info.title},
                 {"version", info.version},
                 {"date", info.date},
                 {"threads", info.threads},
                 {"instruction_set", info.instruction_set},
                 {"methods", info.methods},
                 {"subjects", Json::array()}};
    if (pack)
        made["heat_colors"] = get_heat_colors();
    for (const ReportSubject& subject : subjects)
        made["subjects"].push_back(as_json(subject, pack));
    return made;
}

/// File names are bytes; those that are not UTF-8 are replaced.
std::string write(const Json& json, int indent) {
    return json.dump(indent, ' ', false, Json::error_handler_t::replace);
}

std::string fill_page(const std::vector<ReportSubject>& subjects, const ReportInfo& info) {
    BytePack pack;
    const std::string data = write(as_json(subjects, info, &pack), -1);
    const std::string policy = "default-src 'none'; script-src " +
                               get_policy_source(report_page.script_hash) + "; style-src " +
                               get_policy_source(report_page.style_hash) +
                               "; img-src data:; base-uri 'none'; form-action 'none'";
    // Only here are bytes of a file's name certain to be UTF-8.
    const std::string title = Json::parse(write(Json(info.title), -1)).get<std::string>();
    const std::pair<std::string_view, std::string> texts[] = {
        {"policy", escape_html(policy)},
        {"generator", escape_html("gas " + info.version)},
        {"title", escape_html(title)},
        {"style", join(report_page.styles)},
        {"script", join(report_page.scripts)},
        {"data", escape_script_json(data)},
        {"bytes", pack.encode()}};
    return fill_places(report_page.html, texts);
}

} // namespace

std::string make_report_json(const std::vector<ReportSubject>& subjects, const ReportInfo& info) {
    return write(as_json(subjects, info, nullptr), 2);
}

std::string make_report_page(std::vector<ReportSubject> subjects, const ReportInfo& info,
                             std::size_t limit) {
    constexpr std::size_t fewest = 8;
    std::string page = fill_page(subjects, info);
    std::size_t most = 0;
    for (const ReportSubject& subject : subjects)
        for (const ReportPart& part : subject.parts)
            for (const ReportTree& tree : part.trees)
                for (const ShownLevel& level : tree.shown)
                    most = std::max(most, level.boxes.size());
    while (page.size() > limit && most > fewest) {
        most = most * 2 / 3;
        for (ReportSubject& subject : subjects)
            for (ReportPart& part : subject.parts)
                for (ReportTree& tree : part.trees)
                    for (ShownLevel& level : tree.shown)
                        level.keep_largest(most);
        page = fill_page(subjects, info);
    }
    return page;
}

} // namespace gas_app
