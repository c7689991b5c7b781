// SPDX-License-Identifier: Apache-2.0
/// How fast is a tree built, and how good is it?

#include <benchmark/benchmark.h>

#include <bench/bench_cost.h>
#include <bench/bench_workload.h>

namespace gas_bench {

namespace {

/// Indexed by the application's build method setting.
constexpr const char* method_names[] = {"median", "hybrid", "sah_fast", "sah"};

template <typename Tree>
void run_build(benchmark::State& state, Workload& workload, unsigned method) {
    const CoreArray<GMathBbox3<float>>& boxes = workload.get_scene().boxes;
    // The setting is the application's, and a build reads it through a progress bar.
    AppBase app(nullptr);
    app.set_build_method(method);
    AppProgressBar* bar = app.create_progress_bar("build", false);

    Tree tree;
    for (auto _ : state) {
        TreeKind<Tree>::create(tree, boxes, bar);
        benchmark::DoNotOptimize(tree.get_nodes());
    }

    const auto item_count = static_cast<double>(boxes.get_count());
    state.counters["items/s"] =
        benchmark::Counter(item_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/item"] = static_cast<double>(tree.get_memory_size()) / item_count;
    state.counters["depth"] = static_cast<double>(tree.get_depth());
    state.counters["sah_cost"] = get_sah_cost(tree);
}

template <typename Tree>
void add_build(const std::shared_ptr<Workload>& workload, unsigned method) {
    const std::string name = std::string("build/") + method_names[method] + "/" +
                             workload->get_name() + "/" + TreeKind<Tree>::name;
    benchmark::RegisterBenchmark(
        name.c_str(),
        [workload, method](benchmark::State& state) { run_build<Tree>(state, *workload, method); })
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_build(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        for (unsigned method = 0; method < std::size(method_names); ++method) {
            add_build<GasTree>(workload, method);
            add_build<GasCompressedTree>(workload, method);
        }
    }
}

} // namespace gas_bench
