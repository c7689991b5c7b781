/// How fast does a tree follow items that move?

#include <benchmark/benchmark.h>

#include <gas/tree/gas_tree.h>

#include "bench_workload.h"

namespace gas_bench {

namespace {

enum class Target { tree, motion_sample };

void run(benchmark::State& state, Workload& workload, Target target) {
    const Scene& scene = workload.get_scene();
    GasTree tree;
    tree.create(scene.boxes, nullptr, nullptr, 1.0f);
    if (target == Target::motion_sample)
        tree.set_motion_blur_sample_count(1);

    // There and back, so that every round moves the boxes.
    bool is_later = false;
    for (auto _ : state) {
        is_later = !is_later;
        const CoreArray<GMathBbox3<float>>& boxes = is_later ? scene.later_boxes : scene.boxes;
        const bool done =
            target == Target::tree ? tree.refit(boxes) : tree.refit_motion_blur_sample(boxes, 0);
        benchmark::DoNotOptimize(done);
    }

    const auto item_count = static_cast<double>(scene.boxes.get_count());
    state.counters["items/s"] =
        benchmark::Counter(item_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/item"] = static_cast<double>(tree.get_memory_size()) / item_count;
}

void add(const std::string& question, const std::shared_ptr<Workload>& workload, Target target) {
    const std::string name = question + "/" + workload->get_name() + "/gas";
    benchmark::RegisterBenchmark(
        name.c_str(),
        [workload, target](benchmark::State& state) { run(state, *workload, target); })
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_refit(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        add("refit/tree", workload, Target::tree);
        add("refit/motion_sample", workload, Target::motion_sample);
    }
}

} // namespace gas_bench
