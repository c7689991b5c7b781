#include <gas/host/app_base.h>

AppBase::AppBase(std::FILE* output) : m_output(output) {}

AppBase::~AppBase() = default;

AppProgressBar* AppBase::create_progress_bar(const CoreString& title, const bool& visible) {
    m_progress_bars.push_back(std::make_unique<AppProgressBar>(*this, title, visible, m_output));
    return m_progress_bars.back().get();
}
