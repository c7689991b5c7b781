// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>

inline namespace gas_abi1 {

/// Four float lanes in portable C++; `simd_f.h` says what each operation means.
namespace gas_simd_scalar {

/// As reports name it.
inline constexpr const char* name = "scalar";

struct alignas(16) Lanes {
    float lane[4];
};

/// Bits of a lane, for masks and bit operations: a mask is a NaN and is not passed on as a number.
inline std::uint32_t get_bits(const Lanes& a, unsigned lane) {
    std::uint32_t bits;
    std::memcpy(&bits, &a.lane[lane], sizeof bits);
    return bits;
}
inline void set_bits(Lanes& a, unsigned lane, std::uint32_t bits) {
    std::memcpy(&a.lane[lane], &bits, sizeof bits);
}
inline void copy_lane(Lanes& to, unsigned to_lane, const Lanes& from, unsigned from_lane) {
    set_bits(to, to_lane, get_bits(from, from_lane));
}

inline Lanes set(float x, float y, float z, float w) { return Lanes{{x, y, z, w}}; }
inline Lanes broadcast(float all) { return set(all, all, all, all); }
inline Lanes narrow(double x, double y, double z) {
    return set(static_cast<float>(x), static_cast<float>(y), static_cast<float>(z), 0.0f);
}
inline Lanes load(const float* lanes) {
    Lanes result;
    std::memcpy(result.lane, lanes, sizeof result.lane);
    return result;
}
inline Lanes load_unaligned(const float* lanes) { return load(lanes); }
inline void store(float* lanes, const Lanes& a) { std::memcpy(lanes, a.lane, sizeof a.lane); }
inline float get(const Lanes& a, unsigned lane) { return a.lane[lane]; }
inline float get_first(const Lanes& a) { return a.lane[0]; }

inline Lanes add(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        result.lane[i] = a.lane[i] + b.lane[i];
    return result;
}
inline Lanes subtract(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        result.lane[i] = a.lane[i] - b.lane[i];
    return result;
}
inline Lanes multiply(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        result.lane[i] = a.lane[i] * b.lane[i];
    return result;
}
inline Lanes divide(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        result.lane[i] = a.lane[i] / b.lane[i];
    return result;
}
inline Lanes bit_and(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, get_bits(a, i) & get_bits(b, i));
    return result;
}
inline Lanes bit_or(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, get_bits(a, i) | get_bits(b, i));
    return result;
}
inline Lanes bit_xor(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, get_bits(a, i) ^ get_bits(b, i));
    return result;
}
inline Lanes less(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, a.lane[i] < b.lane[i] ? 0xFFFFFFFFu : 0u);
    return result;
}
inline Lanes less_equal(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, a.lane[i] <= b.lane[i] ? 0xFFFFFFFFu : 0u);
    return result;
}
inline Lanes min(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        copy_lane(result, i, a.lane[i] < b.lane[i] ? a : b, i);
    return result;
}
inline Lanes max(const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        copy_lane(result, i, a.lane[i] > b.lane[i] ? a : b, i);
    return result;
}
inline Lanes select(const Lanes& mask, const Lanes& a, const Lanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i) {
        const std::uint32_t bits = get_bits(mask, i);
        set_bits(result, i, (get_bits(a, i) & bits) | (get_bits(b, i) & ~bits));
    }
    return result;
}
inline int get_mask(const Lanes& a) {
    int mask = 0;
    for (unsigned i = 0; i < 4; ++i)
        mask |= static_cast<int>(get_bits(a, i) >> 31) << i;
    return mask;
}

