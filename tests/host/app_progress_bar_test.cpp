// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include <gas/host/host.h>

#include <tests/support/latch.h>

namespace {

// A file that is no terminal, and what was written to it.
class PlainOutput {
  public:
    PlainOutput() : m_file(std::tmpfile()) {}
    PlainOutput(const PlainOutput&) = delete;
    PlainOutput& operator=(const PlainOutput&) = delete;
    ~PlainOutput() { std::fclose(m_file); }

    std::FILE* get_file() const { return m_file; }

    std::string read() const {
        std::string text;
        std::rewind(m_file);
        for (int character = std::fgetc(m_file); character != EOF; character = std::fgetc(m_file))
            text += static_cast<char>(character);
        return text;
    }

  private:
    std::FILE* m_file;
};

/// A bar that is drawn to a file.
struct DrawnBar {
    explicit DrawnBar(const char* title)
        : app(output.get_file()), bar(*app.create_progress_bar(title, true)) {}

    bool is_ready() const { return output.get_file() != nullptr; }

    PlainOutput output;
    AppBase app;
    AppProgressBar& bar;
};

AppProgressBar* make_silent_bar(AppBase& app) { return app.create_progress_bar("silent", false); }

TEST(AppBase, DeletesReleasedBarsAndNoOthers) {
    AppBase app(nullptr);
    AppProgressBar* const kept = app.create_progress_bar("kept", false);
    kept->set_value(0.5f);
    for (unsigned i = 0; i < 100; ++i) {
        AppProgressBar* const passing = app.create_progress_bar("passing", false);
        EXPECT_FALSE(passing->is_released());
        passing->finish();
        passing->release();
        EXPECT_TRUE(passing->is_released());
    }
    EXPECT_FALSE(kept->is_released());
    EXPECT_EQ(kept->get_value(), 0.5f);
    EXPECT_STREQ(kept->get_title().get_data(), "kept");
}

TEST(AppBase, GivesBarsToManyThreadsAtOnce) {
    constexpr unsigned thread_count = 8;
    AppBase app(nullptr);
    support::Latch start(thread_count);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < thread_count; ++i) {
        threads.emplace_back([&] {
            start.arrive_and_wait();
            for (unsigned round = 0; round < 200; ++round) {
                AppProgressBar* const bar = app.create_progress_bar("bar", false);
                bar->set_value(0.25f);
                bar->finish();
                bar->release();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_FALSE(app.create_progress_bar("last", false)->is_released());
}

/// Counts up to each of `steps` in turn, and compares the bar's value there.
struct Step {
    unsigned count;
    float value;
};
void expect_values(AppProgressBar& bar, const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        bar.increment_if_step(step.count);
        EXPECT_EQ(bar.get_value(), step.value) << step.count;
    }
}

class AppProgressBarSteps : public testing::Test {
  protected:
    AppProgressBarSteps() { bar.set_step_increment(0.25f); }

    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
};

TEST(AppBase, TellsItsCallbackWhereEachBarStands) {
    struct Told {
        const AppProgressBar* bar;
        float value;
    };
    std::vector<Told> told;
    AppBase app(nullptr);
    AppProgressBar* const bar = app.create_progress_bar(CoreString("bar"), false);
    bar->set_value(0.25f);
    app.set_progress_callback(
        [](void* user, const AppProgressBar& from, float value) {
            static_cast<std::vector<Told>*>(user)->push_back({&from, value});
        },
        &told);
    bar->set_value(0.5f);
    AppProgressBar part(*bar, 0.25f);
    part.set_value(1.0f);
    bar->finish();
    bar->finish();
    bar->set_value(0.0f);
    app.set_progress_callback(nullptr, nullptr);
    app.create_progress_bar(CoreString("other"), false)->set_value(1.0f);
    ASSERT_EQ(told.size(), 3u);
    const float values[] = {0.5f, 0.75f, 1.0f};
    for (unsigned i = 0; i < 3; ++i) {
        EXPECT_EQ(told[i].bar, bar);
        EXPECT_EQ(told[i].value, values[i]);
    }
}

TEST(AppBase, LetsItsCallbackThrow) {
    AppBase app(nullptr);
    app.set_progress_callback(
        [](void*, const AppProgressBar&, float value) {
            if (value > 0.5f)
                throw value;
        },
        nullptr);
    AppProgressBar* const bar = app.create_progress_bar(CoreString("bar"), false);
    bar->set_value(0.5f);
    EXPECT_THROW(bar->set_value(0.75f), float);
}

} // namespace

TEST_F(AppProgressBarSteps, AddAnIncrementAtEachMultipleOfTheInterval) {
    bar.set_step_interval(4);
    expect_values(bar, {{1, 0.0f},
                        {2, 0.0f},
                        {3, 0.0f},
                        {4, 0.25f},
                        {5, 0.25f},
                        {6, 0.25f},
                        {7, 0.25f},
                        {8, 0.5f},
                        {9, 0.5f},
                        {10, 0.5f},
                        {11, 0.5f},
                        {12, 0.75f}});
}

TEST_F(AppProgressBarSteps, PastSeveralMultiplesAddOneIncrement) {
    bar.set_step_interval(10);
    expect_values(bar, {{35, 0.25f}, {39, 0.25f}, {40, 0.5f}, {40, 0.5f}});
}

TEST_F(AppProgressBarSteps, PastTheLastMultipleDoNotWrapAround) {
    bar.set_step_interval(0x80000000u);
    expect_values(bar, {{0xFFFFFFFFu, 0.25f}, {0xFFFFFFFFu, 0.25f}});
}

TEST_F(AppProgressBarSteps, CountFromZeroAgainAfterAnotherInterval) {
    bar.set_step_interval(10);
    expect_values(bar, {{95, 0.25f}});
    bar.set_step_interval(5);
    expect_values(bar, {{4, 0.25f}, {5, 0.5f}});
}

TEST_F(AppProgressBarSteps, TakeAnIntervalOfZeroAsOne) {
    bar.set_step_interval(0);
    EXPECT_EQ(bar.get_step_interval(), 1u);
    expect_values(bar, {{0, 0.0f}, {1, 0.25f}, {2, 0.5f}});
}

TEST(AppProgressBar, ValuesAreClamped) {
    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
    bar.set_value(2.0f);
    EXPECT_EQ(bar.get_value(), 1.0f);
    bar.set_value(-1.0f);
    EXPECT_EQ(bar.get_value(), 0.0f);
    bar.set_value(HUGE_VALF);
    EXPECT_EQ(bar.get_value(), 1.0f);
    bar.set_value(std::nanf(""));
    EXPECT_EQ(bar.get_value(), 0.0f);

    bar.set_step_increment(0.75f);
    bar.increment_if_step(1);
    bar.increment_if_step(2);
    EXPECT_EQ(bar.get_value(), 1.0f);
}

TEST(AppProgressBar, OffATerminalItWritesALineAtEachTenth) {
    DrawnBar drawn("build");
    ASSERT_TRUE(drawn.is_ready());
    const auto& output = drawn.output;
    AppProgressBar& bar = drawn.bar;
    bar.set_value(0.0f);
    bar.set_value(0.05f);
    EXPECT_EQ(output.read(), "");
    bar.set_value(0.35f);
    bar.set_value(0.39f);
    bar.set_value(0.4f);
    EXPECT_EQ(output.read(), "build 30 %\nbuild 40 %\n");
    bar.finish();
    bar.finish();
    bar.set_value(0.5f);
    EXPECT_EQ(output.read(), "build 30 %\nbuild 40 %\nbuild 100 %\n");
}

TEST(AppProgressBar, AHundredSmallIncrementsReachEveryTenth) {
    DrawnBar drawn("b");
    ASSERT_TRUE(drawn.is_ready());
    const auto& output = drawn.output;
    AppProgressBar& bar = drawn.bar;
    bar.set_step_increment(0.01f);
    for (unsigned n = 1; n <= 100; ++n) {
        bar.increment_if_step(n);
        std::string expected;
        for (unsigned tenth = 10; tenth <= n; tenth += 10)
            expected.append("b ").append(std::to_string(tenth)).append(" %\n");
        ASSERT_EQ(output.read(), expected);
    }
    const std::string full = output.read();
    bar.finish();
    EXPECT_TRUE(bar.is_finished());
    EXPECT_EQ(output.read(), full);
}

TEST(AppProgressBar, AnInvisibleBarDrawsNothing) {
    const PlainOutput plain;
    ASSERT_NE(plain.get_file(), nullptr);
    AppBase app(plain.get_file());
    AppProgressBar& bar = *app.create_progress_bar("build", false);
    bar.set_value(0.5f);
    bar.finish();
    EXPECT_EQ(bar.get_value(), 1.0f);
    EXPECT_EQ(plain.read(), "");
}

TEST(AppProgressBar, ABarWithoutOutputCounts) {
    AppBase app(nullptr);
    AppProgressBar& bar = *app.create_progress_bar("build", true);
    bar.set_value(0.5f);
    EXPECT_EQ(bar.get_value(), 0.5f);
    bar.finish();
    EXPECT_TRUE(bar.is_finished());
}

TEST(AppProgressBar, APartFillsItsShareOfTheWhole) {
    AppBase application(nullptr);
    application.set_build_method(1);
    AppProgressBar whole(application, "whole", false, nullptr);
    whole.set_value(0.25f);
    AppProgressBar part(whole, 0.5f);
    EXPECT_EQ(&part.get_app(), &application);
    EXPECT_STREQ(part.get_title().get_data(), "whole");
    EXPECT_EQ(part.get_value(), 0.0f);
    EXPECT_EQ(whole.get_value(), 0.25f);
    part.set_value(0.0f);
    EXPECT_EQ(whole.get_value(), 0.25f);
    part.set_step_interval(10);
    part.set_step_increment(0.5f);
    part.increment_if_step(10);
    EXPECT_EQ(part.get_value(), 0.5f);
    EXPECT_EQ(whole.get_value(), 0.5f);
    part.finish();
    EXPECT_EQ(whole.get_value(), 0.75f);
    EXPECT_FALSE(whole.is_finished());
    AppProgressBar next(whole, 0.25f);
    next.set_value(1.0f);
    EXPECT_EQ(whole.get_value(), 1.0f);
}

TEST(AppBase, KeepsItsBarsAndItsBuildMethod) {
    AppBase app;
    EXPECT_EQ(app.get_build_method(), 2u);
    AppProgressBar* first = make_silent_bar(app);
    AppProgressBar* second = make_silent_bar(app);
    EXPECT_NE(first, second);
    EXPECT_EQ(&first->get_app(), &app);
    app.set_build_method(3);
    EXPECT_EQ(gas_host::get_build_method(*first), 3u);
    EXPECT_EQ(gas_host::get_build_method(*second), 3u);

    gas_host::set_progress_steps(*second, 7, 0.5f);
    EXPECT_EQ(second->get_step_interval(), 7u);
    EXPECT_EQ(second->get_step_increment(), 0.5f);
    EXPECT_EQ(first->get_step_interval(), 1u);
}
