// SPDX-License-Identifier: Apache-2.0
/// Compares the library with Embree 3: both do the same jobs over the same boxes and rays in one
/// process, in turns, and must give the same answers. See docs/benchmarks.md.

#include <algorithm>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <apps/common/instruction_set.h>
#include <apps/common/output_file.h>
#include <bench/peer/anatomy.h>
#include <bench/peer/options.h>
#include <bench/peer/own_tables.h>
#include <bench/peer/peer_table.h>
#include <bench/peer/report.h>

namespace {

using namespace gas_peer;

void print_machine(const Report& report) {
    const Machine& machine = report.machine;
    std::printf("%s, %u cores\n%s, %s\n%s\n%u rays a run, medians of %u runs\n",
                machine.processor.c_str(), machine.core_count, machine.compiler.c_str(),
                machine.build.c_str(), machine.peer.c_str(), report.settings.ray_count,
                report.settings.repetition_count);
}

/// The requested tables, without sections.
std::vector<Table> make_tables(const Options& options) {
    std::vector<Table> tables = {{"peer",
                                  "GasTree and the peer; ratio: times as good as the peer",
                                  {"GasTree", "peer"},
                                  {}}};
    if (options.with_trees)
        tables.push_back({"trees",
                          "Tree classes; ratio: times as good as GasTree",
                          {"GasTree", "compressed", "grid"},
                          {}});
    if (options.with_queries)
        tables.push_back({"queries",
                          "Spatial queries; ratio: share of the visited nodes that must be",
                          {"visited", "fewest"},
                          {}});
    if (options.with_anatomy)
        tables.push_back({"anatomy",
                          "Anatomy, the parts of a ray's time, " +
                              std::to_string(options.anatomy_ray_count) +
                              " rays of each kind; ratio: times as good as the peer",
                          {"GasTree", "peer"},
                          {},
                          false});
    if (options.with_growth)
        tables.push_back(
            {"growth", "Growth; ratio: times as good as the peer", {"GasTree", "peer"}, {}});
    return tables;
}

void add_section(Section section, Table& table) {
    if (section.rows.empty())
        return;
    print_section(stdout, table, section);
    table.sections.push_back(std::move(section));
}

/// All tables of one scene but that of growth, before the next scene is made.
void measure_scene(const SceneChoice& choice, const PeerDevices& devices, Report& report) {
    gas_bench::Workload workload(choice.label, choice.make, report.settings.ray_count);
    const unsigned item_count = workload.get_item_count();
    // Of trees in a tree only rays are of interest: the other tables are of one tree over all
    // items.
    const bool is_nested = !workload.get_scene().parts.empty();
    for (Table& table : report.tables) {
        Section section = {choice.name, item_count, {}};
        RowMaker rows(report.settings, section, report.unexplained_count);
        if (table.key == "peer") {
            if (!is_nested)
                add_build_rows(workload, devices, rows);
            add_trace_rows(workload, devices, rows);
        } else if (table.key == "trees" && !is_nested) {
            add_tree_rows(workload, rows);
        } else if (table.key == "queries" && !is_nested) {
            add_query_rows(workload, rows);
        }
        add_section(std::move(section), table);
    }
}

void measure_growth(const std::vector<unsigned>& counts, const PeerDevices& devices, Table& table,
                    Report& report) {
    for (const char* const scene : {"uniform", "surface"}) {
        for (const unsigned count : counts) {
            gas_bench::Workload workload(
                scene, [scene, count] { return gas_bench::make_scene(scene, count); },
                report.settings.ray_count, false);
            Section section = {scene, workload.get_item_count(), {}};
            RowMaker rows(report.settings, section, report.unexplained_count);
            add_growth_rows(workload, devices, rows);
            add_section(std::move(section), table);
        }
    }
}

Table& find_table(const std::string& key, Report& report) {
    return *std::find_if(report.tables.begin(), report.tables.end(),
                         [&key](const Table& table) { return table.key == key; });
}

bool has_rows(const Report& report) {
    return std::any_of(report.tables.begin(), report.tables.end(),
                       [](const Table& table) { return !table.sections.empty(); });
}

void write_file(const std::string& path, const std::string& text) {
    if (!path.empty())
        gas_app::write_output_file(path, {text.begin(), text.end()});
}

/// Returns the program's exit status.
int run(const Options& options) {
    gas_app::choose_instruction_set();
    const PeerDevices devices = create_peer_devices();
    Report report = {describe_machine(), options.measure, make_tables(options), 0};
    report.machine.peer = describe(devices);
    print_machine(report);
    for (const SceneChoice& choice : options.scenes)
        measure_scene(choice, devices, report);
    if (options.with_growth)
        measure_growth(options.growth_counts, devices, find_table("growth", report), report);
    if (options.with_anatomy) {
        MeasureSettings settings = options.measure;
        settings.ray_count = options.anatomy_ray_count;
        measure_anatomy(devices, settings, options.is_quick, find_table("anatomy", report),
                        report.unexplained_count);
    }
    if (!has_rows(report))
        throw std::runtime_error("no operation's name contains what --operations asks for");
    for (const Table& table : report.tables)
        print_summary(stdout, table);

    write_file(options.json_path, format_json(report));
    write_file(options.svg_path, format_svg(report.tables.front(), report.machine));
    if (report.unexplained_count == 0)
        return 0;
    std::fprintf(stderr, "gas_peer: %u answers differ for no good reason\n",
                 report.unexplained_count);
    return 1;
}

} // namespace

int main(int argument_count, char** arguments) {
    try {
        Options options;
        if (!read_options(argument_count, arguments, options))
            return 0;
        return run(options);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "gas_peer: %s\n", error.what());
        return 1;
    }
}
