// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <concepts>
#include <cstddef>
#include <type_traits>

#include <gas/host/host.h>

inline namespace gas_abi1 {

/// The part of the host's contract about geometric values and lanes; host_contract.h is the whole.
namespace gas_host_contract {

/// Copied as bytes; owns nothing.
template <typename Record>
concept PlainValue = std::is_trivially_copyable_v<Record> && std::is_standard_layout_v<Record>;

/// Three coordinates in order, no padding; indexed by axis 0..2.
template <typename Vec3, typename Number>
concept Vec3Record = PlainValue<Vec3> && sizeof(Vec3) == 3 * sizeof(Number) &&
                     offsetof(Vec3, x) == 0 && offsetof(Vec3, y) == sizeof(Number) &&
                     offsetof(Vec3, z) == 2 * sizeof(Number) &&
                     requires(Vec3 value, const Vec3 fixed, unsigned axis) {
    Vec3{Number(), Number(), Number()};
    { (value.x) } -> std::same_as<Number&>;
    { (value.y) } -> std::same_as<Number&>;
    { (value.z) } -> std::same_as<Number&>;
    { fixed[axis] } -> std::convertible_to<Number>;
};

/// Two corners, min then max, no padding: six numbers in a row.
template <typename Bbox3, typename Number>
concept Bbox3Record = PlainValue<Bbox3> && sizeof(Bbox3) == 6 * sizeof(Number) &&
                      offsetof(Bbox3, min) == 0 && offsetof(Bbox3, max) == 3 * sizeof(Number) &&
                      requires(Bbox3 box) {
    { (box.min) } -> std::same_as<GMathVec3<Number>&>;
    { (box.max) } -> std::same_as<GMathVec3<Number>&>;
    Bbox3{{Number(), Number(), Number()}, {Number(), Number(), Number()}};
};

/// A ray's origin and inverse direction (an infinity where the direction is 0), and per axis 1
/// where the direction is negative, else 0.
template <typename Line>
concept LineRecord = requires(const Line& line, unsigned axis) {
    { gas_host::get_origin(line) } -> std::convertible_to<const GMathVec3<double>&>;
    { gas_host::get_inverse_direction(line) } -> std::convertible_to<const GMathVec3<double>&>;
    { gas_host::get_sign(line, axis) } -> std::same_as<unsigned>;
};

/// A convex region: the points with normal . p + offset >= 0 for each of its planes.
template <typename Frustum>
concept FrustumRecord = requires(const Frustum& frustum, unsigned plane) {
    { gas_host::get_plane_count(frustum) } -> std::same_as<unsigned>;
    { gas_host::get_plane_normal(frustum, plane) } -> std::convertible_to<const GMathVec3<double>&>;
    { gas_host::get_plane_offset(frustum, plane) } -> std::same_as<double>;
};

/// Four float lanes at a 16-byte boundary.
template <typename Lanes>
concept LanesRecord = std::is_trivially_copyable_v<Lanes> && std::default_initializable<Lanes> &&
                          sizeof(Lanes) == 16 &&
                      alignof(Lanes) == 16 &&
                      std::constructible_from<Lanes, float>&& std::constructible_from<
                          Lanes, float, float, float, float>;

/// Each lane rounds once and nothing fuses; `min` is a < b ? a : b and `max` is a > b ? a : b, NaN
/// included; comparisons set all bits of a lane or none.
template <typename Lanes>
concept LanesArithmetic = requires(const Lanes& a, const Lanes& b) {
    { a + b } -> std::same_as<Lanes>;
    { a - b } -> std::same_as<Lanes>;
    { a* b } -> std::same_as<Lanes>;
    { a / b } -> std::same_as<Lanes>;
    { a ^ b } -> std::same_as<Lanes>;
    { a& b } -> std::same_as<Lanes>;
    { a | b } -> std::same_as<Lanes>;
    { a < b } -> std::same_as<Lanes>;
    { a <= b } -> std::same_as<Lanes>;
    { a > b } -> std::same_as<Lanes>;
    { a >= b } -> std::same_as<Lanes>;
    { Lanes::min(a, b) } -> std::same_as<Lanes>;
    { Lanes::max(a, b) } -> std::same_as<Lanes>;
    { Lanes::select(a, a, b) } -> std::same_as<Lanes>;
};

/// Loads (`load` from a 16-byte boundary), stores, and moves between lanes; `narrow` rounds three
/// doubles and clears w; `s_mask_xyz` keeps x, y, z under & and clears w.
template <typename Lanes>
concept LanesMoves = requires(const Lanes& a, const Lanes& b, const float* source, float* target,
                              unsigned lane, double number) {
    { Lanes::narrow(number, number, number) } -> std::same_as<Lanes>;
    { Lanes::load(source) } -> std::same_as<Lanes>;
    { Lanes::load_unaligned(source) } -> std::same_as<Lanes>;
    a.store(target);
    { a.get(lane) } -> std::same_as<float>;
    { a.get_first() } -> std::same_as<float>;
    { a.get_mask() } -> std::same_as<int>;
    { Lanes::interleave_low(a, b) } -> std::same_as<Lanes>;
    { Lanes::interleave_high(a, b) } -> std::same_as<Lanes>;
    { a.move_high() } -> std::same_as<Lanes>;
    { a.swap_halves() } -> std::same_as<Lanes>;
    { a.move_down() } -> std::same_as<Lanes>;
    { a.template broadcast<0>() } -> std::same_as<Lanes>;
    { a.template broadcast<3>() } -> std::same_as<Lanes>;
    { (Lanes::s_mask_xyz) } -> std::same_as<const Lanes&>;
};

/// Four integers that wrap. Bytes are widened to 0..255, and low bytes stored; a float is truncated
/// towards zero, to 0 where no 32-bit integer holds it; a mask of floats is -1 or 0.
template <typename Lanes>
concept IntegerLanes = std::constructible_from<Lanes, int, int, int, int> &&
    requires(const Lanes& a, const Lanes& b, Lanes& first, Lanes& last, const SimdF& floats,
             const unsigned char* source, unsigned char* target, int* integers) {
    Lanes::load_bytes(source, first, last);
    Lanes::store_bytes(target, a, b);
    a.store(integers);
    { Lanes::truncate(floats) } -> std::same_as<Lanes>;
    { Lanes::from_mask(floats) } -> std::same_as<Lanes>;
    { a + b } -> std::same_as<Lanes>;
    { a& b } -> std::same_as<Lanes>;
    { a == b } -> std::same_as<SimdF>;
    { a.template broadcast<3>() } -> std::same_as<Lanes>;
    { a.to_floats() } -> std::same_as<SimdF>;
};

static_assert(Vec3Record<GMathVec3<float>, float>, "GMathVec3<float> is three floats x, y, z");
static_assert(Vec3Record<GMathVec3<double>, double>, "GMathVec3<double> is three doubles x, y, z");
static_assert(Bbox3Record<GMathBbox3<float>, float>, "GMathBbox3<float> is min, then max");
static_assert(Bbox3Record<GMathBbox3<double>, double>, "GMathBbox3<double> is min, then max");
static_assert(LineRecord<GMathBasicRay>, "GMathBasicRay needs gas_host::get_origin, "
                                         "get_inverse_direction and get_sign");
static_assert(FrustumRecord<GMathFrustum>, "GMathFrustum needs gas_host::get_plane_count, "
                                           "get_plane_normal and get_plane_offset");
static_assert(LanesRecord<SimdF>, "SimdF is four float lanes at a 16-byte boundary");
static_assert(LanesArithmetic<SimdF>, "SimdF lacks an operator, min, max or select");
static_assert(LanesMoves<SimdF>, "SimdF lacks narrow, a load, a store, a move or s_mask_xyz");
static_assert(IntegerLanes<SimdI>, "SimdI is four integer lanes with the operations of simd_i.h");

} // namespace gas_host_contract

} // namespace gas_abi1
