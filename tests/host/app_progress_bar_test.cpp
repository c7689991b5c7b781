#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <latch>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include <gas/host/host.h>

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

// A terminal without a screen, and what arrived at it.
class TerminalOutput {
  public:
    TerminalOutput() : m_screen(posix_openpt(O_RDWR | O_NOCTTY)) {
        if (m_screen >= 0 && grantpt(m_screen) == 0 && unlockpt(m_screen) == 0)
            m_file = std::fopen(ptsname(m_screen), "w");
    }
    TerminalOutput(const TerminalOutput&) = delete;
    TerminalOutput& operator=(const TerminalOutput&) = delete;
    ~TerminalOutput() {
        if (m_file)
            std::fclose(m_file);
        if (m_screen >= 0)
            close(m_screen);
    }

    std::FILE* get_file() const { return m_file; }

    // All that was written so far; the terminal ends its lines with "\r\n".
    std::string read() const {
        fcntl(m_screen, F_SETFL, fcntl(m_screen, F_GETFL) | O_NONBLOCK);
        std::string text;
        std::array<char, 256> part;
        for (;;) {
            const ssize_t size = ::read(m_screen, part.data(), part.size());
            if (size <= 0)
                return text;
            text.append(part.data(), static_cast<std::size_t>(size));
        }
    }

  private:
    int m_screen;
    std::FILE* m_file = nullptr;
};

// A bar with `filled` of its 30 places filled, and what stands behind it.
std::string make_line(std::size_t filled, const char* end) {
    std::string line = "\rbuild [";
    line.append(filled, '#');
    line.append(30 - filled, '.');
    line += end;
    return line;
}

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
    std::latch start(thread_count);
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

} // namespace

TEST(AppProgressBar, AddsItsIncrementAtEachMultipleOfTheInterval) {
    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
    bar.set_step_interval(4);
    bar.set_step_increment(0.125f);
    std::vector<unsigned> steps;
    for (unsigned n = 1; n <= 12; ++n) {
        const float before = bar.get_value();
        bar.increment_if_step(n);
        if (bar.get_value() != before)
            steps.push_back(n);
    }
    EXPECT_EQ(steps, (std::vector<unsigned>{4, 8, 12}));
    EXPECT_EQ(bar.get_value(), 0.375f);
}

TEST(AppProgressBar, AJumpPastSeveralMultiplesAddsOneIncrement) {
    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
    bar.set_step_interval(10);
    bar.set_step_increment(0.25f);
    bar.increment_if_step(35);
    EXPECT_EQ(bar.get_value(), 0.25f);
    bar.increment_if_step(39);
    EXPECT_EQ(bar.get_value(), 0.25f);
    bar.increment_if_step(40);
    EXPECT_EQ(bar.get_value(), 0.5f);
    bar.increment_if_step(40);
    EXPECT_EQ(bar.get_value(), 0.5f);
}

TEST(AppProgressBar, CountsPastTheLastMultipleDoNotWrapAround) {
    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
    bar.set_step_interval(0x80000000u);
    bar.set_step_increment(0.25f);
    bar.increment_if_step(0xFFFFFFFFu);
    bar.increment_if_step(0xFFFFFFFFu);
    EXPECT_EQ(bar.get_value(), 0.25f);
}

TEST(AppProgressBar, SettingTheIntervalCountsFromZeroAgain) {
    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
    bar.set_step_interval(10);
    bar.set_step_increment(0.25f);
    bar.increment_if_step(95);
    bar.set_step_interval(5);
    bar.increment_if_step(4);
    EXPECT_EQ(bar.get_value(), 0.25f);
    bar.increment_if_step(5);
    EXPECT_EQ(bar.get_value(), 0.5f);
}

TEST(AppProgressBar, AnIntervalOfZeroIsOne) {
    AppBase app;
    AppProgressBar& bar = *make_silent_bar(app);
    bar.set_step_interval(0);
    EXPECT_EQ(bar.get_step_interval(), 1u);
    bar.set_step_increment(0.25f);
    bar.increment_if_step(0);
    EXPECT_EQ(bar.get_value(), 0.0f);
    bar.increment_if_step(1);
    bar.increment_if_step(2);
    EXPECT_EQ(bar.get_value(), 0.5f);
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
    PlainOutput output;
    ASSERT_NE(output.get_file(), nullptr);
    AppBase app(output.get_file());
    AppProgressBar& bar = *app.create_progress_bar("build", true);
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
    PlainOutput output;
    ASSERT_NE(output.get_file(), nullptr);
    AppBase app(output.get_file());
    AppProgressBar& bar = *app.create_progress_bar("b", true);
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

TEST(AppProgressBar, OnATerminalItRedrawsOneLine) {
    TerminalOutput output;
    ASSERT_NE(output.get_file(), nullptr);
    AppBase app(output.get_file());
    AppProgressBar& bar = *app.create_progress_bar("build", true);
    EXPECT_EQ(output.read(), "");
    bar.set_value(0.0f);
    EXPECT_EQ(output.read(), make_line(0, "] 0 %  "));
    bar.set_value(0.5f);
    EXPECT_EQ(output.read(), make_line(15, "] 50 % "));
    bar.set_value(0.505f);
    EXPECT_EQ(output.read(), "");
    bar.finish();
    EXPECT_EQ(output.read(), make_line(30, "] 100 %\r\n"));
    bar.finish();
    bar.set_value(0.25f);
    EXPECT_EQ(output.read(), "");
}

TEST(AppProgressBar, AFullBarOnATerminalOnlyEndsItsLine) {
    TerminalOutput output;
    ASSERT_NE(output.get_file(), nullptr);
    AppBase app(output.get_file());
    AppProgressBar& bar = *app.create_progress_bar("build", true);
    bar.set_value(1.0f);
    EXPECT_EQ(output.read(), make_line(30, "] 100 %"));
    bar.finish();
    EXPECT_EQ(output.read(), "\r\n");
}

TEST(AppProgressBar, AnInvisibleBarDrawsNothing) {
    PlainOutput plain;
    TerminalOutput terminal;
    ASSERT_NE(plain.get_file(), nullptr);
    ASSERT_NE(terminal.get_file(), nullptr);
    for (std::FILE* file : {plain.get_file(), terminal.get_file()}) {
        AppBase app(file);
        AppProgressBar& bar = *app.create_progress_bar("build", false);
        bar.set_value(0.5f);
        bar.finish();
        EXPECT_EQ(bar.get_value(), 1.0f);
    }
    EXPECT_EQ(plain.read(), "");
    EXPECT_EQ(terminal.read(), "");
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
