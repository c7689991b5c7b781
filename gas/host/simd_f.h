// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Four float lanes x, y, z, w with one meaning on every back end; `simd/` holds the back ends.

#if defined(GAS_SIMD_SSE2)
#include <gas/host/simd/simd_sse2.h>
namespace gas_simd = gas_simd_sse2;
#elif defined(GAS_SIMD_NEON)
#include <gas/host/simd/simd_neon.h>
namespace gas_simd = gas_simd_neon;
#elif defined(GAS_SIMD_SCALAR)
#include <gas/host/simd/simd_scalar.h>
namespace gas_simd = gas_simd_scalar;
#elif defined(__SSE2__) || defined(_M_X64)
#include <gas/host/simd/simd_sse2.h>
namespace gas_simd = gas_simd_sse2;
#elif defined(__aarch64__) || defined(_M_ARM64)
#include <gas/host/simd/simd_neon.h>
namespace gas_simd = gas_simd_neon;
#else
#include <gas/host/simd/simd_scalar.h>
namespace gas_simd = gas_simd_scalar;
#endif

inline namespace gas_abi1 {

/// Every operation works lane by lane and rounds once; a product that is added to is written with
/// gas_rounded in files that may fuse. Comparisons give masks: all bits of a lane set where true
/// (false for a NaN).
class SimdF {
  public:
    using Lanes = gas_simd::Lanes;

    /// Lanes are left uninitialised.
    SimdF() = default;
    explicit SimdF(float all) : m_lanes(gas_simd::broadcast(all)) {}
    SimdF(float x, float y, float z, float w) : m_lanes(gas_simd::set(x, y, z, w)) {}
    constexpr SimdF(const Lanes& lanes) : m_lanes(lanes) {}

    /// The doubles as floats, each rounded to the nearest; lane w is 0.
    static SimdF narrow(double x, double y, double z) { return gas_simd::narrow(x, y, z); }
    /// Four floats at a 16-byte boundary.
    static SimdF load(const float* lanes) { return gas_simd::load(lanes); }
    /// Four floats anywhere.
    static SimdF load_unaligned(const float* lanes) { return gas_simd::load_unaligned(lanes); }
    void store(float* lanes) const { gas_simd::store(lanes, m_lanes); }

    /// The value of lane `lane` (0..3).
    float get(unsigned lane) const { return gas_simd::get(m_lanes, lane); }
    float get_first() const { return gas_simd::get_first(m_lanes); }

    friend SimdF operator+(const SimdF& a, const SimdF& b) {
        return gas_simd::add(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator-(const SimdF& a, const SimdF& b) {
        return gas_simd::subtract(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator*(const SimdF& a, const SimdF& b) {
        return gas_simd::multiply(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator/(const SimdF& a, const SimdF& b) {
        return gas_simd::divide(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator&(const SimdF& a, const SimdF& b) {
        return gas_simd::bit_and(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator|(const SimdF& a, const SimdF& b) {
        return gas_simd::bit_or(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator^(const SimdF& a, const SimdF& b) {
        return gas_simd::bit_xor(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator<(const SimdF& a, const SimdF& b) {
        return gas_simd::less(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator<=(const SimdF& a, const SimdF& b) {
        return gas_simd::less_equal(a.m_lanes, b.m_lanes);
    }
    friend SimdF operator>(const SimdF& a, const SimdF& b) { return b < a; }
    friend SimdF operator>=(const SimdF& a, const SimdF& b) { return b <= a; }

    /// `a < b ? a : b`: b where they are equal or one is a NaN.
    static SimdF min(const SimdF& a, const SimdF& b) { return gas_simd::min(a.m_lanes, b.m_lanes); }
    /// `a > b ? a : b`: b where they are equal or one is a NaN.
    static SimdF max(const SimdF& a, const SimdF& b) { return gas_simd::max(a.m_lanes, b.m_lanes); }
    /// Lanes of `a` where the mask is set, of `b` elsewhere.
    static SimdF select(const SimdF& mask, const SimdF& a, const SimdF& b) {
        return gas_simd::select(mask.m_lanes, a.m_lanes, b.m_lanes);
    }

    /// Bit j is the sign bit of lane j; of a mask: whether lane j is set.
    int get_mask() const { return gas_simd::get_mask(m_lanes); }

    /// (a.x, b.x, a.y, b.y)
    static SimdF interleave_low(const SimdF& a, const SimdF& b) {
        return gas_simd::interleave_low(a.m_lanes, b.m_lanes);
    }
    /// (a.z, b.z, a.w, b.w)
    static SimdF interleave_high(const SimdF& a, const SimdF& b) {
        return gas_simd::interleave_high(a.m_lanes, b.m_lanes);
    }
    /// (z, w, z, w)
    SimdF move_high() const { return gas_simd::move_high(m_lanes); }
    /// (z, w, x, y)
    SimdF swap_halves() const { return gas_simd::swap_halves(m_lanes); }
    /// (y, z, w, w)
    SimdF move_down() const { return gas_simd::move_down(m_lanes); }
    /// Lane `lane` in all four.
    template <unsigned lane> SimdF broadcast() const {
        static_assert(lane < 4, "four lanes");
        return gas_simd::broadcast_lane<lane>(m_lanes);
    }

    /// Keeps lanes x, y, z and clears lane w under `&`.
    static const SimdF s_mask_xyz;

    const Lanes& get_lanes() const { return m_lanes; }

  private:
    Lanes m_lanes;
};

inline const SimdF SimdF::s_mask_xyz = gas_simd::get_mask_xyz();

static_assert(sizeof(SimdF) == 16 && alignof(SimdF) == 16, "four floats at a 16-byte boundary");

} // namespace gas_abi1
