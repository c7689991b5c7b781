// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <thread>
#include <vector>

#include <tests/support/grid_items.h>
#include <tests/support/latch.h>
#include <tests/support/sanitizers.h>
#include <tests/support/seeded_random.h>
#include <tests/support/solid_items.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>

// Many threads in one grid at the moment when its cells are built.

namespace {

using support::BoxCallback;
using support::BoxRequest;
using support::Fate;
using support::get_built_cells;
using support::get_fates;
using support::GridItems;
using support::RayQuery;
using support::SolidItems;
using support::TestShader;

constexpr unsigned cluster_count = 5;
constexpr unsigned thread_count = support::scale(64, 24);
constexpr unsigned sample_count = 3;
constexpr unsigned round_count = support::scale(20, 4);

/// Moving clusters of solid items.
struct Scene {
    explicit Scene(unsigned items_per_cell)
        : items(support::make_clusters(cluster_count, items_per_cell)), solids(items, 0.03125),
          progress(naive::Split::sah_fast) {
        support::SeededRandom random(1);
        for (float& speed : items.speeds)
            speed = random.between(-2.0f, 2.0f);
        solids.attach(grid);
    }

    void build(bool with_bars) {
        items.build(grid, support::get_cluster_target(cluster_count),
                    with_bars ? &progress.bar : nullptr);
        grid.update_motion_blur(motion);
        items.take_requests();
    }

    GridItems items;
    SolidItems solids;
    support::QuietProgress progress;
    GasGridTree grid;
    const CtxMotionBlur motion{0.0f, 1.0f, sample_count};
};

/// A shading context of the scene, and rays through all clusters.
struct Tracer {
    static constexpr unsigned ray_count = 4 * cluster_count;

    explicit Tracer(const Scene& scene, unsigned seed) : batch(ray_count) {
        shader.set_motion_blur(scene.motion);
        support::SeededRandom random(seed);
        for (unsigned ray = 0; ray < ray_count; ++ray) {
            support::aim_at_cluster(batch, ray, ray % cluster_count);
            const GMathVec3<double> origin = batch.get_ctx().get_ray(ray).line.get_origin();
            batch.set_ray(ray, origin,
                          {0.1 * random.uniform_double(), 0.1 * random.uniform_double(), 1.0}, 0.0,
                          100.0, random.uniform(), static_cast<int>(ray % 6));
        }
    }

    std::vector<Fate> run(const GasGridTree& grid, RayQuery query) {
        batch.reset_hits();
        trace(grid, query, shader, batch.get_ctx());
        return get_fates(batch);
    }

