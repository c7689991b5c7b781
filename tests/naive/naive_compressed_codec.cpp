#include <algorithm>
#include <cmath>
#include <cstring>

#include <tests/naive/naive_compressed.h>

namespace naive {

namespace {

constexpr float scale_numerator = 255.0f;
constexpr float widening = 3.9215687e-5f;            // 0x38247b86
constexpr float step_factor = 0.003921568859368563f; // 0x3b808081
constexpr float int_range_begin = -2147483648.0f;
constexpr float int_range_end = 2147483648.0f;

/// Rounds down and keeps the low eight bits; 0 for what no 32-bit integer holds.
unsigned char floor_to_byte(float value) {
    if (!(value >= int_range_begin && value < int_range_end)) {
        return 0;
    }
    int whole = static_cast<int>(value);
    if (static_cast<float>(whole) != value && value < 0.0f) {
        --whole;
    }
    return static_cast<unsigned char>(static_cast<unsigned>(whole) & 0xffu);
}

float lane_min(float a, float b) { return a < b ? a : b; }

float lane_max(float a, float b) { return a > b ? a : b; }

unsigned read_word(const Record& record, std::size_t offset) {
    unsigned word = 0;
    std::memcpy(&word, record.data() + offset, sizeof(word));
    return word;
}

} // namespace

Reference first_child(const Record& record) { return {(record[7] & 1) != 0, read_word(record, 8)}; }

Reference second_child(const Record& record) {
    return {(record[7] & 2) != 0, read_word(record, 12)};
}

unsigned order_code(const Record& record) { return (record[7] >> 2) & 7u; }

PairBytes encode_pair(const Box& parent, const Box& first, const Box& second) {
    PairBytes bytes = {};
    unsigned owners = 0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float parent_min = parent.min[axis];
        const float parent_max = parent.max[axis];
        const float extent = parent_max - parent_min;
        // Flat, or no number.
        if (!(extent < 0.0f || extent > 0.0f)) {
            continue;
        }
        const float scale = scale_numerator / extent;

        float stored_min = second.min[axis];
        if (!(second.min[axis] >= first.min[axis])) {
            owners |= 1u << axis;
            stored_min = first.min[axis];
        }
        float low = stored_min - widening;
        if (!(low > parent_min)) {
            low = parent_min;
        }
        const float from_min = low - parent_min;
        bytes[axis] = floor_to_byte(from_min * scale);

        float stored_max = second.max[axis];
        if (second.max[axis] > first.max[axis]) {
            owners |= 8u << axis;
            stored_max = first.max[axis];
        }
        float high = stored_max + widening;
        if (!(high < parent_max)) {
            high = parent_max;
        }
        const float from_max = parent_max - high;
        bytes[4 + axis] = floor_to_byte(from_max * scale);
    }
    bytes[3] = static_cast<unsigned char>(owners);
    return bytes;
}

BoxPair decode_pair(const PairBytes& bytes, const Box& parent) {
    // Whoever owns no inner bound has the parent's.
    BoxPair result = {parent, parent};
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float parent_min = parent.min[axis];
        const float parent_max = parent.max[axis];
        const float extent = parent_max - parent_min;
        const float step = std::isfinite(extent) ? extent * step_factor : 0.0f;

        const float up = static_cast<float>(bytes[axis]) * step;
        const float low = lane_min(parent_max, parent_min + up);
        const bool first_owns_min = (bytes[3] >> axis & 1) != 0;
        (first_owns_min ? result.first : result.second).min[axis] = low;

        const float down = static_cast<float>(bytes[4 + axis]) * step;
        const float high = lane_max(parent_min, parent_max - down);
        const bool first_owns_max = (bytes[3] >> axis & 8) != 0;
        (first_owns_max ? result.first : result.second).max[axis] = high;
    }
    return result;
}

PairBytes pair_bytes(const CompressedTree& tree, unsigned node) {
    PairBytes bytes;
    std::copy_n(tree.nodes[node].begin(), bytes.size(), bytes.begin());
    return bytes;
}

PairBytes pair_bytes(const CompressedTree& tree, unsigned node, unsigned sample) {
    PairBytes bytes;
    const std::ptrdiff_t offset = 7 * static_cast<std::ptrdiff_t>(node);
    std::copy_n(tree.samples[sample].bytes.begin() + offset, bytes.size(), bytes.begin());
    return bytes;
}

} // namespace naive
