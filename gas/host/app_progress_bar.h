// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>

#include <gas/host/core_string.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

class AppBase;

/// A progress bar of an application; used by one thread at a time. On a terminal it redraws one
/// line, elsewhere it writes a plain line at each tenth.
class GAS_HOST_EXPORT AppProgressBar {
  public:
    /// `app` outlives the bar and has the build method setting. A bar that is not `visible`
    /// counts and draws nothing. `output` is not owned; null draws nothing either.
    AppProgressBar(AppBase& app, const CoreString& title, bool visible, std::FILE* output);

    /// A bar that draws nothing itself: from 0 to 1 it fills `share` of `whole`, which outlives it,
    /// starting at the value that `whole` has now. It takes the title and the application of
    /// `whole`.
    AppProgressBar(AppProgressBar& whole, float share);

    /// Adds the increment when `n` reaches the next multiple of the step interval: once per call,
    /// however many multiples `n` has passed; the next one is then the first above `n`.
    void increment_if_step(const unsigned& n);
    /// Sets the fraction, 0..1; values outside are clamped, a NaN counts as 0.
    void set_value(const float& value);
    /// Draws the full bar and closes its line. Further changes draw nothing.
    void finish();
    /// Hands the bar back to its application, which may delete it from now on.
    void release() { m_released.store(true, std::memory_order_release); }
    bool is_released() const { return m_released.load(std::memory_order_acquire); }

    /// Sets how many steps make one increment (at least 1), counted from 0 again.
    void set_step_interval(unsigned interval);
    /// Sets the fraction added per increment.
    void set_step_increment(float increment) { m_step_increment = increment; }

    float get_value() const { return m_value; }
    unsigned get_step_interval() const { return m_step_interval; }
    float get_step_increment() const { return m_step_increment; }
    bool is_finished() const { return m_finished; }
    AppBase& get_app() const { return *m_app; }
    const CoreString& get_title() const { return m_title; }

  private:
    void draw();
    void write_terminal_line(int percent);

    AppBase* m_app;
    AppProgressBar* m_whole = nullptr;
    float m_share = 0.0f;
    /// The value of `m_whole` where this one has 0.
    float m_start = 0.0f;
    CoreString m_title;
    std::FILE* m_output;
    bool m_visible;
    bool m_terminal;
    bool m_finished = false;
    std::atomic<bool> m_released{false};
    float m_value = 0.0f;
    float m_step_increment = 0.0f;
    unsigned m_step_interval = 1;
    std::uint64_t m_next_step = 1;
    int m_drawn_percent;
};

} // namespace gas_abi1
