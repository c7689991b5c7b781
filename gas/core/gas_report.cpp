// SPDX-License-Identifier: Apache-2.0
#include <gas/core/gas_report.h>

#include <atomic>
#include <cstdint>
#include <iterator>
#include <mutex>
#include <new>
#include <set>
#include <utility>

#include <gas/core/gas_reporting.h>

inline namespace gas_abi1 {

namespace {

struct Message {
    GasReportCause cause;
    const char* text;
};

/// One for each topic, in order.
constexpr Message messages[] = {
    {GasReportCause::no_frames,
     "a ray query found no frames in its CtxShader and traces nothing: a GasShaderFrames or "
     "GasObject::create_ctx gives it some"},
    {GasReportCause::no_leaf_callback,
     "an all-hits query, static or of a tree without two motion-blur samples, calls the leaf "
     "callback hit_static, which was never set: set_leaf_raytrace_callbacks sets it"},
    {GasReportCause::no_leaf_callback,
     "an all-hits query in motion calls the leaf callback hit_motion, which was never set: "
     "set_leaf_raytrace_callbacks sets it"},
    {GasReportCause::no_leaf_callback,
     "a nearest-hit query, static or of a tree without two motion-blur samples, calls the leaf "
     "callback nearest_static, which was never set: set_leaf_raytrace_callbacks sets it"},
    {GasReportCause::no_leaf_callback,
     "a nearest-hit query in motion calls the leaf callback nearest_motion, which was never set: "
     "set_leaf_raytrace_callbacks sets it"},
    {GasReportCause::no_leaf_callback,
     "a ray query comes to a cell of a grid that was built before its leaf callback was set, and "
     "finds nothing there: set_leaf_raytrace_callbacks comes before the first query, or before "
     "another create"},
    {GasReportCause::unfilled_sample,
     "a motion ray needs a motion-blur sample that was never filled and traces nothing: "
     "refit_motion_blur_sample fills it"},
    {GasReportCause::no_bbox_callback,
     "a grid asks for the boxes of items by leaf_bboxes, which was never set, and takes zeros: "
     "set_leaf_bbox_callbacks sets it"},
    {GasReportCause::no_bbox_callback,
     "a grid asks for the boxes of items in motion by leaf_bboxes_at, which was never set, and "
     "takes zeros: set_leaf_bbox_callbacks sets it"},
    {GasReportCause::no_bbox_callback,
     "update_motion_blur of a grid asks for the boxes of cells by leaves_bbox_at, which was never "
     "set, and takes zeros: the form of set_leaf_bbox_callbacks with four callbacks sets it"},
    {GasReportCause::no_intersection_map,
     "a nearest-hit query found no intersection map with a path for each ray in its batch and "
     "traces nothing: GeometryRaytraceData::set_rays of the reference host takes one"},
    {GasReportCause::range_outside,
     "the range of a batch reaches beyond its rays, and a query traces nothing: "
     "GeometryRaytraceData::set_range of the reference host sets it"},
};
constexpr auto last_topic = GasReportTopic::range_outside;
static_assert(std::size(messages) == static_cast<unsigned>(last_topic) + 1);

/// Who is told, and what was told.
struct Reports {
    std::mutex mutex;
    GasReportCallback callback = nullptr;
    void* user = nullptr;
    std::set<std::pair<const void*, GasReportTopic>> told;
};

/// Never destroyed: trees may be destroyed after all else.
Reports& get_reports() {
    static Reports& reports = *new Reports;
    return reports;
}

/// What a look without the lock tells.
std::atomic<bool> is_anybody_told = false;
std::atomic<bool> is_anything_told = false;
/// Raised wherever something that was told may be told again.
std::atomic<std::uint64_t> epoch = 1;

/// Something that was told in an epoch. A query that lacks something comes back for every ray.
struct Told {
    std::uint64_t epoch = 0;
    const void* tree = nullptr;
    GasReportTopic topic = GasReportTopic::no_frames;

    bool operator==(const Told&) const = default;
};

/// This thread's place for what it last found told of a tree, which others may take.
Told& get_last_told(const void* tree, GasReportTopic topic) {
    constexpr unsigned count = 8;
    thread_local Told last[count];
    const auto address = reinterpret_cast<std::uintptr_t>(tree);
    return last[((address >> 4) + (address >> 9) + static_cast<unsigned>(topic)) % count];
}

} // namespace

void gas_set_report(GasReportCallback callback, void* user) {
    Reports& reports = get_reports();
    const std::lock_guard<std::mutex> guard(reports.mutex);
    reports.callback = callback;
    reports.user = user;
    reports.told.clear();
    epoch.fetch_add(1, std::memory_order_relaxed);
    is_anybody_told.store(callback != nullptr, std::memory_order_relaxed);
    is_anything_told.store(false, std::memory_order_relaxed);
}

void gas_report(GasReportTopic topic, const void* tree) {
    if (!is_anybody_told.load(std::memory_order_relaxed))
        return;
    Told& last = get_last_told(tree, topic);
    if (last == Told{epoch.load(std::memory_order_relaxed), tree, topic})
        return;
    GasReportCallback callback = nullptr;
    void* user = nullptr;
    {
        Reports& reports = get_reports();
        const std::lock_guard<std::mutex> guard(reports.mutex);
        if (!reports.callback)
            return;
        bool is_new = false;
        try {
            is_new = reports.told.emplace(tree, topic).second;
        } catch (const std::bad_alloc&) {
            return; // nothing that a query promises needs a report
        }
        last = {epoch.load(std::memory_order_relaxed), tree, topic};
        if (!is_new)
            return;
        is_anything_told.store(true, std::memory_order_relaxed);
        callback = reports.callback;
        user = reports.user;
    }
    const Message& message = messages[static_cast<unsigned>(topic)];
    callback(user, {message.cause, tree, message.text});
}

void gas_forget_reports(const void* tree) noexcept {
    if (!is_anything_told.load(std::memory_order_relaxed))
        return;
    Reports& reports = get_reports();
    const std::lock_guard<std::mutex> guard(reports.mutex);
    const auto first = reports.told.lower_bound({tree, GasReportTopic::no_frames});
    const auto end = reports.told.upper_bound({tree, last_topic});
    if (first == end)
        return;
    reports.told.erase(first, end);
    epoch.fetch_add(1, std::memory_order_relaxed);
}

} // namespace gas_abi1
