// SPDX-License-Identifier: Apache-2.0
/// How fast are leaves found in a box, and near a point? Beside the same by looking at every box.

#include <algorithm>
#include <cmath>
#include <limits>

#include <benchmark/benchmark.h>
#include <gas/diagnostics/gas_counted_queries.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <apps/common/instruction_set.h>

#include <bench/bench_query.h>
#include <bench/bench_workload.h>
#include <bench/processor_clock.h>

namespace gas_bench {

namespace {

using Point = GMathVec3<float>;

bool overlap(const GMathBbox3<float>& a, const GMathBbox3<float>& b) {
    return a.min.x <= b.max.x && b.min.x <= a.max.x && a.min.y <= b.max.y && b.min.y <= a.max.y &&
           a.min.z <= b.max.z && b.min.z <= a.max.z;
}

/// Times `ask(tree query)` for all queries, counts with `count`, and looks at all boxes with
/// `search` a few times.
template <typename Ask, typename Count, typename Search>
void time_queries(benchmark::State& state, const Ask& ask, const Count& count,
                  const Search& search) {
    double seconds = 0.0;
    std::uint64_t asked_count = 0;
    for (auto _ : state) {
        const double start = get_thread_seconds();
        for (unsigned query = 0; query < query_count; ++query)
            ask(query);
        seconds += get_thread_seconds() - start;
        asked_count += query_count;
    }
    GasWalkCounts counts;
    std::uint64_t found_count = 0;
    for (unsigned query = 0; query < query_count; ++query)
        found_count += count(query, counts);
    std::uint64_t all_count = 0;
    const double start = get_thread_seconds();
    for (unsigned query = 0; query < brute_force_count; ++query)
        all_count += search(query);
    benchmark::DoNotOptimize(all_count);
    const double search_seconds = (get_thread_seconds() - start) / brute_force_count;

    const double query_seconds = seconds / static_cast<double>(asked_count);
    state.counters["queries/s"] =
        benchmark::Counter(query_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["us/query"] = 1e6 * query_seconds;
    // The walks of these queries take binary nodes, and no further instruction set.
    state.SetLabel(gas_app::describe_walk("single", std::to_string(gas_app::get_node_width(false)),
                                          gas_app::get_counted_instruction_set_name()));
    state.counters["nodes/query"] = static_cast<double>(counts.visited_nodes) / query_count;
    state.counters["leaves/query"] = static_cast<double>(counts.leaf_calls) / query_count;
    state.counters["found/query"] = static_cast<double>(found_count) / query_count;
    state.counters["times_brute_force"] = search_seconds / query_seconds;
}

void run_box(benchmark::State& state, Workload& workload, const BoxQuestion& question) {
    const Scene& scene = workload.get_scene();
    const GasTree& tree = workload.get_tracer<GasTree>().get_tree();
    const std::vector<GMathBbox3<float>> boxes = make_query_boxes(scene, question, query_count);

    GasTreeCtx ctx;
    CoreVector<unsigned> leaves;
    const auto ask = [&](unsigned query) { tree.get_leaves_in_bbox(ctx, boxes[query], leaves); };
    const auto count = [&](unsigned query, GasWalkCounts& counts) {
        gas_counted_get_leaves_in_bbox(tree, ctx, boxes[query], leaves, counts);
        return leaves.get_count();
    };
    const auto search = [&](unsigned query) {
        leaves.clear();
        for (unsigned item = 0; item < scene.boxes.get_count(); ++item)
            if (overlap(scene.boxes[item], boxes[query]))
                leaves.add(item);
        return leaves.get_count();
    };
    time_queries(state, ask, count, search);
}

float get_center_distance(const GMathBbox3<float>& box, const Point& point) {
    const Point offset = (box.min + box.max) * 0.5f - point;
    return std::sqrt(dot(offset, offset));
}

void run_nearest(benchmark::State& state, Workload& workload, unsigned room) {
    const Scene& scene = workload.get_scene();
    const GasTree& tree = workload.get_tracer<GasTree>().get_tree();
    const std::vector<Point> points = make_query_points(scene, query_count);
    constexpr float unlimited = std::numeric_limits<float>::infinity();

    GasTreeCtx ctx;
    std::vector<unsigned> leaves(room);
    std::vector<float> distances(room);
    const auto ask = [&](unsigned query) {
        tree.get_nearest_leaves(ctx, points[query], unlimited, room, leaves.data(),
                                distances.data());
    };
    const auto count = [&](unsigned query, GasWalkCounts& counts) {
        return gas_counted_get_nearest_leaves(tree, ctx, points[query], unlimited, room,
                                              leaves.data(), distances.data(), counts);
    };
    std::vector<float> all(scene.boxes.get_count());
    const unsigned kept = std::min(room, scene.boxes.get_count());
    const auto search = [&](unsigned query) {
        for (unsigned item = 0; item < scene.boxes.get_count(); ++item)
            all[item] = get_center_distance(scene.boxes[item], points[query]);
        std::partial_sort(all.begin(), all.begin() + kept, all.end());
        return kept;
    };
    time_queries(state, ask, count, search);
}

template <typename Run>
void add_query(const std::string& question, const std::shared_ptr<Workload>& workload, Run run) {
    const std::string name = question + "/" + workload->get_name() + "/gas";
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_queries(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        for (const BoxQuestion& question : box_questions)
            add_query(question.name, workload, [workload, question](benchmark::State& state) {
                run_box(state, *workload, question);
            });
        for (const NearestQuestion& question : nearest_questions)
            add_query(question.name, workload,
                      [workload, room = question.room](benchmark::State& state) {
                          run_nearest(state, *workload, room);
                      });
    }
}

} // namespace gas_bench
