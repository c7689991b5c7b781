// SPDX-License-Identifier: Apache-2.0
/// What do rays gain by being traced together, as one batch?

#include <benchmark/benchmark.h>

#include <bench/bench_register.h>
#include <bench/bench_workload.h>
#include <bench/processor_clock.h>

namespace gas_bench {

namespace {

/// Counts both ways of tracing, by engines that the library does not ship.
template <typename Tree>
void set_counters(benchmark::State& state, Tracer<Tree>& tracer, double ray_count) {
    const GasWalkCounts single_counts = tracer.trace_packets_counted(false);
    const auto single_tests = static_cast<double>(tracer.get_test_count());
    const GasWalkCounts counts = tracer.trace_packets_counted(true);
    state.counters["tests/ray"] = static_cast<double>(tracer.get_test_count()) / ray_count;
    state.counters["single_tests/ray"] = single_tests / ray_count;
    state.counters["hits/ray"] = static_cast<double>(tracer.get_hit_count()) / ray_count;
    // Nodes of a packet are those whose own box it tested, of a single ray those that it expanded.
    state.counters["nodes/ray"] = static_cast<double>(counts.visited_nodes) / ray_count;
    state.counters["single_nodes/ray"] =
        static_cast<double>(single_counts.visited_nodes) / ray_count;
    state.counters["leaves/ray"] = static_cast<double>(counts.leaf_calls) / ray_count;
    state.SetLabel(tracer.describe_walk(true) + "; " + tracer.describe_walk(false));
}

template <typename Tree>
void run_packets(benchmark::State& state, Workload& workload, const PacketQuestion& question) {
    const Packets packets = make_packets(workload, question);
    if (packets.rays.empty()) {
        state.SkipWithError("the picture is smaller than a tile");
        return;
    }
    Tracer<Tree>& tracer = workload.get_tracer<Tree>();
    tracer.prepare_packets(packets.rays, packets.size, packets.frusta);
    tracer.trace_packets(true); // builds the cells of a grid

    // Packets and the same rays one by one take turns, so that both run under the same load.
    double together_seconds = 0.0;
    double single_seconds = 0.0;
    for (auto _ : state) {
        const double start = get_thread_seconds();
        tracer.trace_packets(true);
        together_seconds += get_thread_seconds() - start;
        state.PauseTiming();
        const double single_start = get_thread_seconds();
        tracer.trace_packets(false);
        single_seconds += get_thread_seconds() - single_start;
        state.ResumeTiming();
    }

    const auto ray_count = static_cast<double>(packets.rays.size());
    state.counters["rays/s"] =
        benchmark::Counter(ray_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["times_single"] = single_seconds / together_seconds;
    set_counters(state, tracer, ray_count);
}

} // namespace

void register_trace_packet(const Workloads& workloads) {
    register_questions<GasTree>(workloads, packet_questions, run_packets<GasTree>);
    register_questions<GasCompressedTree>(workloads, packet_questions,
                                          run_packets<GasCompressedTree>);
    register_questions<GasGridTree>(workloads, packet_questions, run_packets<GasGridTree>);
}

} // namespace gas_bench
