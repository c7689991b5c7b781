// SPDX-License-Identifier: Apache-2.0
#include <gas/grid/gas_grid_leaf_bboxes.h>

#include <cstdint>
#include <memory>

#include <gas/core/gas_reporting.h>
#include <gas/grid/gas_grid_tree.h>

inline namespace gas_abi1 {

namespace {

/// Pieces hold about this many items.
constexpr unsigned piece_size = 256;

/// Runs `prepare(task, first, count)` and then the task for each piece of a request of `count`
/// items, on the host's task threads. Throws what the first of the tasks threw, when all are done.
/// False: the request is too small to be divided.
template <typename Task, typename Prepare>
bool run_in_pieces(unsigned count, const Prepare& prepare) {
    const unsigned task_count = count / piece_size;
    if (task_count < 2)
        return false;
    const std::uint64_t size = (std::uint64_t{count} + task_count - 1) / task_count;
    const std::unique_ptr<GasBboxTask<Task>[]> tasks(new GasBboxTask<Task>[task_count]);
    unsigned used_count = 0; // rounding up leaves nothing for the last pieces
    for (std::uint64_t first = 0; first < count; first += size) {
        const std::uint64_t rest = count - first;
        prepare(tasks[used_count++], static_cast<unsigned>(first),
                static_cast<unsigned>(size < rest ? size : rest));
    }
    SysThreadTaskManager manager(nullptr);
    gas_run_bbox_tasks(manager, tasks.get(), used_count);
    return true;
}

} // namespace

GetLeafBboxesTask::~GetLeafBboxesTask() = default;

void GetLeafBboxesTask::run() { callback(user, count, items, bboxes); }

GetLeafBboxesAtTask::~GetLeafBboxesAtTask() = default;

void GetLeafBboxesAtTask::run() { callback(user, time, count, items, bboxes); }

GetLeavesBboxAtTask::~GetLeavesBboxAtTask() = default;

void GetLeavesBboxAtTask::run() { callback(user, time, count, items, *bbox); }

void GasGridTree::get_leaf_bboxes(const unsigned& count, const unsigned* items,
                                  GMathBbox3<float>* bboxes) const {
    if (m_bbox_callbacks.leaf_bboxes == GasGridBboxCallbacks::ignore_bboxes)
        gas_report(GasReportTopic::no_leaf_bboxes, this);
    const auto prepare = [&](GetLeafBboxesTask& task, unsigned first, unsigned piece_count) {
        task.callback = m_bbox_callbacks.leaf_bboxes;
        task.user = m_bbox_callbacks.user;
        task.items = items + first;
        task.count = piece_count;
        task.bboxes = bboxes + first;
    };
    if (!run_in_pieces<GetLeafBboxesTask>(count, prepare))
        m_bbox_callbacks.leaf_bboxes(m_bbox_callbacks.user, count, items, bboxes);
}

void GasGridTree::get_leaf_bboxes_at(const double& time, const unsigned& count,
                                     const unsigned* items, GMathBbox3<float>* bboxes) const {
    if (m_bbox_callbacks.leaf_bboxes_at == GasGridBboxCallbacks::ignore_bboxes_at)
        gas_report(GasReportTopic::no_leaf_bboxes_at, this);
    const auto prepare = [&](GetLeafBboxesAtTask& task, unsigned first, unsigned piece_count) {
        task.callback = m_bbox_callbacks.leaf_bboxes_at;
        task.user = m_bbox_callbacks.user;
        task.items = items + first;
        task.count = piece_count;
        task.time = time;
        task.bboxes = bboxes + first;
    };
    if (!run_in_pieces<GetLeafBboxesAtTask>(count, prepare))
        m_bbox_callbacks.leaf_bboxes_at(m_bbox_callbacks.user, time, count, items, bboxes);
}

} // namespace gas_abi1
