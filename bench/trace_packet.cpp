/// What do rays gain by being traced together, as one batch?

#include <benchmark/benchmark.h>

#include "bench_register.h"
#include "bench_workload.h"
#include "processor_clock.h"

namespace gas_bench {

namespace {

template <typename Tree>
void run(benchmark::State& state, Workload& workload, const PacketQuestion& question) {
    const Packets packets = make_packets(workload, question);
    if (packets.rays.empty()) {
        state.SkipWithError("the picture is smaller than a tile");
        return;
    }
    Tracer<Tree>& tracer = workload.get_tracer<Tree>();
    tracer.prepare_packets(packets.rays, packets.size, packets.frusta);

    // The same rays one by one take turns with the packets, so that both meet the same machine.
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

    // A single ray's visit of a node fetches its two children, a packet's the node itself.
    const GasWalkCounts single_counts = tracer.trace_packets_counted(false);
    const auto single_tests = static_cast<double>(tracer.get_packet_test_count());
    const GasWalkCounts counts = tracer.trace_packets_counted(true);
    const auto ray_count = static_cast<double>(packets.rays.size());
    const double single_fetches = 2.0 * static_cast<double>(single_counts.visited_nodes);
    state.counters["rays/s"] =
        benchmark::Counter(ray_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["fetches/ray"] = static_cast<double>(counts.visited_nodes) / ray_count;
    state.counters["single_fetches/ray"] = single_fetches / ray_count;
    state.counters["leaves/ray"] = static_cast<double>(counts.leaf_calls) / ray_count;
    state.counters["tests/ray"] = static_cast<double>(tracer.get_packet_test_count()) / ray_count;
    state.counters["single_tests/ray"] = single_tests / ray_count;
    state.counters["hits/ray"] = static_cast<double>(tracer.get_packet_hit_count()) / ray_count;
    state.counters["times_single"] = single_seconds / together_seconds;
    state.counters["fewer_fetches"] = single_fetches / static_cast<double>(counts.visited_nodes);
}

} // namespace

void register_trace_packet(const Workloads& workloads) {
    register_questions<GasTree>(workloads, packet_questions, run<GasTree>);
    register_questions<GasCompressedTree>(workloads, packet_questions, run<GasCompressedTree>);
}

} // namespace gas_bench
