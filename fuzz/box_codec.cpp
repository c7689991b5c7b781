// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <gas/compressed/gas_box_codec.h>

#include <fuzz/fuzz_boxes.h>
#include <fuzz/fuzz_check.h>
#include <tests/naive/naive_compressed.h>
#include <tests/support/box_conversion.h>

// Pairs of boxes in seven bytes, encoded and decoded, against the second implementation; and what
// the decoder makes of any bytes at all.

namespace {

using fuzz::Box;
using fuzz::expect;
using naive::BoxPair;
using naive::PairBytes;

SimdF to_lanes(const float (&corner)[3]) { return {corner[0], corner[1], corner[2], 0.0f}; }

Box to_box(const GasLaneBox& lanes) {
    expect(lanes.min.get(3) == 0.0f && lanes.max.get(3) == 0.0f, "lanes w are 0");
    return {{lanes.min.get(0), lanes.min.get(1), lanes.min.get(2)},
            {lanes.max.get(0), lanes.max.get(1), lanes.max.get(2)}};
}

bool has_same_bits(const Box& first, const Box& second) {
    return std::memcmp(&first, &second, sizeof first) == 0;
}

/// The eighth byte may hold anything.
BoxPair decode(const PairBytes& bytes, unsigned char eighth, const Box& parent) {
    unsigned char stored[8];
    std::copy(bytes.begin(), bytes.end(), stored);
    stored[7] = eighth;
    GasBoxPair lanes;
    gas_decode_box_pair(stored, to_lanes(parent.min), to_lanes(parent.max), lanes);
    const BoxPair expected = naive::decode_pair(bytes, parent);
    const BoxPair found = {to_box(lanes.first), to_box(lanes.second)};
    expect(has_same_bits(found.first, expected.first) &&
               has_same_bits(found.second, expected.second),
           "a pair is decoded to the bits of the second implementation");
    return found;
}

bool contains(const Box& outer, const Box& inner) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!(outer.min[axis] <= inner.min[axis] && outer.max[axis] >= inner.max[axis]))
            return false;
    }
    return true;
}

/// A bound on one of the parent's 255ths, at it or next to it, or anywhere near.
float take_bound(FuzzInput& input, float low, float high) {
    const unsigned choice = input.take_byte();
    const float share = static_cast<float>(input.take_byte()) / 255.0f;
    const float up = low + share * (high - low);
    const float down = high - share * (high - low);
    switch (choice % 8) {
    case 0:
        return low;
    case 1:
        return high;
    case 2:
        return up;
    case 3:
        return down;
    case 4:
        return std::nextafter(up, choice < 128 ? low : high);
    case 5:
        return std::nextafter(down, choice < 128 ? low : high);
    case 6:
        return low + (share - 0.25f) * 1e-4f;
    default:
        return choice < 16 ? input.take_special() : low + (share * 3.0f - 1.0f) * (high - low);
    }
}

Box take_child(FuzzInput& input, const Box& parent) {
    Box child;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float one = take_bound(input, parent.min[axis], parent.max[axis]);
        const float other = take_bound(input, parent.min[axis], parent.max[axis]);
        const bool is_swapped = one > other && !input.take_chance(16);
        child.min[axis] = is_swapped ? other : one;
        child.max[axis] = is_swapped ? one : other;
    }
    return child;
}

void check_pair(FuzzInput& input) {
    const fuzz::Boxes two = fuzz::take_boxes(input, 2);
    Box parent = naive::unite(two[0], two[1]);
    const Box first = input.take_flag() ? take_child(input, parent) : two[0];
    const Box second = input.take_flag() ? take_child(input, parent) : two[1];
    if (input.take_flag())
        parent = naive::unite(first, second);

    const GasQuantizedPair encoded = gas_encode_box_pair(
        support::to_box(parent), support::to_box(first), support::to_box(second));
    PairBytes bytes;
    static_assert(sizeof encoded == sizeof bytes);
    std::memcpy(bytes.data(), &encoded, sizeof encoded);
    expect(bytes == naive::encode_pair(parent, first, second),
           "a pair has the bytes of the second implementation");
    expect(encoded.owners >> 6 == 0, "unused bits are 0");

    const BoxPair decoded = decode(bytes, static_cast<unsigned char>(input.take_byte()), parent);
    if (!fuzz::is_finite(parent) || !fuzz::is_ordered(parent))
        return;
    expect(contains(parent, decoded.first) && contains(parent, decoded.second),
           "decoded boxes stay in their parent");
    constexpr double working_range = 82.0;
    const bool is_pair = fuzz::is_ordered(first) && fuzz::is_ordered(second) &&
                         has_same_bits(naive::unite(parent, naive::unite(first, second)), parent);
    if (is_pair && fuzz::get_measure({parent}) < working_range)
        expect(contains(decoded.first, first) && contains(decoded.second, second),
               "decoded boxes contain what was encoded");
}

/// Bytes and parents that no build makes.
void check_bytes(FuzzInput& input) {
    PairBytes bytes;
    for (unsigned char& byte : bytes)
        byte = static_cast<unsigned char>(input.take_byte());
    const unsigned char eighth = static_cast<unsigned char>(input.take_byte());
    const Box parent = fuzz::take_boxes(input, 1)[0];
    decode(bytes, eighth, parent);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    while (!input.is_empty()) {
        if (input.take_chance(4))
            check_bytes(input);
        else
            check_pair(input);
    }
    return 0;
}
