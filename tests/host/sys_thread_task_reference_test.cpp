// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <atomic>

#include <gas/host/sys_thread_task.h>

namespace {

class CountingTask : public SysThreadTask {
  public:
    explicit CountingTask(std::atomic<unsigned>& new_runs) : runs(new_runs) {}
    void run() override { ++runs; }

    std::atomic<unsigned>& runs;
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

} // namespace
