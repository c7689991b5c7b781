// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include <gas/host/host.h>

namespace {

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

/// A bar that is drawn to a terminal.
struct DrawnBar {
    explicit DrawnBar(const char* title, bool is_visible = true)
        : app(output.get_file()), bar(*app.create_progress_bar(title, is_visible)) {}

    bool is_ready() const { return output.get_file() != nullptr; }

    TerminalOutput output;
    AppBase app;
    AppProgressBar& bar;
};

TEST(AppProgressBarOnATerminal, RedrawsOneLine) {
    DrawnBar drawn("build");
    ASSERT_TRUE(drawn.is_ready());
    const auto& output = drawn.output;
    AppProgressBar& bar = drawn.bar;
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

TEST(AppProgressBarOnATerminal, OnlyEndsItsLineWhenItIsFull) {
    DrawnBar drawn("build");
    ASSERT_TRUE(drawn.is_ready());
    const auto& output = drawn.output;
    AppProgressBar& bar = drawn.bar;
    bar.set_value(1.0f);
    EXPECT_EQ(output.read(), make_line(30, "] 100 %"));
    bar.finish();
    EXPECT_EQ(output.read(), "\r\n");
}

TEST(AppProgressBarOnATerminal, DrawsNothingWhenItIsInvisible) {
    DrawnBar drawn("build", false);
    ASSERT_TRUE(drawn.is_ready());
    drawn.bar.set_value(0.5f);
    drawn.bar.finish();
    EXPECT_EQ(drawn.bar.get_value(), 1.0f);
    EXPECT_EQ(drawn.output.read(), "");
}

} // namespace
