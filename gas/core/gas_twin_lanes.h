// SPDX-License-Identifier: Apache-2.0
#pragma once

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include <gas/core/gas_compiler.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Two SimdF side by side, the first and the second half: what is done with one ray is done with
/// two at a time. Halves never mix; each gives what a SimdF gives. With AVX2 both are one register.
class GasTwinF {
  public:
#if defined(__AVX2__)
    using Lanes = __m256;
#else
    struct Lanes {
        SimdF first;
        SimdF second;
    };
#endif

    /// Lanes are left uninitialised.
    GasTwinF() = default;
    GasTwinF(const Lanes& lanes) : m_lanes(lanes) {}

#if defined(__AVX2__)
    explicit GasTwinF(float all) : m_lanes(_mm256_set1_ps(all)) {}
    GasTwinF(const SimdF& first, const SimdF& second) {
        alignas(16) float lanes[2][4];
        first.store(lanes[0]);
        second.store(lanes[1]);
        m_lanes = _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_load_ps(lanes[0])),
                                       _mm_load_ps(lanes[1]), 1);
    }
    template <unsigned half> SimdF get_half() const {
        alignas(16) float lanes[4];
        _mm_store_ps(lanes, half == 0 ? _mm256_castps256_ps128(m_lanes)
                                      : _mm256_extractf128_ps(m_lanes, 1));
        return SimdF::load(lanes);
    }

    friend GasTwinF operator+(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_add_ps(a.m_lanes, b.m_lanes);
    }
    friend GasTwinF operator-(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_sub_ps(a.m_lanes, b.m_lanes);
    }
    friend GasTwinF operator*(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_mul_ps(a.m_lanes, b.m_lanes);
    }
    friend GasTwinF operator&(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_and_ps(a.m_lanes, b.m_lanes);
    }
    friend GasTwinF operator^(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_xor_ps(a.m_lanes, b.m_lanes);
    }
    friend GasTwinF operator<(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_cmp_ps(a.m_lanes, b.m_lanes, _CMP_LT_OS);
    }
    friend GasTwinF operator<=(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_cmp_ps(a.m_lanes, b.m_lanes, _CMP_LE_OS);
    }
    static GasTwinF min(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_min_ps(a.m_lanes, b.m_lanes);
    }
    static GasTwinF max(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_max_ps(a.m_lanes, b.m_lanes);
    }
    static GasTwinF interleave_low(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_unpacklo_ps(a.m_lanes, b.m_lanes);
    }
    static GasTwinF interleave_high(const GasTwinF& a, const GasTwinF& b) {
        return _mm256_unpackhi_ps(a.m_lanes, b.m_lanes);
    }
    GasTwinF move_high() const { return _mm256_permute_ps(m_lanes, _MM_SHUFFLE(3, 2, 3, 2)); }
    template <unsigned lane> GasTwinF broadcast() const {
        return _mm256_permute_ps(m_lanes, _MM_SHUFFLE(lane, lane, lane, lane));
    }
    /// Bits 0 to 3 are the first half's, bits 4 to 7 the second's.
    int get_mask() const { return _mm256_movemask_ps(m_lanes); }
#else
    explicit GasTwinF(float all) : m_lanes{SimdF(all), SimdF(all)} {}
    GasTwinF(const SimdF& first, const SimdF& second) : m_lanes{first, second} {}
    template <unsigned half> SimdF get_half() const {
        return half == 0 ? m_lanes.first : m_lanes.second;
    }

    friend GasTwinF operator+(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first + b.m_lanes.first, a.m_lanes.second + b.m_lanes.second};
    }
    friend GasTwinF operator-(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first - b.m_lanes.first, a.m_lanes.second - b.m_lanes.second};
    }
    friend GasTwinF operator*(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first * b.m_lanes.first, a.m_lanes.second * b.m_lanes.second};
    }
    friend GasTwinF operator&(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first & b.m_lanes.first, a.m_lanes.second & b.m_lanes.second};
    }
    friend GasTwinF operator^(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first ^ b.m_lanes.first, a.m_lanes.second ^ b.m_lanes.second};
    }
    friend GasTwinF operator<(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first < b.m_lanes.first, a.m_lanes.second < b.m_lanes.second};
    }
    friend GasTwinF operator<=(const GasTwinF& a, const GasTwinF& b) {
        return {a.m_lanes.first <= b.m_lanes.first, a.m_lanes.second <= b.m_lanes.second};
    }
    static GasTwinF min(const GasTwinF& a, const GasTwinF& b) {
        return {SimdF::min(a.m_lanes.first, b.m_lanes.first),
                SimdF::min(a.m_lanes.second, b.m_lanes.second)};
    }
    static GasTwinF max(const GasTwinF& a, const GasTwinF& b) {
        return {SimdF::max(a.m_lanes.first, b.m_lanes.first),
                SimdF::max(a.m_lanes.second, b.m_lanes.second)};
    }
    static GasTwinF interleave_low(const GasTwinF& a, const GasTwinF& b) {
        return {SimdF::interleave_low(a.m_lanes.first, b.m_lanes.first),
                SimdF::interleave_low(a.m_lanes.second, b.m_lanes.second)};
    }
    static GasTwinF interleave_high(const GasTwinF& a, const GasTwinF& b) {
        return {SimdF::interleave_high(a.m_lanes.first, b.m_lanes.first),
                SimdF::interleave_high(a.m_lanes.second, b.m_lanes.second)};
    }
    GasTwinF move_high() const { return {m_lanes.first.move_high(), m_lanes.second.move_high()}; }
    template <unsigned lane> GasTwinF broadcast() const {
        return {m_lanes.first.template broadcast<lane>(),
                m_lanes.second.template broadcast<lane>()};
    }
    /// Bits 0 to 3 are the first half's, bits 4 to 7 the second's.
    int get_mask() const { return m_lanes.first.get_mask() | m_lanes.second.get_mask() << 4; }
