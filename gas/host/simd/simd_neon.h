// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <arm_neon.h>

inline namespace gas_abi1 {

/// Four float lanes on NEON (AArch64); `simd_f.h` says what each operation means. Minimum and
/// maximum compare and select, because the machine's own treat NaN and signed zeros differently.
namespace gas_simd_neon {

/// As reports name it.
inline constexpr const char* name = "neon";

using Lanes = float32x4_t;

inline Lanes broadcast(float all) { return vdupq_n_f32(all); }
inline Lanes load(const float* lanes) { return vld1q_f32(lanes); }
inline Lanes load_unaligned(const float* lanes) { return vld1q_f32(lanes); }
inline Lanes set(float x, float y, float z, float w) {
    const float lanes[4] = {x, y, z, w};
    return vld1q_f32(lanes);
}
inline Lanes narrow(double x, double y, double z) {
    const float64x2_t xy = vsetq_lane_f64(y, vdupq_n_f64(x), 1);
    const float64x2_t zw = vsetq_lane_f64(z, vdupq_n_f64(0.0), 0);
    return vcvt_high_f32_f64(vcvt_f32_f64(xy), zw);
}
inline void store(float* lanes, Lanes a) { vst1q_f32(lanes, a); }
inline float get_first(Lanes a) { return vgetq_lane_f32(a, 0); }
inline float get(Lanes a, unsigned lane) {
    float lanes[4];
    vst1q_f32(lanes, a);
    return lanes[lane];
}

inline Lanes add(Lanes a, Lanes b) { return vaddq_f32(a, b); }
inline Lanes subtract(Lanes a, Lanes b) { return vsubq_f32(a, b); }
inline Lanes multiply(Lanes a, Lanes b) { return vmulq_f32(a, b); }
inline Lanes divide(Lanes a, Lanes b) { return vdivq_f32(a, b); }
inline Lanes bit_and(Lanes a, Lanes b) {
    return vreinterpretq_f32_u32(vandq_u32(vreinterpretq_u32_f32(a), vreinterpretq_u32_f32(b)));
}
inline Lanes bit_or(Lanes a, Lanes b) {
    return vreinterpretq_f32_u32(vorrq_u32(vreinterpretq_u32_f32(a), vreinterpretq_u32_f32(b)));
}
inline Lanes bit_xor(Lanes a, Lanes b) {
    return vreinterpretq_f32_u32(veorq_u32(vreinterpretq_u32_f32(a), vreinterpretq_u32_f32(b)));
}
inline Lanes less(Lanes a, Lanes b) { return vreinterpretq_f32_u32(vcltq_f32(a, b)); }
inline Lanes less_equal(Lanes a, Lanes b) { return vreinterpretq_f32_u32(vcleq_f32(a, b)); }
inline Lanes min(Lanes a, Lanes b) { return vbslq_f32(vcltq_f32(a, b), a, b); }
inline Lanes max(Lanes a, Lanes b) { return vbslq_f32(vcgtq_f32(a, b), a, b); }
inline Lanes select(Lanes mask, Lanes a, Lanes b) {
    return vbslq_f32(vreinterpretq_u32_f32(mask), a, b);
}
inline int get_mask(Lanes a) {
    const int32_t places[4] = {0, 1, 2, 3};
    const uint32x4_t signs = vshrq_n_u32(vreinterpretq_u32_f32(a), 31);
    return static_cast<int>(vaddvq_u32(vshlq_u32(signs, vld1q_s32(places))));
}

inline Lanes interleave_low(Lanes a, Lanes b) { return vzip1q_f32(a, b); }
inline Lanes interleave_high(Lanes a, Lanes b) { return vzip2q_f32(a, b); }
inline Lanes move_high(Lanes a) { return vcombine_f32(vget_high_f32(a), vget_high_f32(a)); }
inline Lanes swap_halves(Lanes a) { return vextq_f32(a, a, 2); }
inline Lanes move_down(Lanes a) {
    return vsetq_lane_f32(vgetq_lane_f32(a, 3), vextq_f32(a, a, 1), 3);
}
template <unsigned lane> Lanes broadcast_lane(Lanes a) { return vdupq_laneq_f32(a, lane); }
inline Lanes get_mask_xyz() {
    const uint32_t mask[4] = {0xFFFFFFFFu, 0xFFFFFFFFu, 0xFFFFFFFFu, 0u};
    return vreinterpretq_f32_u32(vld1q_u32(mask));
}

using IntegerLanes = int32x4_t;

inline IntegerLanes set_integers(int x, int y, int z, int w) {
    const int32_t lanes[4] = {x, y, z, w};
    return vld1q_s32(lanes);
}
inline void load_bytes(const unsigned char* bytes, IntegerLanes& first, IntegerLanes& last) {
    const uint16x8_t halves = vmovl_u8(vld1_u8(bytes));
    first = vreinterpretq_s32_u32(vmovl_u16(vget_low_u16(halves)));
    last = vreinterpretq_s32_u32(vmovl_u16(vget_high_u16(halves)));
}
inline void store_bytes(unsigned char* bytes, IntegerLanes first, IntegerLanes last) {
    const uint16x8_t halves = vcombine_u16(vmovn_u32(vreinterpretq_u32_s32(first)),
                                           vmovn_u32(vreinterpretq_u32_s32(last)));
    vst1_u8(bytes, vmovn_u16(halves));
}
inline void store_integers(int* lanes, IntegerLanes a) { vst1q_s32(lanes, a); }
inline IntegerLanes bit_and_integers(IntegerLanes a, IntegerLanes b) { return vandq_s32(a, b); }
inline Lanes equal_integers(IntegerLanes a, IntegerLanes b) {
    return vreinterpretq_f32_u32(vceqq_s32(a, b));
}
template <unsigned lane> IntegerLanes broadcast_integer(IntegerLanes a) {
    return vdupq_laneq_s32(a, lane);
}
inline Lanes to_floats(IntegerLanes a) { return vcvtq_f32_s32(a); }
inline IntegerLanes truncate(Lanes a) {
    // The machine's own conversion clamps values that do not fit.
    const float32x4_t limit = vdupq_n_f32(2147483648.0f); // 2^31
    const uint32x4_t fits = vandq_u32(vcgeq_f32(a, vnegq_f32(limit)), vcltq_f32(a, limit));
    return vandq_s32(vreinterpretq_s32_u32(fits), vcvtq_s32_f32(a));
}
inline IntegerLanes add_integers(IntegerLanes a, IntegerLanes b) { return vaddq_s32(a, b); }
inline IntegerLanes get_mask_bits(Lanes a) { return vreinterpretq_s32_f32(a); }

} // namespace gas_simd_neon

} // namespace gas_abi1
