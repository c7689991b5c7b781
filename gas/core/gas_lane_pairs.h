#pragma once

#include <cstdint>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include <gas/core/gas_compiler.h>
#include <gas/host/host.h>

inline namespace gas_abi1 {

/// Moves of four pairs, each of a word from memory and the lane of the same number, to places that
/// are known at run time only. This file alone tells AVX2 from the baseline: a file is compiled for
/// one of them (see gas/rays/).

/// Whether four pairs are moved at once.
#if defined(__AVX2__)
inline constexpr bool gas_moves_pairs_at_once = true;
#else
inline constexpr bool gas_moves_pairs_at_once = false;
#endif

/// Writes eight words to `place`: word j is number `order[j]` of words[0], lanes[0], words[1], ...
/// `words` stands at a 16-byte boundary, `place` anywhere.
GAS_FORCE_INLINE void gas_store_pairs([[maybe_unused]] const void* words,
                                      [[maybe_unused]] const SimdF& lanes,
                                      [[maybe_unused]] const std::uint8_t (&order)[8],
                                      [[maybe_unused]] void* place) {
#if defined(__AVX2__)
    alignas(16) float stored[4];
    lanes.store(stored);
    const __m128 second = _mm_load_ps(stored);
    const __m128 first = _mm_load_ps(static_cast<const float*>(words));
    const __m256 pairs =
        _mm256_set_m128(_mm_unpackhi_ps(first, second), _mm_unpacklo_ps(first, second));
    const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(order));
    _mm256_storeu_ps(static_cast<float*>(place),
                     _mm256_permutevar8x32_ps(pairs, _mm256_cvtepu8_epi32(bytes)));
#endif
}

} // namespace gas_abi1
