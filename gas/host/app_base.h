// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <memory>
#include <mutex>
#include <vector>

#include <gas/host/app_progress_bar.h>
#include <gas/host/core_string.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// The application: settings that the library reads, and the progress bars it shows.
class GAS_HOST_EXPORT AppBase {
  public:
    /// Bars draw on `output` (not owned): a terminal gets a moving bar, anything else plain lines.
    explicit AppBase(std::FILE* output = stdout);
    AppBase(const AppBase&) = delete;
    AppBase& operator=(const AppBase&) = delete;
    ~AppBase();

    /// How trees are built under a progress bar of this application: 0 median, 1 hybrid, 2 fast
    /// binned SAH, 3 full binned SAH; any other value counts as 2.
    unsigned get_build_method() const { return m_build_method; }
    void set_build_method(unsigned method) { m_build_method = method; }

    /// Called when a bar of this application moves, with its fraction (0..1), on the thread that
    /// moves it: that of the build; several at once where several builds run, or cells of a grid.
    /// What it throws passes through the build, which then leaves the tree empty: so a build is
    /// cancelled.
    using ProgressCallback = void (*)(void* user, const AppProgressBar& bar, float value);
    /// Null, as at first, calls nothing. Set while no bar moves.
    void set_progress_callback(ProgressCallback callback, void* user) {
        m_progress_callback = callback;
        m_progress_user = user;
    }
    void tell_progress(const AppProgressBar& bar, float value) const {
        if (m_progress_callback)
            m_progress_callback(m_progress_user, bar, value);
    }

    /// A new bar, owned by the application and kept until it is released or the application is
    /// destroyed. May be called on any thread.
    AppProgressBar* create_progress_bar(const CoreString& title, const bool& visible);

  private:
    std::FILE* m_output;
    unsigned m_build_method = 2;
    ProgressCallback m_progress_callback = nullptr;
    void* m_progress_user = nullptr;
    std::mutex m_progress_bar_mutex;
    std::vector<std::unique_ptr<AppProgressBar>> m_progress_bars;
};

} // namespace gas_abi1
