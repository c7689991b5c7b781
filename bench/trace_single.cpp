// SPDX-License-Identifier: Apache-2.0
/// How many rays a second does a tree serve, each ray by a call of its own?

#include <benchmark/benchmark.h>

#include <bench/bench_register.h>
#include <bench/bench_workload.h>

namespace gas_bench {

namespace {

template <typename Tree>
void run_rays(benchmark::State& state, Workload& workload, const TraceQuestion& question) {
    const std::vector<Ray>& rays = workload.get_rays(question.rays);
    Tracer<Tree>& tracer = workload.get_tracer<Tree>();
    tracer.prepare(rays, question.query, question.in_motion);
    tracer.trace(); // builds the cells of a grid
    for (auto _ : state)
        tracer.trace();

    // Counted apart from the timing, by engines that the library does not ship.
    const auto ray_count = static_cast<double>(rays.size());
    const GasWalkCounts counts = tracer.trace_counted();
    state.SetLabel(tracer.describe_walk(false));
    state.counters["nodes/ray"] = static_cast<double>(counts.visited_nodes) / ray_count;
    state.counters["leaves/ray"] = static_cast<double>(counts.leaf_calls) / ray_count;
    state.counters["rays/s"] =
        benchmark::Counter(ray_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["hits/ray"] = static_cast<double>(tracer.get_hit_count()) / ray_count;
    state.counters["bytes/item"] = static_cast<double>(tracer.get_memory_size()) /
                                   static_cast<double>(workload.get_item_count());
}

} // namespace

void register_trace_single(const Workloads& workloads) {
    register_questions<GasTree>(workloads, trace_questions, run_rays<GasTree>);
    register_questions<GasCompressedTree>(workloads, trace_questions, run_rays<GasCompressedTree>);
    register_questions<GasGridTree>(workloads, trace_questions, run_rays<GasGridTree>);
}

} // namespace gas_bench
