// SPDX-License-Identifier: Apache-2.0
/// How long does it take from item boxes, or from a saved tree, to the first ray? Real time, on all
/// threads. The file is in the system's cache where there is room for it.

#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <thread>

#include <unistd.h>

#include <benchmark/benchmark.h>

#include <gas/files/gas_tree_files.h>
#include <gas/object/gas_shader_frames.h>

#include <apps/common/tree_calls.h>

#include <bench/bench_workload.h>

namespace gas_bench {

namespace {

using Boxes = CoreArray<GMathBbox3<float>>;

void build(GasTree& tree, const Boxes& boxes) {
    SysThreadTaskManager manager(nullptr);
    tree.set_wide_nodes(true);
    tree.create(boxes, nullptr, nullptr, 1.0f, manager, std::thread::hardware_concurrency());
}

void build(GasCompressedTree& tree, const Boxes& boxes) {
    SysThreadTaskManager manager(nullptr);
    tree.create(boxes, nullptr, nullptr, manager, std::thread::hardware_concurrency());
}

/// A tree of the scene in a file, gone with this.
template <typename Tree> class SavedScene {
  public:
    explicit SavedScene(const Boxes& boxes)
        : m_path((std::filesystem::temp_directory_path() /
                  ("gas_bench_" + std::to_string(::getpid()) + "_" + TreeKind<Tree>::name +
                   std::to_string(s_file_count++) + ".gastree"))
                     .string()) {
        Tree tree;
        build(tree, boxes);
        const GasFileResult result = gas_save_tree(tree, get_path());
        if (!result)
            throw std::runtime_error(result.text);
    }
    SavedScene(const SavedScene&) = delete;
    SavedScene& operator=(const SavedScene&) = delete;
    ~SavedScene() { std::remove(get_path()); }

    const char* get_path() const { return m_path.c_str(); }
    double get_size() const { return static_cast<double>(std::filesystem::file_size(m_path)); }

  private:
    static inline unsigned s_file_count = 0;

    std::string m_path;
};

/// Sends a ray through the middle of the scene.
template <typename Tree> void trace_first_ray(Tree& tree, CtxShader& shader) {
    const GMathBbox3<float> box = tree.get_bbox();
    GMathVec3<double> origin;
    for (unsigned axis = 0; axis < 3; ++axis)
        origin[axis] =
            0.5 * (static_cast<double>(box.min[axis]) + static_cast<double>(box.max[axis]));
    origin.z = static_cast<double>(box.min.z) - 1.0;
    GeometrySingleRay ray(origin, {0.0, 0.0, 1.0}, 0.0, 1e6);
    gas_app::call_tree(tree, GasRayCall::nearest_static, GasRayWay::query, CtxEval(), shader,
                       ray.get_ctx());
    benchmark::DoNotOptimize(ray.is_hit());
}

enum class Way { built, loaded, mapped, trusted };
constexpr const char* way_names[] = {"built", "loaded", "mapped", "trusted"};

template <typename Tree> void get_tree(Tree& tree, Way way, const Boxes& boxes, const char* path) {
    if (way == Way::built)
        return build(tree, boxes);
    const GasFileResult result = way == Way::loaded   ? gas_load_tree(path, tree)
                                 : way == Way::mapped ? gas_map_tree(path, tree)
                                                      : gas_map_tree_trusted(path, tree);
    if (!result)
        throw std::runtime_error(result.text);
}

/// The benchmarks of a scene and a tree class share the file, which the first of them makes; it
/// goes with them.
template <typename Tree> using SharedFile = std::shared_ptr<std::optional<SavedScene<Tree>>>;

template <typename Tree>
void run(benchmark::State& state, Workload& workload, Way way, const SharedFile<Tree>& file) {
    const Boxes& boxes = workload.get_scene().boxes;
    if (!*file)
        file->emplace(boxes);
    const SavedScene<Tree>& saved = **file;
    CtxShader shader;
    const GasShaderFrames frames(shader);
    for (auto _ : state) {
        Tree tree;
        tree.set_leaf_raytrace_callbacks(GasLeafCallbacks::ignore, GasLeafCallbacks::ignore,
                                         nullptr);
        get_tree(tree, way, boxes, saved.get_path());
        trace_first_ray(tree, shader);
        // To release a tree is no part of it.
        state.PauseTiming();
        tree.clear();
        state.ResumeTiming();
    }
    state.counters["bytes/item"] = saved.get_size() / boxes.get_count();
}

template <typename Tree>
void add(const std::shared_ptr<Workload>& workload, Way way, const SharedFile<Tree>& file) {
    const std::string name = std::string("first_ray/") + way_names[static_cast<unsigned>(way)] +
                             "/" + workload->get_name() + "/" + TreeKind<Tree>::name;
    benchmark::RegisterBenchmark(
        name.c_str(),
        [workload, way, file](benchmark::State& state) { run<Tree>(state, *workload, way, file); })
        ->Unit(benchmark::kMillisecond)
        ->UseRealTime();
}

template <typename Tree> void add_all(const std::shared_ptr<Workload>& workload) {
    const auto file = std::make_shared<std::optional<SavedScene<Tree>>>();
    for (const Way way : {Way::built, Way::loaded, Way::mapped, Way::trusted})
        add<Tree>(workload, way, file);
}

} // namespace

void register_first_ray(const Workloads& workloads) {
    for (const std::shared_ptr<Workload>& workload : workloads) {
        add_all<GasTree>(workload);
        add_all<GasCompressedTree>(workload);
    }
}

} // namespace gas_bench
