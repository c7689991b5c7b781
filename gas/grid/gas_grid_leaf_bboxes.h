// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

#include <gas/grid/gas_grid_bbox_callbacks.h>
#include <gas/grid/gas_grid_cell_guard.h>

inline namespace gas_abi1 {

/// Pieces of a request for boxes. A task is filled before it is added and owns nothing.

class GetLeafBboxesTask : public SysThreadTask {
  public:
    ~GetLeafBboxesTask() override;
    void run() override;

    GasLeafBboxesCallback callback = nullptr;
    void* user = nullptr;
    const unsigned* items = nullptr;
    unsigned count = 0;
    GMathBbox3<float>* bboxes = nullptr;
};

class GetLeafBboxesAtTask : public SysThreadTask {
  public:
    ~GetLeafBboxesAtTask() override;
    void run() override;

    GasLeafBboxesAtCallback callback = nullptr;
    void* user = nullptr;
    const unsigned* items = nullptr;
    unsigned count = 0;
    double time = 0.0;
    GMathBbox3<float>* bboxes = nullptr;
};

class GetLeavesBboxAtTask : public SysThreadTask {
  public:
    ~GetLeavesBboxAtTask() override;
    void run() override;

    GasLeavesBboxAtCallback callback = nullptr;
    void* user = nullptr;
    const unsigned* items = nullptr;
    unsigned count = 0;
    double time = 0.0;
    /// One box.
    GMathBbox3<float>* bbox = nullptr;
};

/// One of several tasks of a request, made by the thread that waits for them. Tasks let no
/// exception out: what a box callback throws is kept for that thread. While a task runs, the cells
/// that the waiting thread has locked count as locked by the thread that runs it.
template <typename Task> class GasBboxTask final : public Task {
  public:
    void run() override {
        const GasGridCellGuard* const own = GasGridCellGuard::exchange_newest(m_guards);
        try {
            Task::run();
        } catch (...) {
            m_exception = std::current_exception();
        }
        GasGridCellGuard::exchange_newest(own);
    }

    /// Throws what was kept, if anything was. The task has run.
    void rethrow() const {
        if (m_exception)
            std::rethrow_exception(m_exception);
    }

  private:
    const GasGridCellGuard* const m_guards = GasGridCellGuard::get_newest();
    std::exception_ptr m_exception;
};

/// Runs the tasks of a request on the host's task threads. Throws, when all are done, what the
/// first of them threw.
template <typename Task>
void gas_run_bbox_tasks(SysThreadTaskManager& manager, GasBboxTask<Task>* tasks, unsigned count) {
    try {
        for (unsigned i = 0; i < count; ++i)
            manager.add_task(tasks[i], false, true);
    } catch (...) {
        manager.wait_until_completed();
        throw;
    }
    manager.wait_until_completed();
    for (unsigned i = 0; i < count; ++i)
        tasks[i].rethrow();
}

} // namespace gas_abi1
