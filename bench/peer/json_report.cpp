// SPDX-License-Identifier: Apache-2.0
#include <cmath>

#include <nlohmann/json.hpp>

#include <bench/peer/report.h>

namespace gas_peer {

namespace {

using Json = nlohmann::ordered_json;

Json to_json(double value) { return std::isfinite(value) ? Json(value) : Json(nullptr); }

Json to_json(const Row& row, const Table& table) {
    Json entries = Json::array();
    for (std::size_t i = 0; i < row.entries.size(); ++i) {
        const Entry& entry = row.entries[i];
        Json json = {{"who", table.columns[i]}, {"value", to_json(entry.value)}};
        if (i > 0)
            json["ratio"] = to_json(entry.ratio);
        if (!entry.who.empty())
            json["best"] = entry.who;
        entries.push_back(json);
    }
    return {{"operation", row.operation}, {"unit", row.unit}, {"entries", entries}};
}

Json to_json(const Section& section, const Table& table) {
    Json rows = Json::array();
    for (const Row& row : section.rows)
        rows.push_back(to_json(row, table));
    Json json = {{"scene", section.scene}};
    if (section.item_count > 0)
        json["items"] = section.item_count;
    json["rows"] = rows;
    return json;
}

Json summarise_as_json(const Table& table) {
    Json summaries = Json::array();
    for (std::size_t column = 1; column < table.columns.size(); ++column) {
        for (const Summary& summary : summarise(table, column))
            summaries.push_back({{"operation", summary.operation},
                                 {"who", table.columns[column]},
                                 {"mean", to_json(summary.mean)},
                                 {"floor", to_json(summary.floor)},
                                 {"floor_scene", summary.floor_scene}});
    }
    return summaries;
}

} // namespace

std::string format_json(const Report& report) {
    const Machine& machine = report.machine;
    Json json;
    json["machine"] = {{"processor", machine.processor}, {"cores", machine.core_count}};
    json["compiler"] = machine.compiler;
    json["build"] = machine.build;
    json["peer"] = machine.peer;
    json["rays"] = report.settings.ray_count;
    json["repetitions"] = report.settings.repetition_count;
    json["unexplained_rays"] = report.unexplained_count;
    Json& tables = json["tables"] = Json::object();
    for (const Table& table : report.tables) {
        Json sections = Json::array();
        for (const Section& section : table.sections)
            sections.push_back(to_json(section, table));
        tables[table.key] = {
            {"title", table.title}, {"sections", sections}, {"summary", summarise_as_json(table)}};
    }
    return json.dump(2) + "\n";
}

} // namespace gas_peer