inline Lanes pick(const Lanes& a, unsigned i, const Lanes& b, unsigned j, const Lanes& c,
                  unsigned k, const Lanes& d, unsigned l) {
    Lanes result;
    copy_lane(result, 0, a, i);
    copy_lane(result, 1, b, j);
    copy_lane(result, 2, c, k);
    copy_lane(result, 3, d, l);
    return result;
}
inline Lanes interleave_low(const Lanes& a, const Lanes& b) { return pick(a, 0, b, 0, a, 1, b, 1); }
inline Lanes interleave_high(const Lanes& a, const Lanes& b) {
    return pick(a, 2, b, 2, a, 3, b, 3);
}
inline Lanes move_high(const Lanes& a) { return pick(a, 2, a, 3, a, 2, a, 3); }
inline Lanes swap_halves(const Lanes& a) { return pick(a, 2, a, 3, a, 0, a, 1); }
inline Lanes move_down(const Lanes& a) { return pick(a, 1, a, 2, a, 3, a, 3); }
template <unsigned lane> Lanes broadcast_lane(const Lanes& a) {
    return pick(a, lane, a, lane, a, lane, a, lane);
}
inline Lanes get_mask_xyz() {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, i < 3 ? 0xFFFFFFFFu : 0u);
    return result;
}

struct IntegerLanes {
    std::int32_t lane[4];
};

inline IntegerLanes set_integers(int x, int y, int z, int w) { return IntegerLanes{{x, y, z, w}}; }
inline void load_bytes(const unsigned char* bytes, IntegerLanes& first, IntegerLanes& last) {
    first = set_integers(bytes[0], bytes[1], bytes[2], bytes[3]);
    last = set_integers(bytes[4], bytes[5], bytes[6], bytes[7]);
}
inline void store_bytes(unsigned char* bytes, const IntegerLanes& first, const IntegerLanes& last) {
    for (unsigned i = 0; i < 4; ++i) {
        bytes[i] = static_cast<unsigned char>(first.lane[i] & 0xFF);
        bytes[i + 4] = static_cast<unsigned char>(last.lane[i] & 0xFF);
    }
}
inline void store_integers(int* lanes, const IntegerLanes& a) {
    std::memcpy(lanes, a.lane, sizeof a.lane);
}
inline IntegerLanes bit_and_integers(const IntegerLanes& a, const IntegerLanes& b) {
    IntegerLanes result;
    for (unsigned i = 0; i < 4; ++i)
        result.lane[i] = a.lane[i] & b.lane[i];
    return result;
}
inline Lanes equal_integers(const IntegerLanes& a, const IntegerLanes& b) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        set_bits(result, i, a.lane[i] == b.lane[i] ? 0xFFFFFFFFu : 0u);
    return result;
}
template <unsigned lane> IntegerLanes broadcast_integer(const IntegerLanes& a) {
    return set_integers(a.lane[lane], a.lane[lane], a.lane[lane], a.lane[lane]);
}
inline Lanes to_floats(const IntegerLanes& a) {
    Lanes result;
    for (unsigned i = 0; i < 4; ++i)
        result.lane[i] = static_cast<float>(a.lane[i]);
    return result;
}

inline IntegerLanes truncate(const Lanes& a) {
    constexpr float limit = 2147483648.0f; // 2^31
    IntegerLanes result;
    for (unsigned i = 0; i < 4; ++i) {
        const bool fits = a.lane[i] >= -limit && a.lane[i] < limit;
        result.lane[i] = fits ? static_cast<std::int32_t>(a.lane[i]) : 0;
    }
    return result;
}
inline IntegerLanes add_integers(const IntegerLanes& a, const IntegerLanes& b) {
    IntegerLanes result;
    for (unsigned i = 0; i < 4; ++i) {
        // Unsigned, so that overflow wraps as on other back ends.
        const auto sum =
            static_cast<std::uint32_t>(a.lane[i]) + static_cast<std::uint32_t>(b.lane[i]);
        std::memcpy(&result.lane[i], &sum, sizeof sum);
    }
    return result;
}
inline IntegerLanes get_mask_bits(const Lanes& a) {
    IntegerLanes result;
    std::memcpy(result.lane, a.lane, sizeof result.lane);
    return result;
}

} // namespace gas_simd_scalar

} // namespace gas_abi1