    TestShader shader;
    GeometryRayBatch batch;
};

/// Starts threads that all begin at the same moment, and waits for them.
template <typename Work> void run_threads(unsigned count, const Work& work) {
    support::Latch start(count);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < count; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            work(i);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

/// How often each item's box was asked for, by callback and time.
using Asked = std::map<std::pair<BoxCallback, double>, std::vector<unsigned>>;

Asked count_items(const std::vector<BoxRequest>& requests, unsigned item_count) {
    Asked asked;
    for (const BoxRequest& request : requests) {
        std::vector<unsigned>& counts = asked[{request.callback, request.time}];
        counts.resize(item_count, 0);
        for (const unsigned item : request.items)
            ++counts[item];
    }
    return asked;
}

/// Every item once, in calm times and at each sample's time.
Asked once_each(unsigned item_count) {
    Asked asked;
    const std::vector<unsigned> once(item_count, 1);
    asked[{BoxCallback::leaf_bboxes, 0.0}] = once;
    for (const double time : {0.0, 0.5, 1.0})
        asked[{BoxCallback::leaf_bboxes_at, time}] = once;
    return asked;
}

/// What every tracer finds in the scene when it is alone.
std::vector<std::vector<Fate>> find_expected(const Scene& scene, RayQuery query) {
    std::vector<std::vector<Fate>> expected;
    for (unsigned i = 0; i < thread_count; ++i) {
        Tracer tracer(scene, i);
        expected.push_back(find_fates(scene.solids, scene.items, tracer.batch, query));
    }
    return expected;
}

} // namespace

TEST(GridThreads, CellsAreBuiltAndUpdatedOnceWhenAllThreadsComeAtOnce) {
    for (const unsigned items_per_cell : {40u, 700u}) {
        Scene scene(items_per_cell);
        std::vector<std::vector<Fate>> expected[4];
        for (const RayQuery query : support::all_ray_queries)
            expected[static_cast<unsigned>(query)] = find_expected(scene, query);
        std::vector<std::unique_ptr<Tracer>> tracers;
        for (unsigned i = 0; i < thread_count; ++i)
            tracers.push_back(std::make_unique<Tracer>(scene, i));

        for (unsigned round = 0; round < round_count; ++round) {
            scene.build(round % 2 == 1);
            std::atomic<unsigned> wrong_count = 0;
            run_threads(thread_count, [&](unsigned thread) {
                for (unsigned i = 0; i < 4; ++i) {
                    const unsigned query = (thread + i) % 4;
                    const std::vector<Fate> fates =
                        tracers[thread]->run(scene.grid, support::all_ray_queries[query]);
                    wrong_count += fates != expected[query][thread];
                }
            });
            EXPECT_EQ(wrong_count, 0u);
            EXPECT_EQ(get_built_cells(scene.grid).size(), cluster_count);
            const unsigned item_count = scene.items.get_count();
            EXPECT_EQ(count_items(scene.items.take_requests(), item_count), once_each(item_count));
        }
    }
}

TEST(GridThreads, MotionUpdatesRunOnceWhenAllThreadsComeAtOnce) {
    Scene scene(100);
    scene.build(false);
    std::vector<std::unique_ptr<Tracer>> tracers;
    for (unsigned i = 0; i < thread_count; ++i)
        tracers.push_back(std::make_unique<Tracer>(scene, i));
    const auto expected = find_expected(scene, RayQuery::hit_motion);
    tracers[0]->run(scene.grid, RayQuery::nearest_static);
    for (unsigned round = 0; round < round_count; ++round) {
        scene.grid.update_motion_blur(scene.motion);
        scene.items.take_requests();
        std::atomic<unsigned> wrong_count = 0;
        run_threads(thread_count, [&](unsigned thread) {
            // Static rays go beside them.
            if (thread % 4 == 0)
                tracers[thread]->run(scene.grid, RayQuery::hit_static);
            wrong_count +=
                tracers[thread]->run(scene.grid, RayQuery::hit_motion) != expected[thread];
        });
        EXPECT_EQ(wrong_count, 0u);
        const unsigned item_count = scene.items.get_count();
        Asked asked = once_each(item_count);
        asked.erase({BoxCallback::leaf_bboxes, 0.0});
        EXPECT_EQ(count_items(scene.items.take_requests(), item_count), asked);
    }
}

TEST(GridThreads, CopiesShareWhatTheirThreadsBuild) {
    Scene scene(100);
    for (unsigned round = 0; round < round_count; ++round) {
        scene.build(false);
        GasGridTree copies[] = {scene.grid, scene.grid, scene.grid};
        std::atomic<unsigned> wrong_count = 0;
        run_threads(8, [&](unsigned thread) {
            Tracer tracer(scene, thread);
            const auto expected =
                find_fates(scene.solids, scene.items, tracer.batch, RayQuery::nearest_motion);
            const GasGridTree& grid = thread % 4 == 0 ? scene.grid : copies[thread % 4 - 1];
            wrong_count += tracer.run(grid, RayQuery::nearest_motion) != expected;
        });
        EXPECT_EQ(wrong_count, 0u);
        const unsigned item_count = scene.items.get_count();
        EXPECT_EQ(count_items(scene.items.take_requests(), item_count), once_each(item_count));
    }
}

// Each of two threads is in the box callback of its cell before either leaves it.
TEST(GridThreads, DifferentCellsAreBuiltInParallel) {
    Scene scene(40);
    scene.build(false);
    support::Latch both(2);
    scene.items.react = [&](const BoxRequest& request) {
        if (request.callback == BoxCallback::leaf_bboxes)
            both.arrive_and_wait();
    };
    run_threads(2, [&](unsigned thread) {
        Tracer tracer(scene, thread);
        support::aim_at_cluster(tracer.batch, 0, thread);
        tracer.batch.get_data().set_range(0, 0);
        tracer.run(scene.grid, RayQuery::hit_static);
    });
    EXPECT_EQ(get_built_cells(scene.grid), (std::vector<unsigned>{0, 1}));
}

TEST(GridThreads, MemorySizeMayBeAskedForBesideQueries) {
    Scene scene(100);
    std::atomic<unsigned> wrong_count = 0;
    for (unsigned round = 0; round < round_count; ++round) {
        scene.build(false);
        const std::size_t empty_size = scene.grid.get_memory_size();
        std::atomic<unsigned> tracing = 4;
        run_threads(6, [&](unsigned thread) {
            if (thread < 4) {
                Tracer tracer(scene, thread);
                for (const RayQuery query : support::all_ray_queries)
                    tracer.run(scene.grid, query);
                --tracing;
                return;
            }
            std::size_t size = empty_size;
            bool is_last = false;
            while (!is_last) {
                is_last = tracing == 0;
                const std::size_t new_size = scene.grid.get_memory_size();
                wrong_count += new_size < size;
                size = new_size;
            }
            std::size_t expected = empty_size;
            for (unsigned cell = 0; cell < cluster_count; ++cell)
                expected += scene.grid.find_sub_tree(cell)->get_memory_size();
            wrong_count += size != expected;
        });
    }
    EXPECT_EQ(wrong_count, 0u);
}

namespace {

/// A piece of a picture: traces rays into all cells, wherever it runs.
class RenderTask : public SysThreadTask {
  public:
    RenderTask(const Scene& new_scene, unsigned seed) : scene(new_scene), tracer(new_scene, seed) {
        for (const RayQuery query : support::all_ray_queries)
            expected.push_back(find_fates(scene.solids, scene.items, tracer.batch, query));
    }

