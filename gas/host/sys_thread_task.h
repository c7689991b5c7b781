// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <deque>
#include <memory>

#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// A piece of work.
class GAS_HOST_EXPORT SysThreadTask {
  public:
    SysThreadTask() = default;
    SysThreadTask(const SysThreadTask&) = delete;
    SysThreadTask& operator=(const SysThreadTask&) = delete;
    virtual ~SysThreadTask();

    /// Does the work; called once per `add_task`, on any thread. Lets no exception out.
    virtual void run() = 0;
};

class SysThreadPool;

/// The threads that run tasks of the managers that are made with it: those that call `serve`, such
/// as the threads of a renderer that has its own. There need not be any. It outlives the managers.
class GAS_HOST_EXPORT SysThreadManager {
  public:
    SysThreadManager();
    SysThreadManager(const SysThreadManager&) = delete;
    SysThreadManager& operator=(const SysThreadManager&) = delete;
    /// No thread serves any more.
    ~SysThreadManager();

    /// Runs tasks on the calling thread, and waits for more, until `close` is called.
    void serve();
    /// Lets every `serve`, also a later one, return once the task that it runs is done.
    void close();

  private:
    friend class SysThreadTaskManager;

    std::unique_ptr<SysThreadPool> m_pool;
};

/// A group of tasks that one thread adds and waits for. Tasks run on a pool of threads that all
/// managers of the process share, one fewer than the machine has; on a machine with one they run in
/// the wait.
///
/// A waiting thread runs tasks of its own manager only, because it may hold a lock that another
/// manager's task would take. So waits nest, in tasks and on rendering threads, without deadlock.
class GAS_HOST_EXPORT SysThreadTaskManager {
  public:
    /// Null stands for the threads that all managers share.
    explicit SysThreadTaskManager(SysThreadManager* manager);
    SysThreadTaskManager(const SysThreadTaskManager&) = delete;
    SysThreadTaskManager& operator=(const SysThreadTaskManager&) = delete;
    /// Waits for the tasks first.
    ~SysThreadTaskManager();

    /// Adds a task, which stays the caller's unless `is_owned`: then it is deleted once it has run.
    /// A task that is not `is_parallel` runs on the waiting thread. After a wait the same task may
    /// be added again.
    void add_task(SysThreadTask& task, const bool& is_owned, const bool& is_parallel);
    /// Returns when every task has run; what they wrote is then seen.
    void wait_until_completed();

  private:
    friend class SysThreadPool;

    struct Entry {
        SysThreadTask* task;
        bool is_owned;
    };

    static void run(const Entry& entry) noexcept;
    bool take_task(Entry& entry);
    SysThreadPool& get_pool() const;

    SysThreadManager* m_manager;
    // Guarded by the pool's mutex.
    std::deque<Entry> m_tasks;
    std::deque<Entry> m_waiting_thread_tasks;
    std::size_t m_running_count = 0;
    bool m_is_listed = false;
};

} // namespace gas_abi1
