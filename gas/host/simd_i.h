// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gas/host/simd_f.h>

inline namespace gas_abi1 {

/// Four 32-bit integer lanes x, y, z, w with one meaning on every back end.
class SimdI {
  public:
    using Lanes = gas_simd::IntegerLanes;

    /// Lanes are left uninitialised.
    SimdI() = default;
    SimdI(int x, int y, int z, int w) : m_lanes(gas_simd::set_integers(x, y, z, w)) {}
    SimdI(const Lanes& lanes) : m_lanes(lanes) {}

    /// Eight bytes anywhere: the first four widened to the lanes of `first`, the others to those of
    /// `last`.
    static void load_bytes(const unsigned char* bytes, SimdI& first, SimdI& last) {
        gas_simd::load_bytes(bytes, first.m_lanes, last.m_lanes);
    }
    /// The low bytes of eight lanes, to anywhere.
    static void store_bytes(unsigned char* bytes, const SimdI& first, const SimdI& last) {
        gas_simd::store_bytes(bytes, first.m_lanes, last.m_lanes);
    }
    /// Each lane truncated towards zero; 0 where no 32-bit integer holds it.
    static SimdI truncate(const SimdF& a) { return gas_simd::truncate(a.get_lanes()); }
    /// -1 in the lanes where a mask is set, 0 elsewhere.
    static SimdI from_mask(const SimdF& mask) { return gas_simd::get_mask_bits(mask.get_lanes()); }

    void store(int* lanes) const { gas_simd::store_integers(lanes, m_lanes); }

    /// Wraps.
    friend SimdI operator+(const SimdI& a, const SimdI& b) {
        return gas_simd::add_integers(a.m_lanes, b.m_lanes);
    }
    friend SimdI operator&(const SimdI& a, const SimdI& b) {
        return gas_simd::bit_and_integers(a.m_lanes, b.m_lanes);
    }
    /// A mask: all bits of a lane set where the two are equal.
    friend SimdF operator==(const SimdI& a, const SimdI& b) {
        return gas_simd::equal_integers(a.m_lanes, b.m_lanes);
    }

    /// Lane `lane` in all four.
    template <unsigned lane> SimdI broadcast() const {
        static_assert(lane < 4, "four lanes");
        return gas_simd::broadcast_integer<lane>(m_lanes);
    }
    /// Each lane as a float, rounded to the nearest.
    SimdF to_floats() const { return gas_simd::to_floats(m_lanes); }

  private:
    Lanes m_lanes;
};

} // namespace gas_abi1