    void run() override {
        for (unsigned i = 0; i < 4; ++i)
            wrong_count += tracer.run(scene.grid, support::all_ray_queries[i]) != expected[i];
    }

    const Scene& scene;
    Tracer tracer;
    std::vector<std::vector<Fate>> expected;
    unsigned wrong_count = 0;
};

/// Adds all tasks to a manager and waits.
void run_tasks(const std::vector<std::unique_ptr<RenderTask>>& tasks) {
    SysThreadTaskManager manager(nullptr);
    for (const auto& task : tasks)
        manager.add_task(*task, false, true);
    manager.wait_until_completed();
    for (const auto& task : tasks)
        EXPECT_EQ(task->wrong_count, 0u);
}

std::vector<std::unique_ptr<RenderTask>> make_tasks(const Scene& scene, unsigned count) {
    std::vector<std::unique_ptr<RenderTask>> tasks;
    for (unsigned i = 0; i < count; ++i)
        tasks.push_back(std::make_unique<RenderTask>(scene, i));
    return tasks;
}

} // namespace

// Pool threads that build a cell hold its lock while they wait for tasks; other tasks of the pool
// wait for that lock. Nobody who waits may take up a task that would wait for him.
TEST(GridThreads, RenderingTasksThatWaitForTasksEnd) {
    Scene scene(600);
    const auto tasks = make_tasks(scene, 16);
    const unsigned item_count = scene.items.get_count();
    for (unsigned round = 0; round < 3 * round_count; ++round) {
        scene.build(false);
        run_tasks(tasks);
        EXPECT_EQ(count_items(scene.items.take_requests(), item_count), once_each(item_count));
    }
}

TEST(GridThreads, RenderingTasksOfSeveralPicturesEnd) {
    Scene scene(600);
    constexpr unsigned picture_count = 4;
    std::vector<std::vector<std::unique_ptr<RenderTask>>> tasks;
    for (unsigned i = 0; i < picture_count; ++i)
        tasks.push_back(make_tasks(scene, 6));
    for (unsigned round = 0; round < 2 * round_count; ++round) {
        scene.build(true);
        run_threads(picture_count, [&](unsigned picture) { run_tasks(tasks[picture]); });
    }
}

// Box callbacks that wait for tasks of their own, while rendering tasks wait for the cell.
TEST(GridThreads, BoxCallbacksMayWaitForTasksInRenderingTasks) {
    Scene scene(600);
    const auto tasks = make_tasks(scene, 8);
    std::atomic<unsigned> own_runs = 0;
    struct CountTask : SysThreadTask {
        void run() override { ++*runs; }
        std::atomic<unsigned>* runs = nullptr;
    };
    for (unsigned round = 0; round < round_count; ++round) {
        scene.items.react = {};
        scene.build(false);
        scene.items.react = [&](const BoxRequest&) {
            CountTask own[4];
            SysThreadTaskManager manager(nullptr);
            for (CountTask& task : own) {
                task.runs = &own_runs;
                manager.add_task(task, false, true);
            }
            manager.wait_until_completed();
        };
        run_tasks(tasks);
    }
    EXPECT_EQ(own_runs, round_count * cluster_count * 2 * (1 + sample_count) * 4);
}
