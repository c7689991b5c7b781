// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

#include <gas/grid/gas_grid_bbox_callbacks.h>

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

/// One of several tasks of a request. Tasks let no exception out: what a box callback throws is
/// kept for the thread that made the request.
template <typename Task> class GasBboxTask final : public Task {
  public:
    void run() override {
        try {
            Task::run();
        } catch (...) {
            m_exception = std::current_exception();
        }
    }

    /// Throws what was kept, if anything was. The task has run.
    void rethrow() const {
        if (m_exception)
            std::rethrow_exception(m_exception);
    }

  private:
    std::exception_ptr m_exception;
};

} // namespace gas_abi1
