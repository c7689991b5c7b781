// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/host_export.h>

inline namespace gas_abi1 {

/// Shutter and number of motion-blur samples. Sample 0 stands at the shutter's opening, the last
/// sample at its closing, the others evenly between.
class GAS_HOST_EXPORT CtxMotionBlur {
  public:
    /// No motion blur: 0 samples, shutter 0 to 1.
    CtxMotionBlur() = default;

    CtxMotionBlur(float shutter_open, float shutter_close, unsigned sample_count)
        : m_shutter_open(shutter_open), m_shutter_close(shutter_close),
          m_sample_count(sample_count) {}

    float get_shutter_open() const { return m_shutter_open; }
    float get_shutter_close() const { return m_shutter_close; }
    unsigned get_sample_count() const { return m_sample_count; }
    /// From one sample's time to the next; 0 with fewer than two samples.
    double get_time_step() const {
        return m_sample_count < 2
                   ? 0.0
                   : (static_cast<double>(m_shutter_close) - static_cast<double>(m_shutter_open)) /
                         (m_sample_count - 1);
    }

    /// Maps `time` to the span between samples `sample` and `sample + 1` and to the fraction
    /// (0..1) between them. Times outside the shutter are clamped to it, and a NaN counts as the
    /// opening; `sample` is at most the sample count less 2, and 0 with fewer than two samples.
    void get_time_spanf(const float& time, unsigned& sample, float& fraction) const;

  private:
    float m_shutter_open = 0.0f;
    float m_shutter_close = 1.0f;
    unsigned m_sample_count = 0;
};

} // namespace gas_abi1
