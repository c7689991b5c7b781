// SPDX-License-Identifier: Apache-2.0
#include <gas/host/app_base.h>

#include <algorithm>

inline namespace gas_abi1 {

AppBase::AppBase(std::FILE* output) : m_output(output) {}

AppBase::~AppBase() = default;

AppProgressBar* AppBase::create_progress_bar(const CoreString& title, const bool& visible) {
    const std::lock_guard<std::mutex> guard(m_progress_bar_mutex);
    const auto is_released = [](const auto& bar) { return bar->is_released(); };
    m_progress_bars.erase(
        std::remove_if(m_progress_bars.begin(), m_progress_bars.end(), is_released),
        m_progress_bars.end());
    m_progress_bars.push_back(std::make_unique<AppProgressBar>(*this, title, visible, m_output));
    return m_progress_bars.back().get();
}

} // namespace gas_abi1
