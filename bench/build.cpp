/// How fast is a tree built, and how good is it?

#include <benchmark/benchmark.h>

#include <gas/tree/gas_tree.h>

#include "bench_workload.h"

namespace gas_bench {

namespace {

/// By the value of the application's build method setting.
constexpr const char* method_names[] = {"median", "hybrid", "sah_fast", "sah"};

double get_area(const GasTree::Node& node) {
    const GMathVec3<float> extent = node.bbox_max - node.bbox_min;
    return static_cast<double>(extent.x * extent.y + extent.y * extent.z + extent.z * extent.x);
}

/// The boxes that a random line through the root's box is expected to be in: two tests for every
/// inner node, one callback for every leaf.
double get_sah_cost(const GasTree& tree) {
    double area = 0.0;
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasTree::Node& node = tree.get_nodes()[i];
        area += (node.flags & 1) != 0 ? get_area(node) : 2.0 * get_area(node);
    }
    const double root_area = get_area(tree.get_nodes()[0]);
    return root_area > 0.0 ? area / root_area : 0.0;
}

void run(benchmark::State& state, Workload& workload, unsigned method) {
    const CoreArray<GMathBbox3<float>>& boxes = workload.get_scene().boxes;
    // The setting is the application's, and a build hears of it through a progress bar.
    AppBase app(nullptr);
    app.set_build_method(method);
    AppProgressBar* bar = app.create_progress_bar("build", false);

    GasTree tree;
    for (auto _ : state) {
        tree.create(boxes, nullptr, bar, 1.0f);
        benchmark::DoNotOptimize(tree.get_nodes());
    }

    const auto item_count = static_cast<double>(boxes.get_count());
    state.counters["items/s"] =
        benchmark::Counter(item_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/item"] = static_cast<double>(tree.get_memory_size()) / item_count;
    state.counters["depth"] = static_cast<double>(tree.get_depth());
    state.counters["sah_cost"] = get_sah_cost(tree);
}

} // namespace

void register_build(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        for (unsigned method = 0; method < std::size(method_names); ++method) {
            const std::string name =
                std::string("build/") + method_names[method] + "/" + workload->get_name() + "/gas";
            benchmark::RegisterBenchmark(
                name.c_str(),
                [workload, method](benchmark::State& state) { run(state, *workload, method); })
                ->Unit(benchmark::kMillisecond)
                ->MeasureProcessCPUTime();
        }
    }
}

} // namespace gas_bench
