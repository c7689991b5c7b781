// SPDX-License-Identifier: Apache-2.0
/// What does a grid's cell cost the first ray that reaches it, from one thread and from several?

#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <gas/object/gas_object.h>

#include <bench/bench_workload.h>
#include <bench/processor_clock.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

/// The leaf callback's data. It is in the evaluation context, because a cell's tree keeps the user
/// pointer of the grid whose ray built it, on any thread.
struct TouchTarget {
    const Triangle* triangles;
    const Ray* rays;
};

void hit_nearest(void*, const unsigned& item, const CtxEval& eval, CtxShader&,
                 GeometryRaytraceCtx& ctx) {
    const TouchTarget& target = *static_cast<const TouchTarget*>(eval.user_data);
    for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i) {
        const auto ray = static_cast<unsigned>(i);
        const Ray& line = target.rays[ray];
        auto distance = static_cast<float>(ctx.get_intersection_path(ray).get_hit_distance());
        if (intersect(target.triangles[item], line.origin, line.direction, line.near_distance,
                      distance, distance))
            ctx.record_nearest_hit(ray, static_cast<double>(distance), item);
    }
}

/// One thread's share of the rays, and its contexts.
class TouchThread {
  public:
    /// Takes one of `thread_count` shares of the rays, in turns of 64.
    TouchThread(const Scene& scene, const std::vector<Ray>& rays, unsigned thread,
                unsigned thread_count) {
        for (unsigned i = 0; i < rays.size(); ++i) {
            if (i / 64 % thread_count == thread)
                m_rays.push_back(rays[i]);
        }
        m_batch.resize(static_cast<unsigned>(m_rays.size()));
        for (unsigned i = 0; i < m_batch.get_ray_count(); ++i)
            set_ray(m_batch, i, m_rays[i]);
        m_target = {scene.triangles.data(), m_rays.data()};
        m_eval.user_data = &m_target;
        GasObject::create_ctx(m_shader);
    }
    TouchThread(const TouchThread&) = delete;
    TouchThread& operator=(const TouchThread&) = delete;
    ~TouchThread() { GasObject::destroy_ctx(m_shader); }

    void trace(const GasGridTree& grid) {
        m_batch.reset_hits();
        GeometryRaytraceData& data = m_batch.get_data();
        const auto count = static_cast<int>(m_batch.get_ray_count());
        for (int ray = 0; ray < count; ++ray) {
            data.set_range(ray, ray);
            grid.ray_hit_nearest_static(m_eval, m_shader, data.get_ctx());
        }
    }

  private:
    std::vector<Ray> m_rays;
    GeometryRayBatch m_batch;
    TouchTarget m_target = {};
    CtxEval m_eval;
    CtxShader m_shader;
};

using TouchThreads = std::vector<std::unique_ptr<TouchThread>>;

/// Seconds of one pass of all rays.
struct Pass {
    double processor = 0.0;
    double wall = 0.0;
};

/// Adds the time of the threads for their rays.
void trace(const TouchThreads& threads, const GasGridTree& grid, Pass& pass) {
    const double processor_start = get_process_seconds();
    const double wall_start = get_wall_seconds();
    std::vector<std::thread> others;
    for (std::size_t i = 1; i < threads.size(); ++i)
        others.emplace_back([&threads, &grid, i] { threads[i]->trace(grid); });
    threads[0]->trace(grid);
    for (std::thread& other : others)
        other.join();
    pass.processor += get_process_seconds() - processor_start;
    pass.wall += get_wall_seconds() - wall_start;
}

/// For each cell a short ray from the middle of one of its items, in random order.
std::vector<Ray> make_cell_rays(const Scene& scene) {
    constexpr float length = 1e-3f;
    GasGridTree grid;
    create_grid(grid, scene);
    std::vector<Ray> rays;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        const unsigned item = grid.get_cell_items(cell)[grid.get_cell_item_count(cell) / 2];
        const GMathBbox3<float>& box = scene.boxes[item];
        rays.push_back({(box.min + box.max) * 0.5f, {0.36f, 0.48f, 0.8f}, 0.0f, length, 0.0f});
    }
    support::SeededRandom random(15);
    for (auto left = static_cast<unsigned>(rays.size()); left > 1; --left)
        std::swap(rays[left - 1], rays[random.below(left)]);
    return rays;
}