#endif

    friend GasTwinF operator>(const GasTwinF& a, const GasTwinF& b) { return b < a; }

    const Lanes& get_lanes() const { return m_lanes; }

  private:
    Lanes m_lanes;
};

/// Two SimdI side by side.
class GasTwinI {
  public:
#if defined(__AVX2__)
    using Lanes = __m256i;
#else
    struct Lanes {
        SimdI first;
        SimdI second;
    };
#endif

    /// Lanes are left uninitialised.
    GasTwinI() = default;
    GasTwinI(const Lanes& lanes) : m_lanes(lanes) {}

#if defined(__AVX2__)
    /// The same in both halves.
    GasTwinI(int x, int y, int z, int w) : m_lanes(_mm256_setr_epi32(x, y, z, w, x, y, z, w)) {}
    /// Eight bytes for each half, widened as SimdI does.
    static void load_bytes(const unsigned char* first_half, const unsigned char* second_half,
                           GasTwinI& first, GasTwinI& last) {
        const __m128i bytes =
            _mm_unpacklo_epi64(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(first_half)),
                               _mm_loadl_epi64(reinterpret_cast<const __m128i*>(second_half)));
        const __m256i words = _mm256_cvtepu8_epi16(bytes);
        first.m_lanes = _mm256_unpacklo_epi16(words, _mm256_setzero_si256());
        last.m_lanes = _mm256_unpackhi_epi16(words, _mm256_setzero_si256());
    }
    friend GasTwinI operator&(const GasTwinI& a, const GasTwinI& b) {
        return _mm256_and_si256(a.m_lanes, b.m_lanes);
    }
    friend GasTwinF operator==(const GasTwinI& a, const GasTwinI& b) {
        return _mm256_castsi256_ps(_mm256_cmpeq_epi32(a.m_lanes, b.m_lanes));
    }
    template <unsigned lane> GasTwinI broadcast() const {
        return _mm256_shuffle_epi32(m_lanes, _MM_SHUFFLE(lane, lane, lane, lane));
    }
    GasTwinF to_floats() const { return _mm256_cvtepi32_ps(m_lanes); }
#else
    /// The same in both halves.
    GasTwinI(int x, int y, int z, int w) : m_lanes{SimdI(x, y, z, w), SimdI(x, y, z, w)} {}
    /// Eight bytes for each half, widened as SimdI does.
    static void load_bytes(const unsigned char* first_half, const unsigned char* second_half,
                           GasTwinI& first, GasTwinI& last) {
        SimdI::load_bytes(first_half, first.m_lanes.first, last.m_lanes.first);
        SimdI::load_bytes(second_half, first.m_lanes.second, last.m_lanes.second);
    }
    friend GasTwinI operator&(const GasTwinI& a, const GasTwinI& b) {
        return Lanes{a.m_lanes.first & b.m_lanes.first, a.m_lanes.second & b.m_lanes.second};
    }
    friend GasTwinF operator==(const GasTwinI& a, const GasTwinI& b) {
        return {a.m_lanes.first == b.m_lanes.first, a.m_lanes.second == b.m_lanes.second};
    }
    template <unsigned lane> GasTwinI broadcast() const {
        return Lanes{m_lanes.first.template broadcast<lane>(),
                     m_lanes.second.template broadcast<lane>()};
    }
    GasTwinF to_floats() const { return {m_lanes.first.to_floats(), m_lanes.second.to_floats()}; }
#endif

  private:
    Lanes m_lanes;
};

} // namespace gas_abi1
