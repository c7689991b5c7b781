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

    /// A new bar, owned by the application and kept until it is released or the application is
    /// destroyed. May be called on any thread.
    AppProgressBar* create_progress_bar(const CoreString& title, const bool& visible);

  private:
    std::FILE* m_output;
    unsigned m_build_method = 2;
    std::mutex m_progress_bar_mutex;
    std::vector<std::unique_ptr<AppProgressBar>> m_progress_bars;
};

} // namespace gas_abi1
