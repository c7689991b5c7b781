// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cfloat>
#include <cstdint>

#if defined(__AVX2__)
#include <immintrin.h>
#endif

#include <gas/core/gas_compiler.h>
#include <gas/core/gas_lane_box.h>
#include <gas/core/gas_traversal_order.h>

inline namespace gas_abi1 {

/// Lanes x, y, z of four vectors, one for each column, as three rows.
inline void gas_store_rows(const SimdF (&columns)[4], float* x, float* y, float* z) {
    const SimdF even_xy = SimdF::interleave_low(columns[0], columns[2]);
    const SimdF odd_xy = SimdF::interleave_low(columns[1], columns[3]);
    const SimdF even_zw = SimdF::interleave_high(columns[0], columns[2]);
    const SimdF odd_zw = SimdF::interleave_high(columns[1], columns[3]);
    SimdF::interleave_low(even_xy, odd_xy).store(x);
    SimdF::interleave_high(even_xy, odd_xy).store(y);
    SimdF::interleave_low(even_zw, odd_zw).store(z);
}

/// The traversal order codes by which gaps are widest: bits 0 to 2, above along x, y, z; bits 4 to
/// 6, below.
struct GasOrderCodes {
    unsigned of[128];
};
constexpr GasOrderCodes gas_make_order_codes() {
    GasOrderCodes codes = {};
    for (unsigned widest = 0; widest < 128; ++widest)
        for (unsigned axis = 3; axis-- > 0;) {
            if (widest >> axis & 0x11)
                codes.of[widest] = axis | (widest >> axis & 1 ? 0 : 4);
        }
    return codes;
}
inline constexpr GasOrderCodes gas_order_codes = gas_make_order_codes();

/// A box as a node has it: min x, y, z and a word w, then max x, y, z and a word w. With AVX2 these
/// are the eight lanes of one vector. Like gas_lane_pairs.h, this file tells AVX2 from the
/// baseline: a file is compiled for one of them (see gas/rays/).
class GasBoxLanes {
  public:
    /// Uninitialised.
    GasBoxLanes() = default;
    /// Eight words at a 16-byte boundary.
    GAS_FORCE_INLINE static GasBoxLanes load(const void* words) {
        const auto* const floats = static_cast<const float*>(words);
#if defined(__AVX2__)
        return {_mm256_loadu_ps(floats)};
#else
        return {{SimdF::load(floats), SimdF::load(floats + 4)}};
#endif
    }
    /// Four words from anywhere each.
    GAS_FORCE_INLINE static GasBoxLanes load(const float* min, const float* max) {
#if defined(__AVX2__)
        return {
            _mm256_insertf128_ps(_mm256_castps128_ps256(_mm_loadu_ps(min)), _mm_loadu_ps(max), 1)};
#else
        return {{SimdF::load_unaligned(min), SimdF::load_unaligned(max)}};
#endif
    }
    /// Words w may be anything.
    GAS_FORCE_INLINE static GasBoxLanes join(const GasLaneBox& box) {
#if defined(__AVX2__)
        alignas(16) float corners[2][4];
        box.min.store(corners[0]);
        box.max.store(corners[1]);
        return load(corners[0], corners[1]);
#else
        return {box};
#endif
    }
    GAS_FORCE_INLINE void store(void* words) const {
        auto* const floats = static_cast<float*>(words);
#if defined(__AVX2__)
        _mm256_storeu_ps(floats, m_lanes);
#else
        m_lanes.min.store(floats);
        m_lanes.max.store(floats + 4);
#endif
    }

    /// Grows by `other` as GasLaneBox::unite does. Words w may become anything.
    GAS_FORCE_INLINE void unite(const GasBoxLanes& other) {
#if defined(__AVX2__)
        const __m256 is_other = _mm256_cmp_ps(m_lanes, other.m_lanes, _CMP_GE_OQ);
        const __m256 smaller = _mm256_blendv_ps(m_lanes, other.m_lanes, is_other);
        m_lanes = _mm256_blend_ps(smaller, _mm256_max_ps(m_lanes, other.m_lanes), 0xF0);
#else
        m_lanes.unite(other.m_lanes);
#endif
    }
    /// Takes both words w of `other`.
    GAS_FORCE_INLINE void take_words(const GasBoxLanes& other) {
#if defined(__AVX2__)
        m_lanes = _mm256_blend_ps(m_lanes, other.m_lanes, 0x88);
#else
        m_lanes.min = SimdF::select(SimdF::s_mask_xyz, m_lanes.min, other.m_lanes.min);
        m_lanes.max = SimdF::select(SimdF::s_mask_xyz, m_lanes.max, other.m_lanes.max);
#endif
    }
    /// Takes the first word w of `other`, and `last` as the second.
    GAS_FORCE_INLINE void take_words(const GasBoxLanes& other, std::uint32_t last) {
#if defined(__AVX2__)
        const __m256i lasts = _mm256_set1_epi32(static_cast<int>(last));
        m_lanes = _mm256_blend_ps(m_lanes, other.m_lanes, 0x08);
        m_lanes = _mm256_blend_ps(m_lanes, _mm256_castsi256_ps(lasts), 0x80);
#else
        const SimdF lasts(0.0f, 0.0f, 0.0f, std::bit_cast<float>(last));
        m_lanes.min = SimdF::select(SimdF::s_mask_xyz, m_lanes.min, other.m_lanes.min);
        m_lanes.max = (m_lanes.max & SimdF::s_mask_xyz) | lasts;
#endif
    }

    /// gas_traversal_order of two sibling boxes.
    GAS_FORCE_INLINE static unsigned get_order(unsigned previous, const GasBoxLanes& first,
                                               const GasBoxLanes& second) {
#if defined(__AVX2__)
        // Lanes w become the lowest, too. A difference the other way round has the other sign.
        const __m256 lowest = _mm256_set1_ps(-FLT_MAX);
        const __m256 sides = _mm256_setr_ps(0.0f, 0.0f, 0.0f, 0.0f, -0.0f, -0.0f, -0.0f, -0.0f);
        const __m256 swapped = _mm256_permute2f128_ps(first.m_lanes, first.m_lanes, 1);
        const __m256 gaps =
            _mm256_sub_ps(_mm256_blend_ps(second.m_lanes, _mm256_xor_ps(lowest, sides), 0x88),
                          _mm256_blend_ps(swapped, _mm256_setzero_ps(), 0x88));
        // Above along x, y, z; then below. A NaN becomes the lowest.
        const __m256 offers = _mm256_max_ps(_mm256_xor_ps(gaps, sides), lowest);
        __m256 best = _mm256_max_ps(offers, _mm256_permute2f128_ps(offers, offers, 1));
        best = _mm256_max_ps(best, _mm256_permute_ps(best, _MM_SHUFFLE(2, 3, 0, 1)));
        best = _mm256_max_ps(best, _mm256_permute_ps(best, _MM_SHUFFLE(1, 0, 3, 2)));
        const __m256 is_widest = _mm256_cmp_ps(offers, best, _CMP_EQ_OQ);
        const auto widest = static_cast<unsigned>(_mm256_movemask_ps(is_widest));
        constexpr unsigned lane_w = 8;
        if (widest & lane_w) [[unlikely]]
            return previous;
        return gas_order_codes.of[widest];
#else
        return gas_traversal_order(previous, first.m_lanes, second.m_lanes);
#endif
    }

    /// Four boxes, one for each column, as six rows of four floats: min and max along x, y and z.
    GAS_FORCE_INLINE static void store_rows(const GasBoxLanes (&boxes)[4], float* rows) {
#if defined(__AVX2__)
        const __m256 even_xy = _mm256_unpacklo_ps(boxes[0].m_lanes, boxes[2].m_lanes);
        const __m256 odd_xy = _mm256_unpacklo_ps(boxes[1].m_lanes, boxes[3].m_lanes);
        const __m256 even_zw = _mm256_unpackhi_ps(boxes[0].m_lanes, boxes[2].m_lanes);
        const __m256 odd_zw = _mm256_unpackhi_ps(boxes[1].m_lanes, boxes[3].m_lanes);
        _mm256_storeu_ps(rows, _mm256_unpacklo_ps(even_xy, odd_xy));
        _mm256_storeu_ps(rows + 8, _mm256_unpackhi_ps(even_xy, odd_xy));
        _mm256_storeu_ps(rows + 16, _mm256_unpacklo_ps(even_zw, odd_zw));
#else
        gas_store_rows({boxes[0].m_lanes.min, boxes[1].m_lanes.min, boxes[2].m_lanes.min,
                        boxes[3].m_lanes.min},
                       rows, rows + 8, rows + 16);
        gas_store_rows({boxes[0].m_lanes.max, boxes[1].m_lanes.max, boxes[2].m_lanes.max,
                        boxes[3].m_lanes.max},
                       rows + 4, rows + 12, rows + 20);
#endif
    }

  private:
#if defined(__AVX2__)
    GasBoxLanes(const __m256& lanes) : m_lanes(lanes) {}

    __m256 m_lanes;
#else
    GasBoxLanes(const GasLaneBox& lanes) : m_lanes(lanes) {}

    GasLaneBox m_lanes;
#endif
};

} // namespace gas_abi1
