// SPDX-License-Identifier: Apache-2.0
#include <gas/host/sys_thread_task.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

inline namespace gas_abi1 {

SysThreadTask::~SysThreadTask() = default;

/// The tasks that wait for threads. One mutex guards every list of them: a task takes far longer
/// than the work under the mutex.
class SysThreadPool {
  public:
    void close() {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            m_is_closing = true;
        }
        m_task_added.notify_all();
    }

    void add(SysThreadTaskManager& manager, const SysThreadTaskManager::Entry& entry,
             bool is_parallel) {
        {
            const std::lock_guard<std::mutex> guard(m_mutex);
            if (!is_parallel) {
                manager.m_waiting_thread_tasks.push_back(entry);
                return;
            }
            manager.m_tasks.push_back(entry);
            if (!manager.m_is_listed) {
                m_managers.push_back(&manager);
                manager.m_is_listed = true;
            }
        }
        m_task_added.notify_one();
    }

    /// Runs tasks of `manager` until none is left or running.
    void wait(SysThreadTaskManager& manager) {
        std::unique_lock<std::mutex> guard(m_mutex);
        for (;;) {
            SysThreadTaskManager::Entry entry;
            if (manager.take_task(entry)) {
                run(manager, entry, guard);
                continue;
            }
            if (manager.m_running_count == 0)
                break;
            m_task_finished.wait(guard);
        }
        unlist(manager);
    }

    /// Runs tasks of all managers until the pool closes.
    void serve() {
        std::unique_lock<std::mutex> guard(m_mutex);
        for (;;) {
            m_task_added.wait(guard, [this] { return m_is_closing || !m_managers.empty(); });
            if (m_is_closing)
                return;
            // Managers take turns.
            SysThreadTaskManager& manager = *m_managers.front();
            unlist(manager);
            if (manager.m_tasks.empty())
                continue;
            const SysThreadTaskManager::Entry entry = manager.m_tasks.front();
            manager.m_tasks.pop_front();
            if (!manager.m_tasks.empty()) {
                m_managers.push_back(&manager);
                manager.m_is_listed = true;
            }
            run(manager, entry, guard);
        }
    }

  private:
    void run(SysThreadTaskManager& manager, const SysThreadTaskManager::Entry& entry,
             std::unique_lock<std::mutex>& guard) {
        ++manager.m_running_count;
        guard.unlock();
        SysThreadTaskManager::run(entry);
        guard.lock();
        // After the last task's end the manager may be destroyed.
        if (--manager.m_running_count == 0)
            m_task_finished.notify_all();
    }

    void unlist(SysThreadTaskManager& manager) {
        if (!manager.m_is_listed)
            return;
        for (auto listed = m_managers.begin(); listed != m_managers.end(); ++listed) {
            if (*listed == &manager) {
                m_managers.erase(listed);
                break;
            }
        }
        manager.m_is_listed = false;
    }

    std::mutex m_mutex;
    std::condition_variable m_task_added;
    std::condition_variable m_task_finished;
    /// Managers with tasks for any thread.
    std::deque<SysThreadTaskManager*> m_managers;
    bool m_is_closing = false;
};

namespace {

/// The pool that all managers without one of their own share, and its threads.
class SharedThreads {
  public:
    static SysThreadPool& get_pool() {
        static SharedThreads threads;
        return threads.m_pool;
    }

    ~SharedThreads() {
        m_pool.close();
        for (std::thread& thread : m_threads)
            thread.join();
    }

  private:
    SharedThreads() {
        const unsigned thread_count = std::thread::hardware_concurrency();
        try {
            for (unsigned i = 1; i < thread_count; ++i)
                m_threads.emplace_back([this] { m_pool.serve(); });
        } catch (...) {
            // Fewer threads, or none, are enough: the waiting thread runs the tasks left.
        }
    }

    SysThreadPool m_pool;
    std::vector<std::thread> m_threads;
};

} // namespace

SysThreadManager::SysThreadManager() : m_pool(new SysThreadPool) {}

SysThreadManager::~SysThreadManager() = default;

void SysThreadManager::serve() { m_pool->serve(); }

void SysThreadManager::close() { m_pool->close(); }

SysThreadTaskManager::SysThreadTaskManager(SysThreadManager* manager) : m_manager(manager) {}

SysThreadPool& SysThreadTaskManager::get_pool() const {
    return m_manager ? *m_manager->m_pool : SharedThreads::get_pool();
}

SysThreadTaskManager::~SysThreadTaskManager() { wait_until_completed(); }

void SysThreadTaskManager::add_task(SysThreadTask& task, const bool& is_owned,
                                    const bool& is_parallel) {
    get_pool().add(*this, {&task, is_owned}, is_parallel);
}

void SysThreadTaskManager::wait_until_completed() { get_pool().wait(*this); }

void SysThreadTaskManager::run(const Entry& entry) noexcept {
    entry.task->run();
    if (entry.is_owned)
        delete entry.task;
}

bool SysThreadTaskManager::take_task(Entry& entry) {
    std::deque<Entry>& tasks = m_waiting_thread_tasks.empty() ? m_tasks : m_waiting_thread_tasks;
    if (tasks.empty())
        return false;
    // The newest first: the pool takes the oldest.
    entry = tasks.back();
    tasks.pop_back();
    return true;
}

} // namespace gas_abi1
