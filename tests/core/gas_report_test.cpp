// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gas/core/gas_reporting.h>

#include <tests/support/recorded_reports.h>

namespace {

using support::RecordedReports;
using support::Reports;

constexpr unsigned topic_count = static_cast<unsigned>(GasReportTopic::range_outside) + 1;

int trees[2];

void tell(const void* tree) {
    for (unsigned topic = 0; topic < topic_count; ++topic)
        gas_report(static_cast<GasReportTopic>(topic), tree);
}

void tell_all() {
    for (const int& tree : trees)
        tell(&tree);
}

} // namespace

TEST(Report, WhatNobodyHeardIsToldLater) {
    tell_all();
    RecordedReports reports;
    tell_all();
    EXPECT_EQ(reports.take().size(), 2 * topic_count);
}

TEST(Report, OncePerTreeAndTopic) {
    RecordedReports reports;
    tell_all();
    EXPECT_EQ(reports.take().size(), 2 * topic_count);
    tell_all();
    EXPECT_EQ(reports.take(), Reports{});
}

// More than a thread remembers without a lock.
TEST(Report, OncePerTreeOfMany) {
    RecordedReports reports;
    const std::vector<int> many(100);
    for (unsigned round = 0; round < 3; ++round) {
        for (const int& tree : many)
            tell(&tree);
        EXPECT_EQ(reports.take().size(), round == 0 ? 100 * topic_count : 0u);
    }
    for (const int& tree : many)
        gas_forget_reports(&tree);
}

TEST(Report, ADestroyedTreeIsForgotten) {
    RecordedReports reports;
    tell_all();
    reports.take();
    gas_forget_reports(&trees[1]);
    gas_report(GasReportTopic::no_frames, &trees[0]);
    gas_report(GasReportTopic::no_frames, &trees[1]);
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
    EXPECT_EQ(others.take().size(), 2 * topic_count);
    EXPECT_EQ(reports.take(), Reports{});
}

TEST(Report, TextsAreLinesOfTheirOwn) {
    static std::vector<std::string> texts;
    gas_set_report([](void*, const GasReport& report) { texts.push_back(report.text); });
    tell(nullptr);
    gas_set_report(nullptr);
    ASSERT_EQ(texts.size(), topic_count);
    for (const std::string& text : texts) {
        EXPECT_GT(text.size(), 20u);
        EXPECT_EQ(text.find('\n'), std::string::npos);
        EXPECT_EQ(std::count(texts.begin(), texts.end(), text), 1);
    }
}

TEST(Report, ACallbackMayThrowAndMaySetAnother) {
    gas_set_report([](void*, const GasReport&) { throw std::runtime_error("told"); });
    EXPECT_THROW(gas_report(GasReportTopic::no_frames, &trees[0]), std::runtime_error);
    EXPECT_NO_THROW(gas_report(GasReportTopic::no_frames, &trees[0]));
    unsigned call_count = 0;
    const auto count_once = [](void* user, const GasReport&) {
        ++*static_cast<unsigned*>(user);
        gas_set_report(nullptr);
    };
    gas_set_report(count_once, &call_count);
    tell_all();
    EXPECT_EQ(call_count, 1u);
}

TEST(Report, AnotherThreadForgetsForAll) {
    RecordedReports reports;
    tell_all();
    reports.take();
    std::thread([] { gas_forget_reports(&trees[0]); }).join();
    tell_all();
    EXPECT_EQ(reports.take().size(), topic_count);
}

TEST(Report, ThreadsThatFindTheSameTellItOnce) {
    RecordedReports reports;
    std::thread other(tell_all);
    tell_all();
    other.join();
    EXPECT_EQ(reports.take().size(), 2 * topic_count);
}
