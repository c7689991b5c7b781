// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <gas/core/gas_report.h>

namespace support {

/// Writes down what the library reports, as long as it lives.
class RecordedReports {
  public:
    struct Told {
        GasReportCause cause;
        const void* tree;

        bool operator==(const Told&) const = default;
    };

    RecordedReports() { gas_set_report(record, this); }
    RecordedReports(const RecordedReports&) = delete;
    RecordedReports& operator=(const RecordedReports&) = delete;
    ~RecordedReports() { gas_set_report(nullptr); }

    /// What was told since the last time.
    std::vector<Told> take() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return std::move(m_told);
    }

    /// The text of what was told last; empty if nothing was.
    std::string get_text() {
        const std::lock_guard<std::mutex> guard(m_mutex);
        return m_text;
    }

  private:
    static void record(void* user, const GasReport& report) {
        auto& reports = *static_cast<RecordedReports*>(user);
        const std::lock_guard<std::mutex> guard(reports.m_mutex);
        reports.m_told.push_back({report.cause, report.tree});
        reports.m_text = report.text;
    }

    std::mutex m_mutex;
    std::vector<Told> m_told;
    std::string m_text;
};

using Reports = std::vector<RecordedReports::Told>;

} // namespace support
