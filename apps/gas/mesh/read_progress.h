// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>

#include <gas/host/host.h>

namespace gas_app {

/// Fills a share of a progress bar as a reader goes through its text.
class ReadProgress {
  public:
    /// `bar`: may be null; from the value that it has now.
    ReadProgress(AppProgressBar* bar, float share, std::size_t size)
        : m_size(size), m_step(size / 100 + 1) {
        if (bar)
            m_part.emplace(*bar, share);
        m_next = bar ? m_step : std::numeric_limits<std::size_t>::max();
    }

    /// `place`: of the text, up to `size`.
    void reach(std::size_t place) {
        if (place < m_next)
            return;
        m_next = place + m_step;
        m_part->set_value(static_cast<float>(place) / static_cast<float>(m_size));
    }

  private:
    std::optional<AppProgressBar> m_part;
    std::size_t m_size;
    std::size_t m_step;
    std::size_t m_next = 0;
};

} // namespace gas_app
