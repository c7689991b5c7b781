// SPDX-License-Identifier: Apache-2.0
/// How fast does a tree follow items that move?

#include <benchmark/benchmark.h>

#include <bench/bench_workload.h>

namespace gas_bench {

namespace {

/// `refit(tree, boxes)` fits a prepared tree to other boxes.
template <typename Tree, typename Refit>
void run_refit(benchmark::State& state, Workload& workload, const Refit& refit) {
    const Scene& scene = workload.get_scene();
    Tree tree;
    TreeKind<Tree>::create(tree, scene.boxes, nullptr);
    tree.set_motion_blur_sample_count(1);

    // Between two sets of boxes in turn, so that every round moves the boxes.
    bool is_later = false;
    for (auto _ : state) {
        is_later = !is_later;
        const bool done = refit(tree, is_later ? scene.later_boxes : scene.boxes);
        benchmark::DoNotOptimize(done);
    }

    const auto item_count = static_cast<double>(scene.boxes.get_count());
    state.counters["items/s"] =
        benchmark::Counter(item_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["bytes/item"] = static_cast<double>(tree.get_memory_size()) / item_count;
}

using Boxes = CoreArray<GMathBbox3<float>>;

template <typename Tree, typename Refit>
void add_refit(const std::string& question, const std::shared_ptr<Workload>& workload,
               const Refit& refit) {
    const std::string name = question + "/" + workload->get_name() + "/" + TreeKind<Tree>::name;
    benchmark::RegisterBenchmark(
        name.c_str(),
        [workload, refit](benchmark::State& state) { run_refit<Tree>(state, *workload, refit); })
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

template <typename Tree> void add_sample(const std::shared_ptr<Workload>& workload) {
    add_refit<Tree>("refit/motion_sample", workload, [](Tree& tree, const Boxes& boxes) {
        return tree.refit_motion_blur_sample(boxes, 0);
    });
}

} // namespace

void register_refit(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        add_refit<GasTree>("refit/tree", workload,
                           [](GasTree& tree, const Boxes& boxes) { return tree.refit(boxes); });
        add_sample<GasTree>(workload);
        add_sample<GasCompressedTree>(workload);
    }
}

} // namespace gas_bench
