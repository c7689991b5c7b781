// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include <gas/host/sys_thread_task.h>

#include <tests/support/latch.h>

namespace {

class CountingTask : public SysThreadTask {
  public:
    explicit CountingTask(std::atomic<unsigned>& new_runs) : runs(new_runs) {}
    void run() override { ++runs; }

    std::atomic<unsigned>& runs;
};

class WorkTask : public SysThreadTask {
  public:
    void run() override { work(); }

    std::function<void()> work;
};

TEST(SysThreadTaskManagerOfTheReferenceHost, WaitsWhenItIsDestroyed) {
    std::atomic<unsigned> runs = 0;
    CountingTask task(runs);
    CountingTask other(runs);
    {
        SysThreadTaskManager manager(nullptr);
        manager.add_task(task, false, true);
        manager.add_task(other, false, false);
    }
    EXPECT_EQ(runs, 2u);
}

TEST(SysThreadManager, RunsTasksInTheWaitWhereNoThreadServes) {
    SysThreadManager threads;
    SysThreadTaskManager manager(&threads);
    std::thread::id runner;
    WorkTask task;
    task.work = [&runner] { runner = std::this_thread::get_id(); };
    manager.add_task(task, false, true);
    manager.wait_until_completed();
    EXPECT_EQ(runner, std::this_thread::get_id());
}

TEST(SysThreadManager, RunsTasksOnTheThreadsThatServe) {
    SysThreadManager threads;
    std::vector<std::thread> servers;
    for (unsigned i = 0; i < 2; ++i)
        servers.emplace_back([&threads] { threads.serve(); });
    {
        // Both tasks are on servers, or they would not meet; the waiting thread has a third.
        SysThreadTaskManager manager(&threads);
        support::Latch meeting(3);
        WorkTask tasks[3];
        for (WorkTask& task : tasks) {
            task.work = [&meeting] { meeting.arrive_and_wait(); };
            manager.add_task(task, false, true);
        }
        manager.wait_until_completed();
    }
    threads.close();
    for (std::thread& server : servers)
        server.join();
}

TEST(SysThreadManager, ServesNobodyOnceItIsClosed) {
    SysThreadManager threads;
    threads.close();
    threads.serve();
    unsigned runs = 0;
    WorkTask task;
    task.work = [&runs] { ++runs; };
    SysThreadTaskManager manager(&threads);
    manager.add_task(task, false, true);
    manager.wait_until_completed();
    EXPECT_EQ(runs, 1u);
}

} // namespace
