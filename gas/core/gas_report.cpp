// SPDX-License-Identifier: Apache-2.0
#include <gas/core/gas_report.h>

#include <atomic>
#include <mutex>
#include <new>
#include <set>
#include <utility>

#include <gas/core/gas_reporting.h>

inline namespace gas_abi1 {

namespace {

/// Who is told, and what was told.
struct Reports {
    std::mutex mutex;
    GasReportCallback callback = nullptr;
    void* user = nullptr;
    std::set<std::pair<const void*, GasReportCause>> told;
};

/// Never destroyed: trees may be destroyed after all else.
Reports& get_reports() {
    static Reports& reports = *new Reports;
    return reports;
}

/// What a look without the lock tells.
std::atomic<bool> is_anybody_told = false;
std::atomic<bool> is_anything_told = false;

const char* get_text(GasReportCause cause) {
    switch (cause) {
    case GasReportCause::no_frames:
        return "a ray query found no frames in its CtxShader and traces nothing: a GasShaderFrames "
               "or GasObject::create_ctx gives it some";
    case GasReportCause::no_leaf_callback:
        return "a ray query calls a leaf callback that was never set and finds nothing: "
               "set_leaf_raytrace_callbacks sets it";
    case GasReportCause::unfilled_sample:
        return "a motion ray needs a motion-blur sample that was never filled and traces nothing: "
               "refit_motion_blur_sample fills it";
    case GasReportCause::no_bbox_callback:
        return "a grid asks for the boxes of items by a callback that was never set and takes "
               "zeros: set_leaf_bbox_callbacks sets it";
    }
    return "";
}

} // namespace

void gas_set_report(GasReportCallback callback, void* user) {
    Reports& reports = get_reports();
    const std::lock_guard<std::mutex> guard(reports.mutex);
    reports.callback = callback;
    reports.user = user;
    reports.told.clear();
    is_anybody_told.store(callback != nullptr, std::memory_order_relaxed);
    is_anything_told.store(false, std::memory_order_relaxed);
}

void gas_report(GasReportCause cause, const void* tree) {
    if (!is_anybody_told.load(std::memory_order_relaxed))
        return;
    GasReportCallback callback = nullptr;
    void* user = nullptr;
    {
        Reports& reports = get_reports();
        const std::lock_guard<std::mutex> guard(reports.mutex);
        try {
            if (!reports.callback || !reports.told.emplace(tree, cause).second)
                return;
        } catch (const std::bad_alloc&) {
            return; // nothing that a query promises needs a report
        }
        is_anything_told.store(true, std::memory_order_relaxed);
        callback = reports.callback;
        user = reports.user;
    }
    callback(user, {cause, tree, get_text(cause)});
}

void gas_forget_reports(const void* tree) noexcept {
    if (!is_anything_told.load(std::memory_order_relaxed))
        return;
    Reports& reports = get_reports();
    const std::lock_guard<std::mutex> guard(reports.mutex);
    for (const GasReportCause cause :
         {GasReportCause::no_frames, GasReportCause::no_leaf_callback,
          GasReportCause::unfilled_sample, GasReportCause::no_bbox_callback})
        reports.told.erase({tree, cause});
}

} // namespace gas_abi1
