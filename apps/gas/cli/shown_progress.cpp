// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/shown_progress.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <exception>

#include <unistd.h>

namespace gas_app {

namespace {

/// Work that took less leaves no line behind.
constexpr double short_seconds = 0.3;

double get_clock_seconds() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration<double>(now).count();
}

} // namespace

std::string describe_time_left(double seconds, double done) {
    // The first steps of work say little about the others.
    if (!(seconds >= 1.0) || !(done >= 0.01) || done >= 1.0)
        return "";
    const double left = std::ceil(seconds * (1.0 - done) / done);
    if (left < 100.0)
        return std::to_string(static_cast<unsigned>(left)) + " s left";
    const double minutes = std::ceil(left / 60.0);
    if (minutes < 100.0)
        return std::to_string(static_cast<unsigned>(minutes)) + " min left";
    return std::to_string(static_cast<std::uint64_t>(std::ceil(minutes / 60.0))) + " h left";
}

ShownProgress::Screen ShownProgress::Screen::get_usual() {
    return {stderr, ::isatty(STDERR_FILENO) == 1, get_clock_seconds};
}

ShownProgress::ShownProgress(AppBase& application, const std::string& title, bool is_shown,
                             bool is_logged, const Screen& screen)
    : m_application(application), m_bar(application.create_progress_bar(
                                      title.c_str(), is_shown && is_logged && !screen.is_terminal)),
      m_title(title), m_screen(screen), m_draws(is_shown && screen.is_terminal),
      m_start(screen.get_seconds()), m_exception_count(std::uncaught_exceptions()) {
    if (!m_draws)
        return;
    application.set_progress_callback(move, this);
    draw(0.0);
}

ShownProgress::~ShownProgress() {
    if (std::uncaught_exceptions() == m_exception_count)
        m_bar->finish();
    if (m_draws) {
        m_application.set_progress_callback(nullptr, nullptr);
        if (m_screen.get_seconds() - m_start < short_seconds)
            clear();
        else
            std::fputc('\n', m_screen.output);
        std::fflush(m_screen.output);
    }
    m_bar->release();
}

/// Of another bar, such as that of a grid's cell, nothing is shown.
void ShownProgress::move(void* user, const AppProgressBar& bar, float value) {
    auto& shown = *static_cast<ShownProgress*>(user);
    if (&bar == shown.m_bar)
        shown.draw(static_cast<double>(value));
}

void ShownProgress::draw(double done) {
    constexpr double bar_width = 30.0;
    // Many small steps add up to a little less than their sum.
    const auto percent = static_cast<unsigned>(100.0 * done + 0.01);
    std::string bar(static_cast<std::size_t>(bar_width * done), '#');
    bar.resize(static_cast<std::size_t>(bar_width), '.');
    std::string line = m_title + " [" + bar + "] " + std::to_string(percent) + " %";
    const std::string left = describe_time_left(m_screen.get_seconds() - m_start, done);
    if (!left.empty())
        line += ", " + left;
    if (line == m_line)
        return;
    // Blanks overwrite the rest of a longer line. What others write next overwrites this one.
    const std::size_t blanks = m_line.size() > line.size() ? m_line.size() - line.size() : 0;
    std::fprintf(m_screen.output, "%s%s\r", line.c_str(), std::string(blanks, ' ').c_str());
    std::fflush(m_screen.output);
    m_line = line;
}

void ShownProgress::clear() {
    std::fprintf(m_screen.output, "%s\r", std::string(m_line.size(), ' ').c_str());
}

TriangleMesh read_mesh(const std::string& path, AppBase& application) {
    ShownProgress progress(application, "Reading the mesh", true);
    return load_mesh_file(path, &progress.get_bar());
}

} // namespace gas_app
