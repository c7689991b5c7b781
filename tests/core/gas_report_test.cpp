// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <thread>

#include <gas/core/gas_reporting.h>

#include <tests/support/recorded_reports.h>

namespace {

using support::RecordedReports;
using support::Reports;

constexpr GasReportCause all_causes[] = {
    GasReportCause::no_frames, GasReportCause::no_leaf_callback, GasReportCause::unfilled_sample,
    GasReportCause::no_bbox_callback};

int trees[2];

void tell_all() {
    for (const int& tree : trees)
        for (const GasReportCause cause : all_causes)
            gas_report(cause, &tree);
}

} // namespace

TEST(Report, NobodyIsToldAtFirst) {
    tell_all();
    RecordedReports reports;
    EXPECT_EQ(reports.take(), Reports{});
}

TEST(Report, OncePerTreeAndCause) {
    RecordedReports reports;
    tell_all();
    EXPECT_EQ(reports.take().size(), 8u);
    tell_all();
    EXPECT_EQ(reports.take(), Reports{});
}

TEST(Report, ADestroyedTreeIsForgotten) {
    RecordedReports reports;
    tell_all();
    reports.take();
    gas_forget_reports(&trees[1]);
    gas_report(GasReportCause::no_frames, &trees[0]);
    gas_report(GasReportCause::no_frames, &trees[1]);
    EXPECT_EQ(reports.take(), (Reports{{GasReportCause::no_frames, &trees[1]}}));
}

TEST(Report, WhoIsSetAnewIsToldAnew) {
    RecordedReports reports;
    tell_all();
    reports.take();
    gas_set_report(nullptr);
    tell_all();
    EXPECT_EQ(reports.take(), Reports{});
    RecordedReports others;
    tell_all();
    EXPECT_EQ(others.take().size(), 8u);
    EXPECT_EQ(reports.take(), Reports{});
}

TEST(Report, TextsAreLinesOfTheirOwn) {
    static std::vector<std::string> texts;
    gas_set_report([](void*, const GasReport& report) { texts.push_back(report.text); });
    for (const GasReportCause cause : all_causes)
        gas_report(cause, nullptr);
    gas_set_report(nullptr);
    ASSERT_EQ(texts.size(), 4u);
    for (const std::string& text : texts) {
        EXPECT_GT(text.size(), 20u);
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_EQ(std::count(texts.begin(), texts.end(), text), 1);
    }
}

TEST(Report, ACallbackMayThrowAndMaySetAnother) {
    gas_set_report([](void*, const GasReport&) { throw std::runtime_error("told"); });
    EXPECT_THROW(gas_report(GasReportCause::no_frames, &trees[0]), std::runtime_error);
    EXPECT_NO_THROW(gas_report(GasReportCause::no_frames, &trees[0]));
    gas_set_report([](void*, const GasReport&) { gas_set_report(nullptr); });
    tell_all();
}

TEST(Report, ThreadsThatFindTheSameTellItOnce) {
    RecordedReports reports;
    std::thread other(tell_all);
    tell_all();
    other.join();
    EXPECT_EQ(reports.take().size(), 8u);
}
