// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/core/gas_lane_box.h>

inline namespace gas_abi1 {

/// What boxes of nodes are found to be.
class GasNodeBoxFacts {
  public:
    void add_leaf(const GasLaneBox& box) {
        m_ordered = m_ordered & (box.min <= box.max);
        const SimdF center = box.get_center();
        m_centered = m_centered & (center <= center);
    }
    void add_inner(const GasLaneBox& box, const GasLaneBox& first, const GasLaneBox& second) {
        GasLaneBox both = first;
        both.unite(second);
        // Zeros of both signs are the same here.
        m_united = m_united & (both.min <= box.min) & (box.min <= both.min) &
                   (both.max <= box.max) & (box.max <= both.max);
    }
    void add(const GasNodeBoxFacts& other) {
        m_ordered = m_ordered & other.m_ordered;
        m_centered = m_centered & other.m_centered;
        m_united = m_united & other.m_united;
    }
    /// Of all leaves: min <= max, which no NaN has.
    bool are_ordered() const { return holds(m_ordered); }
    /// Of all leaves: no centre is a NaN.
    bool are_centered() const { return holds(m_centered); }
    /// Whether each other box is what refits make it, where leaves are ordered.
    bool are_unions() const { return holds(m_united); }

  private:
    static bool holds(const SimdF& lanes) { return (lanes.get_mask() & 7) == 7; }

    SimdF m_ordered = SimdF(0.0f) <= SimdF(0.0f);
    SimdF m_centered = SimdF(0.0f) <= SimdF(0.0f);
    SimdF m_united = SimdF(0.0f) <= SimdF(0.0f);
};

} // namespace gas_abi1
