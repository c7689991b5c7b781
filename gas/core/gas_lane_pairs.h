// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include <gas/core/gas_compiler.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Moves of four pairs, each of a word from memory and the lane of the same number, to places that
/// are known at run time only; and bits of two masks at once. This file and gas_twin_lanes.h alone
/// tell AVX2 from the baseline: a file is compiled for one of them (see gas/rays/).

/// Whether four pairs are moved at once.
#if defined(__AVX2__)
inline constexpr bool gas_moves_pairs_at_once = true;
#else
inline constexpr bool gas_moves_pairs_at_once = false;
#endif

/// Writes four pairs to `place`: pair j is words[order[j]] and lane order[j]. `words` and `order`
/// stand at 16-byte boundaries, `place` anywhere.
GAS_FORCE_INLINE void gas_store_pairs([[maybe_unused]] const void* words,
                                      [[maybe_unused]] const SimdF& lanes,
                                      [[maybe_unused]] const std::uint32_t (&order)[4],
                                      [[maybe_unused]] void* place) {
#if defined(__AVX2__)
    alignas(16) float stored[4];
    lanes.store(stored);
    const __m128i numbers = _mm_load_si128(reinterpret_cast<const __m128i*>(order));
    const __m128 first = _mm_permutevar_ps(_mm_load_ps(static_cast<const float*>(words)), numbers);
    const __m128 second = _mm_permutevar_ps(_mm_load_ps(stored), numbers);
    float* const floats = static_cast<float*>(place);
    _mm_storeu_ps(floats, _mm_unpacklo_ps(first, second));
    _mm_storeu_ps(floats + 4, _mm_unpackhi_ps(first, second));
#endif
}

/// Three bits: lanes 0 and 2 of `even`, and lane 1 of `odd` between them. The lanes are masks.
GAS_FORCE_INLINE unsigned gas_get_mask_bits(const SimdF& even, const SimdF& odd) {
#if defined(__AVX2__)
    alignas(16) float stored[2][4];
    even.store(stored[0]);
    odd.store(stored[1]);
    return static_cast<unsigned>(
               _mm_movemask_ps(_mm_blend_ps(_mm_load_ps(stored[0]), _mm_load_ps(stored[1]), 2))) &
           7;
#else
    return (static_cast<unsigned>(even.get_mask()) & 5) |
           (static_cast<unsigned>(odd.get_mask()) & 2);
#endif
}

} // namespace gas_abi1
