// SPDX-License-Identifier: Apache-2.0
#include <gas/host/app_progress_bar.h>

#include <string>

#if defined(_WIN32)
#include <io.h>
#else
#include <unistd.h>
#endif

#include <gas/host/app_base.h>

inline namespace gas_abi1 {

namespace {

constexpr int bar_width = 30;

bool is_terminal(std::FILE* output) {
#if defined(_WIN32)
    return output && _isatty(_fileno(output)) != 0;
#else
    return output && isatty(fileno(output)) == 1;
#endif
}

} // namespace

AppProgressBar::AppProgressBar(AppBase& app, const CoreString& title, bool visible,
                               std::FILE* output)
    : m_app(&app), m_title(title), m_output(output), m_visible(visible && output),
      m_terminal(is_terminal(output)), m_drawn_percent(m_terminal ? -1 : 0) {}

AppProgressBar::AppProgressBar(AppProgressBar& whole, float share)
    : AppProgressBar(whole.get_app(), whole.get_title(), false, nullptr) {
    m_whole = &whole;
    m_share = share;
    m_start = whole.get_value();
}

void AppProgressBar::increment_if_step(const unsigned& n) {
    if (n < m_next_step)
        return;
    m_next_step = (std::uint64_t{n} / m_step_interval + 1) * m_step_interval;
    set_value(m_value + m_step_increment);
}

void AppProgressBar::set_value(const float& value) {
    if (!(value > 0.0f)) // a NaN as well
        m_value = 0.0f;
    else
        m_value = value < 1.0f ? value : 1.0f;
    draw();
}

void AppProgressBar::finish() {
    if (m_finished)
        return;
    set_value(1.0f);
    m_finished = true;
    if (m_visible && m_terminal) {
        std::fputc('\n', m_output);
        std::fflush(m_output);
    }
}

void AppProgressBar::set_step_interval(unsigned interval) {
    m_step_interval = interval ? interval : 1;
    m_next_step = m_step_interval;
}

void AppProgressBar::draw() {
    if (m_whole)
        m_whole->set_value(m_start + m_share * m_value);
    else if (!m_finished)
        m_app->tell_progress(*this, m_value);
    if (!m_visible || m_finished)
        return;

    // Many small increments add up to a little less than their sum: 100 times 0.01 is 0.9999993.
    constexpr float slack = 0.01f;
    int percent = static_cast<int>(m_value * 100.0f + slack);
    if (!m_terminal)
        percent -= percent % 10;
    if (percent == m_drawn_percent)
        return;
    m_drawn_percent = percent;

    if (m_terminal)
        write_terminal_line(percent);
    else
        std::fprintf(m_output, "%s %d %%\n", m_title.get_data(), percent);
    std::fflush(m_output);
}

void AppProgressBar::write_terminal_line(int percent) {
    const int filled = bar_width * percent / 100;
    std::string bar(static_cast<std::size_t>(filled), '#');
    bar.resize(bar_width, '.');
    // Blanks overwrite the rest of a longer number.
    const char* blanks = percent < 10 ? "  " : percent < 100 ? " " : "";
    std::fprintf(m_output, "\r%s [%s] %d %%%s", m_title.get_data(), bar.c_str(), percent, blanks);
}

} // namespace gas_abi1
