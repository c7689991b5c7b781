// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/shown_progress.h>

#include <array>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

namespace {

using gas_app::describe_time_left;
using gas_app::ShownProgress;

double now = 0.0;

/// What was written to a terminal that has no screen.
class Paper {
  public:
    Paper() : m_file(std::tmpfile()) { now = 0.0; }
    Paper(const Paper&) = delete;
    Paper& operator=(const Paper&) = delete;
    ~Paper() { std::fclose(m_file); }

    ShownProgress::Screen get_screen(bool is_terminal = true) const {
        return {m_file, is_terminal, [] { return now; }};
    }
    std::FILE* get_file() const { return m_file; }

    /// Since the last time.
    std::string read() {
        std::fflush(m_file);
        std::fseek(m_file, m_read, SEEK_SET);
        std::array<char, 1000> text;
        const std::size_t size = std::fread(text.data(), 1, text.size(), m_file);
        m_read += static_cast<long>(size);
        return {text.data(), size};
    }

  private:
    std::FILE* m_file;
    long m_read = 0;
};

std::string make_line(std::size_t filled, const std::string& end) {
    return "Work [" + std::string(filled, '#') + std::string(30 - filled, '.') + "] " + end + "\r";
}

TEST(ShownProgress, TellsTheTimeThatIsLeft) {
    const struct {
        double seconds;
        double done;
        std::string text;
    } cases[] = {{0.9, 0.5, ""},
                 {10.0, 0.009, ""},
                 {5.0, 1.0, ""},
                 {1.0, 0.5, "1 s left"},
                 {10.0, 0.25, "30 s left"},
                 {2.0, 0.3, "5 s left"},
                 {99.0, 0.5, "99 s left"},
                 {100.0, 0.5, "2 min left"},
                 {99.0, 0.02, "81 min left"},
                 {7200.0, 0.5, "2 h left"},
                 {1e9, 0.01, "27500000 h left"}};
    for (const auto& [seconds, done, text] : cases)
        EXPECT_EQ(describe_time_left(seconds, done), text) << seconds << " " << done;
}

TEST(ShownProgress, MovesABarOnATerminal) {
    Paper paper;
    AppBase application(paper.get_file());
    {
        ShownProgress progress(application, "Work", true, true, paper.get_screen());
        EXPECT_EQ(paper.read(), make_line(0, "0 %"));
        progress.get_bar().set_value(0.5f);
        EXPECT_EQ(paper.read(), make_line(15, "50 %"));
        progress.get_bar().set_value(0.504f);
        EXPECT_EQ(paper.read(), "");
        now = 3.0;
        progress.get_bar().set_value(0.75f);
        EXPECT_EQ(paper.read(), make_line(22, "75 %, 1 s left"));
    }
    EXPECT_EQ(paper.read(), make_line(30, "100 %         ") + "\n");
}

TEST(ShownProgress, LeavesNothingOfShortWork) {
    Paper paper;
    AppBase application(paper.get_file());
    { const ShownProgress progress(application, "Work", true, true, paper.get_screen()); }
    const std::string blanks(make_line(30, "100 %").size() - 1, ' ');
    EXPECT_EQ(paper.read(), make_line(0, "0 %") + make_line(30, "100 %") + blanks + "\r");
}

TEST(ShownProgress, DoesNotFillTheBarOfWorkThatFailed) {
    Paper paper;
    AppBase application(paper.get_file());
    try {
        const ShownProgress progress(application, "Work", true, true, paper.get_screen());
        now = 1.0;
        throw std::runtime_error("");
    } catch (const std::runtime_error&) {
        EXPECT_EQ(paper.read(), make_line(0, "0 %") + "\n");
    }
}

TEST(ShownProgress, PassesOverOtherBars) {
    Paper paper;
    AppBase application(paper.get_file());
    ShownProgress progress(application, "Work", true, true, paper.get_screen());
    paper.read();
    application.create_progress_bar("Cell", false)->set_value(0.5f);
    EXPECT_EQ(paper.read(), "");
}

TEST(ShownProgress, WritesLinesElsewhereForWhatIsLogged) {
    for (const bool is_shown : {false, true})
        for (const bool is_logged : {false, true}) {
            Paper paper;
            AppBase application(paper.get_file());
            {
                ShownProgress progress(application, "Work", is_shown, is_logged,
                                       paper.get_screen(false));
                progress.get_bar().set_value(0.57f);
            }
            EXPECT_EQ(paper.read(), is_shown && is_logged ? "Work 50 %\nWork 100 %\n" : "");
        }
}

TEST(ShownProgress, DrawsNothingWhereItIsHidden) {
    Paper paper;
    AppBase application(paper.get_file());
    {
        ShownProgress progress(application, "Work", false, true, paper.get_screen());
        progress.get_bar().set_value(0.5f);
        now = 2.0;
    }
    EXPECT_EQ(paper.read(), "");
}

} // namespace
