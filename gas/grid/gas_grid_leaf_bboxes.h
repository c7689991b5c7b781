#pragma once

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

} // namespace gas_abi1
