// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/shared_progress.h>

#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace {

using gas_app::SharedProgress;

TEST(SharedProgress, FillsItsShareFromTheValueOfTheBar) {
    AppBase application(nullptr);
    AppProgressBar& bar = *application.create_progress_bar("", false);
    bar.set_value(0.25f);
    SharedProgress progress(bar, 0.5f, 1000);
    progress.add(500);
    EXPECT_NEAR(bar.get_value(), 0.5f, 0.01f);
    progress.add(500);
    EXPECT_NEAR(bar.get_value(), 0.75f, 1e-6f);
}

TEST(SharedProgress, CountsTheWorkOfAllThreads) {
    AppBase application(nullptr);
    AppProgressBar& bar = *application.create_progress_bar("", false);
    SharedProgress progress(bar, 1.0f, 4 * 1000);
    {
        std::vector<std::jthread> threads;
        for (unsigned thread = 0; thread < 4; ++thread)
            threads.emplace_back([&] {
                for (unsigned unit = 0; unit < 1000; ++unit)
                    progress.add(1);
            });
    }
    EXPECT_EQ(bar.get_value(), 1.0f);
}

TEST(SharedProgress, ThrowsWhatTheBarThrowsWhenAllIsDone) {
    AppBase application(nullptr);
    unsigned calls = 0;
    application.set_progress_callback(
        [](void* user, const AppProgressBar&, float) {
            ++*static_cast<unsigned*>(user);
            throw std::runtime_error("stopped");
        },
        &calls);
    SharedProgress progress(*application.create_progress_bar("", false), 1.0f, 1000);
    EXPECT_NO_THROW(progress.finish());
    for (unsigned unit = 0; unit < 1000; ++unit)
        progress.add(1);
    EXPECT_EQ(calls, 1u);
    EXPECT_THROW(progress.finish(), std::runtime_error);
}

} // namespace
