// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gas/host/host.h>

#include <tests/naive/naive_tree.h>

namespace support {

/// A progress bar that draws into memory, of an application with a build method setting.
class DrawnProgress {
  public:
    explicit DrawnProgress(naive::Split split) : bar(app, "", true, m_stream) {
        app.set_build_method(static_cast<unsigned>(split));
    }
    DrawnProgress(const DrawnProgress&) = delete;
    DrawnProgress& operator=(const DrawnProgress&) = delete;
    ~DrawnProgress() {
        std::fclose(m_stream);
        std::free(m_text);
    }

    /// The lines drawn so far, one for each tenth that was reached and drawn.
    std::string get_lines() const {
        std::fflush(m_stream);
        return {m_text, m_size};
    }

  private:
    char* m_text = nullptr;
    std::size_t m_size = 0;
    std::FILE* m_stream = open_memstream(&m_text, &m_size);

  public:
    AppBase app{nullptr};
    AppProgressBar bar;
};

/// What a bar with these settings draws that starts at 0, hears of these leaf counts and ends at 1.
inline std::string replay_lines(const std::vector<unsigned>& leaf_counts,
                                const naive::Progress& settings) {
    DrawnProgress progress(naive::Split::sah_fast);
    progress.bar.set_value(0.0f);
    progress.bar.set_step_interval(settings.step_interval);
    progress.bar.set_step_increment(settings.step_increment);
    for (const unsigned leaf_count : leaf_counts)
        progress.bar.increment_if_step(leaf_count);
    progress.bar.set_value(1.0f);
    return progress.get_lines();
}

} // namespace support
