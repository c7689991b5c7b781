#include <gas/compressed/gas_box_codec.h>

#include <gas/traversal/gas_numeric.h>

namespace {

/// The floor of `value`, modulo 256. It is 0 for what no 32-bit integer holds: a float of that size
/// is a multiple of 256, an infinity or a NaN.
unsigned char floor_to_byte(float value) {
    constexpr float limit = 2147483648.0f; // 2^31
    if (!(value > -limit && value < limit))
        return 0;
    const int truncated = static_cast<int>(value);
    const bool is_below = value < 0.0f && static_cast<float>(truncated) != value;
    return static_cast<unsigned char>(static_cast<unsigned>(truncated) - (is_below ? 1u : 0u));
}

/// Encodes one axis; a parent without extent there keeps zeros.
void encode_axis(GasQuantizedPair& pair, unsigned axis, const GMathBbox3<float>& parent,
                 const GMathBbox3<float>& first, const GMathBbox3<float>& second) {
    constexpr float step_count = 255.0f;      // 0x437F0000
    constexpr float widening = 3.9215687e-5f; // 0.01 / 255, 0x38247B86
    const GasCoordinate coordinate = gas_coordinates[axis];
    const float parent_min = parent.min.*coordinate;
    const float parent_max = parent.max.*coordinate;
    const float extent = parent_max - parent_min;
    if (!(extent < 0.0f || extent > 0.0f))
        return;
    const float scale = step_count / extent;

    // The larger of the lower bounds is stored; of equal ones the second child's.
    float lower = second.min.*coordinate;
    if (!(lower >= first.min.*coordinate)) {
        lower = first.min.*coordinate;
        pair.owners = static_cast<unsigned char>(pair.owners | GasQuantizedPair::min_owner << axis);
    }
    lower -= widening;
    if (!(lower > parent_min))
        lower = parent_min;
    pair.min[axis] = floor_to_byte((lower - parent_min) * scale);

    // The smaller of the upper bounds is stored; of equal ones the second child's.
    float upper = second.max.*coordinate;
    if (upper > first.max.*coordinate) {
        upper = first.max.*coordinate;
        pair.owners = static_cast<unsigned char>(pair.owners | GasQuantizedPair::max_owner << axis);
    }
    upper += widening;
    if (!(upper < parent_max))
        upper = parent_max;
    pair.max[axis] = floor_to_byte((parent_max - upper) * scale);
}

} // namespace

GasQuantizedPair gas_encode_box_pair(const GMathBbox3<float>& parent,
                                     const GMathBbox3<float>& first,
                                     const GMathBbox3<float>& second) {
    GasQuantizedPair pair = {{0, 0, 0}, 0, {0, 0, 0}};
    for (unsigned axis = 0; axis < 3; ++axis)
        encode_axis(pair, axis, parent, first, second);
    return pair;
}
