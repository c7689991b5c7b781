// SPDX-License-Identifier: Apache-2.0
#include <gas/host/ctx_motion_blur.h>

inline namespace gas_abi1 {

void CtxMotionBlur::get_time_spanf(const float& time, unsigned& sample, float& fraction) const {
    sample = 0;
    fraction = 0.0f;
    if (m_sample_count < 2 || !(m_shutter_close > m_shutter_open))
        return;

    const float last = static_cast<float>(m_sample_count - 1);
    const float position = (time - m_shutter_open) / (m_shutter_close - m_shutter_open) * last;
    if (!(position > 0.0f)) // NaN counts as the opening
        return;
    if (position >= last) {
        sample = m_sample_count - 2;
        fraction = 1.0f;
        return;
    }
    sample = static_cast<unsigned>(position);
    if (sample > m_sample_count - 2) // beyond 2^24 samples `last` itself was rounded
        sample = m_sample_count - 2;
    fraction = position - static_cast<float>(sample);
    if (fraction > 1.0f)
        fraction = 1.0f;
}

} // namespace gas_abi1