/// Cells built so far, and the items in them.
struct Built {
    double cells = 0.0;
    double items = 0.0;
};

Built count_built(const GasGridTree& grid) {
    Built built;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        if (!grid.find_sub_tree(cell))
            continue;
        built.cells += 1.0;
        built.items += static_cast<double>(grid.get_cell_item_count(cell));
    }
    return built;
}

void set_counters(benchmark::State& state, const GasGridTree& grid, double ray_count,
                  bool each_cell, const Pass& first, const Pass& second) {
    const auto rounds = static_cast<double>(state.iterations());
    const Built built = count_built(grid);
    state.counters["cells"] = built.cells;
    state.counters["items/cell"] = built.items / built.cells;
    state.counters["built"] = built.cells / static_cast<double>(grid.get_cell_count());
    state.counters["first_rays/s"] = rounds * ray_count / first.processor;
    state.counters["rays/s"] = rounds * ray_count / second.processor;
    state.counters["first_wall_ms"] = 1e3 * first.wall / rounds;
    state.counters["wall_ms"] = 1e3 * second.wall / rounds;
    if (each_cell) {
        // The second pass gives the cost of the rays alone, with all cells built.
        const double seconds = (first.processor - second.processor) / rounds;
        state.counters["us/cell"] = 1e6 * seconds / built.cells;
        state.counters["ns/item"] = 1e9 * seconds / built.items;
    }
}

void run_touch(benchmark::State& state, Workload& workload, bool each_cell, unsigned thread_count) {
    const Scene& scene = workload.get_scene();
    const std::vector<Ray> rays =
        each_cell ? make_cell_rays(scene) : workload.get_rays(RayKind::bounce);
    TouchThreads threads;
    for (unsigned i = 0; i < thread_count; ++i)
        threads.push_back(std::make_unique<TouchThread>(scene, rays, i, thread_count));

    GasGridTree grid;
    grid.set_leaf_raytrace_callbacks(nullptr, hit_nearest, nullptr);
    Pass first;
    Pass second;
    for (auto _ : state) {
        state.PauseTiming();
        create_grid(grid, scene);
        state.ResumeTiming();
        trace(threads, grid, first);
        state.PauseTiming();
        trace(threads, grid, second);
        state.ResumeTiming();
    }
    set_counters(state, grid, static_cast<double>(rays.size()), each_cell, first, second);
}

void run_create(benchmark::State& state, Workload& workload) {
    const Scene& scene = workload.get_scene();
    GasGridTree grid;
    for (auto _ : state) {
        create_grid(grid, scene);
        benchmark::DoNotOptimize(grid);
    }
    const auto item_count = static_cast<double>(scene.boxes.get_count());
    state.counters["items/s"] =
        benchmark::Counter(item_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["cells"] = static_cast<double>(grid.get_cell_count());
    state.counters["bytes/item"] = static_cast<double>(grid.get_memory_size()) / item_count;
}

template <typename Run>
void add_touch(const std::string& kind, const std::shared_ptr<Workload>& workload, const Run& run) {
    const std::string name =
        "first_touch/" + kind + "/" + workload->get_name() + "/" + TreeKind<GasGridTree>::name;
    benchmark::RegisterBenchmark(
        name.c_str(), [workload, run](benchmark::State& state) { run(state, *workload); })
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_grid_first_touch(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        add_touch("create", workload, run_create);
        for (const unsigned thread_count : {1u, 2u}) {
            std::string suffix = "_";
            suffix += std::to_string(thread_count);
            add_touch("cells" + suffix, workload,
                      [thread_count](benchmark::State& state, Workload& on) {
                          run_touch(state, on, true, thread_count);
                      });
            add_touch("bounce" + suffix, workload,
                      [thread_count](benchmark::State& state, Workload& on) {
                          run_touch(state, on, false, thread_count);
                      });
        }
    }
}

} // namespace gas_bench
