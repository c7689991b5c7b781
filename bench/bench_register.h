// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <benchmark/benchmark.h>

#include <bench/bench_workload.h>

namespace gas_bench {

/// Registers `run(state, workload, question)` for every question on every workload under the name
/// of the tree class, timed by the processor time of the whole process. `questions` outlive the
/// benchmarks.
template <typename Tree, typename Questions, typename Run>
void register_questions(const Workloads& workloads, const Questions& questions, const Run& run) {
    for (const auto& workload : workloads) {
        for (const auto& question : questions) {
            const std::string name = std::string(question.name) + "/" + workload->get_name() + "/" +
                                     TreeKind<Tree>::name;
            benchmark::RegisterBenchmark(name.c_str(),
                                         [workload, &question, run](benchmark::State& state) {
                                             run(state, *workload, question);
                                         })
                ->Unit(benchmark::kMillisecond)
                ->MeasureProcessCPUTime();
        }
    }
}

} // namespace gas_bench
