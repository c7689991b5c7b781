// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <emmintrin.h>

inline namespace gas_abi1 {

/// Four float lanes on SSE2; `simd_f.h` says what each operation means.
namespace gas_simd_sse2 {

/// As reports name it.
inline constexpr const char* name = "sse2";

using Lanes = __m128;

inline Lanes broadcast(float all) { return _mm_set1_ps(all); }
inline Lanes set(float x, float y, float z, float w) { return _mm_setr_ps(x, y, z, w); }
/// Two conversions of two, each rounded as a single one is.
inline Lanes narrow(double x, double y, double z) {
    return _mm_movelh_ps(_mm_cvtpd_ps(_mm_setr_pd(x, y)), _mm_cvtpd_ps(_mm_set_sd(z)));
}
inline Lanes load(const float* lanes) { return _mm_load_ps(lanes); }
inline Lanes load_unaligned(const float* lanes) { return _mm_loadu_ps(lanes); }
inline void store(float* lanes, Lanes a) { _mm_storeu_ps(lanes, a); }
inline float get_first(Lanes a) { return _mm_cvtss_f32(a); }
inline float get(Lanes a, unsigned lane) {
    alignas(16) float lanes[4];
    _mm_store_ps(lanes, a);
    return lanes[lane];
}

inline Lanes add(Lanes a, Lanes b) { return _mm_add_ps(a, b); }
inline Lanes subtract(Lanes a, Lanes b) { return _mm_sub_ps(a, b); }
inline Lanes multiply(Lanes a, Lanes b) { return _mm_mul_ps(a, b); }
inline Lanes divide(Lanes a, Lanes b) { return _mm_div_ps(a, b); }
inline Lanes bit_and(Lanes a, Lanes b) { return _mm_and_ps(a, b); }
inline Lanes bit_or(Lanes a, Lanes b) { return _mm_or_ps(a, b); }
inline Lanes bit_xor(Lanes a, Lanes b) { return _mm_xor_ps(a, b); }
inline Lanes less(Lanes a, Lanes b) { return _mm_cmplt_ps(a, b); }
inline Lanes less_equal(Lanes a, Lanes b) { return _mm_cmple_ps(a, b); }
inline Lanes min(Lanes a, Lanes b) { return _mm_min_ps(a, b); }
inline Lanes max(Lanes a, Lanes b) { return _mm_max_ps(a, b); }
inline Lanes select(Lanes mask, Lanes a, Lanes b) {
    return _mm_or_ps(_mm_and_ps(mask, a), _mm_andnot_ps(mask, b));
}
inline int get_mask(Lanes a) { return _mm_movemask_ps(a); }

inline Lanes interleave_low(Lanes a, Lanes b) { return _mm_unpacklo_ps(a, b); }
inline Lanes interleave_high(Lanes a, Lanes b) { return _mm_unpackhi_ps(a, b); }
inline Lanes move_high(Lanes a) { return _mm_movehl_ps(a, a); }
inline Lanes swap_halves(Lanes a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(1, 0, 3, 2)); }
inline Lanes move_down(Lanes a) { return _mm_shuffle_ps(a, a, _MM_SHUFFLE(3, 3, 2, 1)); }
template <unsigned lane> Lanes broadcast_lane(Lanes a) {
    return _mm_shuffle_ps(a, a, _MM_SHUFFLE(lane, lane, lane, lane));
}
#if defined(__GNUC__)
/// Made by the compiler: where these lanes are compiled for AVX2, nothing may run at the start.
constexpr Lanes get_mask_xyz() {
    const float all_bits = __builtin_bit_cast(float, 0xFFFFFFFFu);
    return Lanes{all_bits, all_bits, all_bits, 0.0f};
}
#else
inline Lanes get_mask_xyz() { return _mm_castsi128_ps(_mm_setr_epi32(-1, -1, -1, 0)); }
#endif

using IntegerLanes = __m128i;

inline IntegerLanes set_integers(int x, int y, int z, int w) { return _mm_setr_epi32(x, y, z, w); }
inline void load_bytes(const unsigned char* bytes, IntegerLanes& first, IntegerLanes& last) {
    const __m128i zero = _mm_setzero_si128();
    const __m128i packed = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(bytes));
    const __m128i halves = _mm_unpacklo_epi8(packed, zero);
    first = _mm_unpacklo_epi16(halves, zero);
    last = _mm_unpackhi_epi16(halves, zero);
}
inline void store_bytes(unsigned char* bytes, IntegerLanes first, IntegerLanes last) {
    const __m128i low_byte = _mm_set1_epi32(0xFF);
    const __m128i halves =
        _mm_packs_epi32(_mm_and_si128(first, low_byte), _mm_and_si128(last, low_byte));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(bytes), _mm_packus_epi16(halves, halves));
}
inline void store_integers(int* lanes, IntegerLanes a) {
    _mm_storeu_si128(reinterpret_cast<__m128i*>(lanes), a);
}
inline IntegerLanes bit_and_integers(IntegerLanes a, IntegerLanes b) { return _mm_and_si128(a, b); }
inline Lanes equal_integers(IntegerLanes a, IntegerLanes b) {
    return _mm_castsi128_ps(_mm_cmpeq_epi32(a, b));
}
template <unsigned lane> IntegerLanes broadcast_integer(IntegerLanes a) {
    return _mm_shuffle_epi32(a, _MM_SHUFFLE(lane, lane, lane, lane));
}
inline Lanes to_floats(IntegerLanes a) { return _mm_cvtepi32_ps(a); }
inline IntegerLanes truncate(Lanes a) {
    // For a float out of range, compilers fold the instruction to another value than it gives.
    const Lanes limit = _mm_set1_ps(2147483648.0f); // 2^31
    const Lanes lowest = _mm_set1_ps(-2147483648.0f);
    const Lanes fits = _mm_and_ps(_mm_cmpge_ps(a, lowest), _mm_cmplt_ps(a, limit));
    return _mm_cvttps_epi32(_mm_and_ps(a, fits));
}
inline IntegerLanes add_integers(IntegerLanes a, IntegerLanes b) { return _mm_add_epi32(a, b); }
inline IntegerLanes get_mask_bits(Lanes a) { return _mm_castps_si128(a); }

} // namespace gas_simd_sse2

} // namespace gas_abi1
