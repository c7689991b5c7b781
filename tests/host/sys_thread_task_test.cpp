// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include <gas/host/host.h>

#include <tests/support/latch.h>

namespace {

class FunctionTask : public SysThreadTask {
  public:
    FunctionTask() = default;
    explicit FunctionTask(std::function<void()> new_work) : work(std::move(new_work)) {}
    void run() override { work(); }

    std::function<void()> work;
};

TEST(SysThreadTaskManager, WaitsForNothing) {
    SysThreadTaskManager manager(nullptr);
    manager.wait_until_completed();
    manager.wait_until_completed();
}

TEST(SysThreadTaskManager, RunsEachTaskOnce) {
    constexpr unsigned count = 1000;
    std::vector<unsigned> runs(count, 0);
    const std::unique_ptr<FunctionTask[]> tasks(new FunctionTask[count]);
    SysThreadTaskManager manager(nullptr);
    for (unsigned i = 0; i < count; ++i) {
        tasks[i].work = [&runs, i] { ++runs[i]; };
        manager.add_task(tasks[i], false, true);
    }
    manager.wait_until_completed();
    EXPECT_EQ(runs, std::vector<unsigned>(count, 1));
}

TEST(SysThreadTaskManager, TakesATaskAgainAfterTheWait) {
    unsigned runs = 0;
    FunctionTask task([&runs] { ++runs; });
    SysThreadTaskManager manager(nullptr);
    for (unsigned round = 1; round <= 100; ++round) {
        manager.add_task(task, false, true);
        manager.wait_until_completed();
        ASSERT_EQ(runs, round);
    }
}

TEST(SysThreadTaskManager, DeletesTheTasksThatItOwns) {
    const auto token = std::make_shared<int>(0);
    SysThreadTaskManager manager(nullptr);
    for (const bool is_parallel : {false, true})
        manager.add_task(*new FunctionTask([token] {}), true, is_parallel);
    manager.wait_until_completed();
    EXPECT_EQ(token.use_count(), 1);
}

TEST(SysThreadTaskManager, RunsTasksThatAreNotParallelWhereItWaits) {
    const std::thread::id here = std::this_thread::get_id();
    std::vector<std::thread::id> threads;
    FunctionTask task([&threads] { threads.push_back(std::this_thread::get_id()); });
    SysThreadTaskManager manager(nullptr);
    for (unsigned i = 0; i < 20; ++i)
        manager.add_task(task, false, false);
    manager.wait_until_completed();
    EXPECT_EQ(threads, std::vector<std::thread::id>(20, here));
}

// Enough tasks of one manager to keep every thread of the pool busy, and more that wait for one.
// Another manager's wait ends all the same, and runs none of them.
TEST(SysThreadTaskManager, RunsOnlyItsOwnTasksWhileItWaits) {
    const std::thread::id here = std::this_thread::get_id();
    const unsigned blocked_count = std::thread::hardware_concurrency() + 3;
    support::Latch release(1);
    std::atomic<bool> is_waiting_for_own = true;
    std::atomic<unsigned> foreign_runs = 0;
    std::atomic<unsigned> blocked_runs = 0;
    FunctionTask blocked([&] {
        if (is_waiting_for_own && std::this_thread::get_id() == here)
            ++foreign_runs;
        release.wait();
        ++blocked_runs;
    });
    SysThreadTaskManager blocked_manager(nullptr);
    for (unsigned i = 0; i < blocked_count; ++i)
        blocked_manager.add_task(blocked, false, true);

    unsigned own_runs = 0; // nobody but this thread is free to run these
    FunctionTask own([&own_runs] { ++own_runs; });
    SysThreadTaskManager manager(nullptr);
    for (unsigned i = 0; i < 10; ++i)
        manager.add_task(own, false, false);
    manager.wait_until_completed();
    EXPECT_EQ(own_runs, 10u);
    EXPECT_EQ(foreign_runs, 0u);
    EXPECT_EQ(blocked_runs, 0u);

    is_waiting_for_own = false;
    release.count_down();
    blocked_manager.wait_until_completed();
    EXPECT_EQ(blocked_runs, blocked_count);
}

/// Work that waits for work, `depth` levels down.
void run_nested(unsigned depth, std::atomic<unsigned>& runs) {
    ++runs;
    if (depth == 0)
        return;
    constexpr unsigned branch_count = 3;
    const std::unique_ptr<FunctionTask[]> tasks(new FunctionTask[branch_count]);
    SysThreadTaskManager manager(nullptr);
    for (unsigned i = 0; i < branch_count; ++i) {
        tasks[i].work = [depth, &runs] { run_nested(depth - 1, runs); };
        manager.add_task(tasks[i], false, true);
    }
    manager.wait_until_completed();
}

TEST(SysThreadTaskManager, WaitsNestInTasks) {
    std::atomic<unsigned> runs = 0;
    run_nested(6, runs);
    EXPECT_EQ(runs, (3u * 729 - 1) / 2); // 1 + 3 + ... + 3^6
}

TEST(SysThreadTaskManager, ManyThreadsWaitAtOnce) {
    constexpr unsigned thread_count = 8;
    constexpr unsigned round_count = 50;
    std::atomic<unsigned> runs = 0;
    support::Latch start(thread_count);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < thread_count; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < round_count; ++round)
                run_nested(2, runs);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(runs, thread_count * round_count * (1 + 3 + 9));
}

TEST(SysThreadTaskManager, WhatTasksWroteIsSeenAfterTheWait) {
    constexpr unsigned count = 64;
    std::vector<std::vector<unsigned>> written(count);
    const std::unique_ptr<FunctionTask[]> tasks(new FunctionTask[count]);
    SysThreadTaskManager manager(nullptr);
    for (unsigned i = 0; i < count; ++i) {
        tasks[i].work = [&written, i] { written[i].assign(100, i); };
        manager.add_task(tasks[i], false, true);
    }
    manager.wait_until_completed();
    for (unsigned i = 0; i < count; ++i)
        EXPECT_EQ(written[i], std::vector<unsigned>(100, i));
}

} // namespace
