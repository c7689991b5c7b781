// SPDX-License-Identifier: Apache-2.0
/// Benchmarks of the library. Beside the options of Google Benchmark:
///
///     --items=1000,100000    item counts of the generated scenes (or GAS_BENCH_ITEMS)
///     --scenes=uniform,...   which of the generated scenes; --scenes= for none
///     --rays=65536           rays per round
///     --obj=path             a mesh to measure on as well, may be repeated (or GAS_BENCH_OBJ)
///
/// GAS_ISA=baseline or avx2 says by which instruction set rays are traced.

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <benchmark/benchmark.h>

#include <apps/common/instruction_set.h>

#include <bench/bench_workload.h>

namespace {

struct Settings {
    std::vector<std::string> scenes = gas_bench::get_scene_names();
    std::vector<unsigned> item_counts = {100000};
    unsigned ray_count = 65536;
    std::vector<std::string> obj_paths;
};

std::vector<std::string> split(std::string_view list) {
    std::vector<std::string> parts;
    while (!list.empty()) {
        const std::size_t comma = list.find(',');
        parts.emplace_back(list.substr(0, comma));
        list.remove_prefix(comma == std::string_view::npos ? list.size() : comma + 1);
    }
    return parts;
}

unsigned read_count(const std::string& text) {
    constexpr unsigned largest = 100'000'000;
    unsigned count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size() || count == 0 || count > largest)
        throw std::runtime_error("not a count between 1 and 100000000: '" + text + "'");
    return count;
}

std::vector<unsigned> read_counts(const std::string& list) {
    std::vector<unsigned> counts;
    for (const std::string& part : split(list))
        counts.push_back(read_count(part));
    return counts;
}

/// Reads one of the options above; false: it is another.
bool take_option(const std::string& argument, Settings& settings) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos)
        return false;
    const std::string name = argument.substr(0, equals);
    const std::string value = argument.substr(equals + 1);
    if (name == "--items")
        settings.item_counts = read_counts(value);
    else if (name == "--scenes")
        settings.scenes = split(value);
    else if (name == "--rays")
        settings.ray_count = read_count(value);
    else if (name == "--obj")
        settings.obj_paths.push_back(value);
    else
        return false;
    return true;
}

/// The scenes with a tree in a tree (`are_nested`), which only rays concern, or all others.
gas_bench::Workloads make_workloads(const Settings& settings, bool are_nested) {
    gas_bench::Workloads workloads;
    for (const std::string& scene : settings.scenes) {
        if ((scene == gas_bench::nested_scene_name) != are_nested)
            continue;
        for (const unsigned count : settings.item_counts) {
            if (count == settings.item_counts.front())
                gas_bench::make_scene(scene, 1); // throws for an unknown name
            workloads.push_back(std::make_shared<gas_bench::Workload>(
                scene + "/" + std::to_string(count),
                [scene, count] { return gas_bench::make_scene(scene, count); },
                settings.ray_count));
        }
    }
    if (are_nested)
        return workloads;
    for (const std::string& path : settings.obj_paths) {
        const std::size_t count = gas_bench::read_obj_scene(path).triangles.size();
        workloads.push_back(std::make_shared<gas_bench::Workload>(
            std::filesystem::path(path).stem().string() + "/" + std::to_string(count),
            [path] { return gas_bench::read_obj_scene(path); }, settings.ray_count));
    }
    return workloads;
}

void run(int argument_count, char** arguments) {
    gas_app::choose_instruction_set();
    Settings settings;
    if (const char* items = std::getenv("GAS_BENCH_ITEMS"))
        settings.item_counts = read_counts(items);
    if (const char* path = std::getenv("GAS_BENCH_OBJ"))
        settings.obj_paths.emplace_back(path);

    std::vector<char*> others;
    for (int i = 0; i < argument_count; ++i) {
        if (i == 0 || !take_option(arguments[i], settings))
            others.push_back(arguments[i]);
    }
    others.push_back(nullptr);
    int other_count = static_cast<int>(others.size()) - 1;
    benchmark::Initialize(&other_count, others.data());
    if (benchmark::ReportUnrecognizedArguments(other_count, others.data()))
        throw std::runtime_error("see the head of bench/main.cpp and --help for the options");

    const gas_bench::Workloads flat = make_workloads(settings, false);
    const gas_bench::Workloads nested = make_workloads(settings, true);
    gas_bench::register_build(flat);
    for (const gas_bench::Workloads* const workloads : {&flat, &nested}) {
        gas_bench::register_trace_single(*workloads);
        gas_bench::register_trace_packet(*workloads);
    }
    gas_bench::register_queries(flat);
    gas_bench::register_closest_item(flat);
    gas_bench::register_owning(flat);
    gas_bench::register_refit(flat);
    gas_bench::register_first_ray(flat);
    gas_bench::register_codec();
    gas_bench::register_grid_first_touch(flat);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
}

} // namespace

int main(int argument_count, char** arguments) {
    try {
        run(argument_count, arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "gas_bench: %s\n", error.what());
        return 1;
    }
    return 0;
}
