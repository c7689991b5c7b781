// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <apps/gas/page/report_subject.h>

namespace gas_app {

/// What a report says of itself.
struct ReportInfo {
    std::string title;
    std::string version;
    /// Such as "2026-01-31 12:00".
    std::string date;
    unsigned threads = 1;
    std::string instruction_set;
    /// How rays were measured, in sentences.
    std::vector<std::string> methods;
};

inline constexpr std::size_t largest_report_page = 3'000'000;

/// The data of a report as JSON, without pictures and boxes.
std::string make_report_json(const std::vector<ReportSubject>& subjects, const ReportInfo& info);

/// The page. Where it would be larger than `limit`, boxes are left out, the smallest of each level
/// first, and the page says so.
std::string make_report_page(std::vector<ReportSubject> subjects, const ReportInfo& info,
                             std::size_t limit = largest_report_page);

} // namespace gas_app
