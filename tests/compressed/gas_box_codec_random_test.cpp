// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>

#include <gas/compressed/gas_box_codec.h>

#include <tests/support/sanitizers.h>
#include <tests/support/seeded_random.h>

// What is decoded contains what was encoded and stays within the parent.

namespace {

using support::SeededRandom;
using Bounds = GMathBbox3<float>;

constexpr unsigned pair_count = support::scale_in_release(
    support::scale(support::scale_when_whole(1000000, 300000), 100000), 100000);

constexpr float infinity = std::numeric_limits<float>::infinity();

/// Moves a value by up to two floats.
float nudge(SeededRandom& random, float value) {
    const int steps = static_cast<int>(random.below(5)) - 2;
    for (int i = 0; i < std::abs(steps); ++i)
        value = std::nextafter(value, steps < 0 ? -infinity : infinity);
    return value;
}

struct Pair {
    Bounds first;
    Bounds second;
};

/// Picks parents and pairs of boxes inside them.
class PairMaker {
  public:
    explicit PairMaker(std::uint64_t seed) : random(seed) {}

    /// A parent whose extents lie in `least`..`most`, at about `offset` from the origin.
    Bounds make_parent(double least, double most, double offset) {
        Bounds parent = {};
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double share = random.below(8) == 0 ? 1.0 : random.uniform_double();
            const double extent = least * std::exp2(std::log2(most / least) * share);
            const double side = random.below(2) ? 1.0 : -1.0;
            const double low = side * offset * (0.5 + 0.5 * random.uniform_double()) -
                               extent * static_cast<double>(random.below(3)) * 0.5;
            parent.min[axis] = static_cast<float>(low);
            parent.max[axis] = static_cast<float>(low + extent);
            while (static_cast<double>(parent.max[axis] - parent.min[axis]) > most) {
                float& outer = std::abs(parent.min[axis]) > std::abs(parent.max[axis])
                                   ? parent.min[axis]
                                   : parent.max[axis];
                outer = std::nextafter(outer, 0.0f);
            }
            if (parent.max[axis] < parent.min[axis])
                parent.max[axis] = parent.min[axis];
        }
        return parent;
    }

    Pair make_children(const Bounds& parent) {
        Pair pair = {};
        for (unsigned axis = 0; axis < 3; ++axis) {
            for (Bounds* child : {&pair.first, &pair.second}) {
                const float one = pick(parent, axis);
                const float other = pick(parent, axis);
                child->min[axis] = std::min(one, other);
                child->max[axis] = std::max(one, other);
            }
            // As in trees: the children's bounds together are the parent's, but where its decoded
            // box is larger.
            if (random.below(4) != 0)
                (random.below(2) ? pair.first : pair.second).min[axis] = parent.min[axis];
            if (random.below(4) != 0)
                (random.below(2) ? pair.first : pair.second).max[axis] = parent.max[axis];
        }
        return pair;
    }

    SeededRandom random;

  private:
    /// Anywhere in the parent, or at or near one of its 255ths.
    float pick(const Bounds& parent, unsigned axis) {
        const float low = parent.min[axis];
        const float high = parent.max[axis];
        const bool on_lattice = random.below(3) == 0;
        const float share =
            on_lattice ? static_cast<float>(random.below(256)) / 255.0f : random.uniform();
        float value = random.below(2) ? low + share * (high - low) : high - share * (high - low);
        if (on_lattice)
            value = nudge(random, value);
        return std::min(std::max(value, low), high);
    }
};

SimdF to_lanes(const GMathVec3<float>& corner) { return {corner.x, corner.y, corner.z, 0.0f}; }

Pair decode(const GasQuantizedPair& bytes, const Bounds& parent) {
    unsigned char stored[8] = {};
    std::memcpy(stored, &bytes, sizeof bytes);
    GasBoxPair lanes;
    gas_decode_box_pair(stored, to_lanes(parent.min), to_lanes(parent.max), lanes);
    const auto to_corner = [](const SimdF& corner) -> GMathVec3<float> {
        return {corner.get(0), corner.get(1), corner.get(2)};
    };
    return {{to_corner(lanes.first.min), to_corner(lanes.first.max)},
            {to_corner(lanes.second.min), to_corner(lanes.second.max)}};
}

/// By how much a decoded box falls short of the exact one on an axis; 0 or less where it contains
/// it.
double get_miss(const Bounds& decoded, const Bounds& exact, unsigned axis) {
    return std::max(static_cast<double>(decoded.min[axis]) - static_cast<double>(exact.min[axis]),
                    static_cast<double>(exact.max[axis]) - static_cast<double>(decoded.max[axis]));
}

bool is_within(const Bounds& child, const Bounds& parent) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const float bound : {child.min[axis], child.max[axis]}) {
            if (bound < parent.min[axis] || bound > parent.max[axis])
                return false;
        }
    }
    return true;
}

struct Findings {
    unsigned misses = 0;
    double worst_share = 0.0; // of the parent's extent
    unsigned strays = 0;
};

Findings search(std::uint64_t seed, unsigned count, double least, double most, double offset) {
    PairMaker maker(seed);
    Findings found;
    for (unsigned i = 0; i < count; ++i) {
        const Bounds parent = maker.make_parent(least, most, offset);
        const Pair exact = maker.make_children(parent);
        const Pair decoded = decode(gas_encode_box_pair(parent, exact.first, exact.second), parent);
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double miss = std::max(get_miss(decoded.first, exact.first, axis),
                                         get_miss(decoded.second, exact.second, axis));
            if (miss > 0.0) {
                const double extent =
                    static_cast<double>(parent.max[axis]) - static_cast<double>(parent.min[axis]);
                ++found.misses;
                found.worst_share = std::max(found.worst_share, miss / extent);
            }
        }
        found.strays += !is_within(decoded.first, parent) || !is_within(decoded.second, parent);
    }
    return found;
}

/// The decoder's steps for one axis in plain floats: the two bounds that it hands out.
void decode_plainly(unsigned min_steps, unsigned max_steps, float low, float high, float& lower,
                    float& upper) {
    const float extent = high - low;
    const float step = std::isfinite(extent) ? extent * 0.003921568859368563f : 0.0f;
    const float up = static_cast<float>(min_steps) * step;
    const float down = static_cast<float>(max_steps) * step;
    lower = high < low + up ? high : low + up;
    upper = low > high - down ? low : high - down;
}

bool is_same_bit_by_bit(float a, float b) {
    return std::bit_cast<std::uint32_t>(a) == std::bit_cast<std::uint32_t>(b);
}

} // namespace

TEST(BoxCodecRandom, ParentsInTheWorkingRangeContainTheirChildrenExactly) {
    const Findings found = search(1, 6 * pair_count, 1e-2, 200.0, 0.0);
    EXPECT_EQ(found.misses, 0u) << found.worst_share;
    EXPECT_EQ(found.strays, 0u);
}

// Far from the origin too: there bounds lie on a coarser lattice of floats, and sums are rounded
// back to the float that was meant.
TEST(BoxCodecRandom, ParentsInTheWorkingRangeDoSoAtAnyDistanceFromTheOrigin) {
    for (const double offset : {1.0, 30.0, 100.0, 300.0, 1e3, 3e3, 1e4, 1e5, 1e6, 1e9}) {
        const Findings found = search(2, 3 * pair_count / 10, 1e-2, 200.0, offset);
        EXPECT_EQ(found.misses, 0u) << offset << ": " << found.worst_share;
        EXPECT_EQ(found.strays, 0u) << offset;
    }
}

TEST(BoxCodecRandom, ParentsAtTheUpperEndOfTheRangeContainTheirChildrenExactly) {
    for (const double offset : {0.0, 50.0, 200.0, 400.0}) {
        const Findings found = search(3, pair_count / 4, 190.0, 200.0, offset);
        EXPECT_EQ(found.misses, 0u) << offset << ": " << found.worst_share;
    }
}

TEST(BoxCodecRandom, SmallParentsContainTheirChildrenExactly) {
    const Findings found = search(4, pair_count / 2, 1e-30, 1e-2, 0.0);
    EXPECT_EQ(found.misses, 0u) << found.worst_share;
    EXPECT_EQ(found.strays, 0u);
    EXPECT_EQ(search(4, pair_count / 2, 1e-7, 1e-2, 10.0).misses, 0u);
}

TEST(BoxCodecRandom, LargeParentsFallShortByAMinuteShareOfTheirExtent) {
    unsigned misses = 0;
    for (const double offset : {0.0, 1e3, 1e6}) {
        for (const double most : {1e3, 1e6, 1e30}) {
            const Findings found = search(5, pair_count / 10, 200.0, most, offset);
            EXPECT_LE(found.worst_share, 3e-7) << offset << ", " << most;
            EXPECT_EQ(found.strays, 0u) << offset << ", " << most;
            misses += found.misses;
        }
    }
    EXPECT_GT(misses, 0u);
}

// Children of any bounds, parents of any bytes: the lanes do what plain floats do.
TEST(BoxCodecRandom, DecodesAsPlainFloatsDo) {
    PairMaker maker(6);
    for (unsigned i = 0; i < pair_count; ++i) {
        Bounds parent = maker.make_parent(1e-3, 1e3, i % 2 ? 0.0 : 500.0);
        if (i % 7 == 0)
            std::swap(parent.min[i % 3], parent.max[i % 3]);
        if (i % 11 == 0)
            parent.max[i % 3] = infinity;
        GasQuantizedPair bytes;
        for (unsigned axis = 0; axis < 3; ++axis) {
            bytes.min[axis] = static_cast<unsigned char>(maker.random.below(256));
            bytes.max[axis] = static_cast<unsigned char>(maker.random.below(256));
        }
        bytes.owners = static_cast<unsigned char>(maker.random.below(256));
        const Pair pair = decode(bytes, parent);
        for (unsigned axis = 0; axis < 3; ++axis) {
            float lower = 0.0f;
            float upper = 0.0f;
            decode_plainly(bytes.min[axis], bytes.max[axis], parent.min[axis], parent.max[axis],
                           lower, upper);
            const bool min_is_first = (bytes.owners >> axis & 1) != 0;
            const bool max_is_first = (bytes.owners >> (axis + 3) & 1) != 0;
            const float min = parent.min[axis];
            const float max = parent.max[axis];
            ASSERT_TRUE(is_same_bit_by_bit(pair.first.min[axis], min_is_first ? lower : min));
            ASSERT_TRUE(is_same_bit_by_bit(pair.second.min[axis], min_is_first ? min : lower));
            ASSERT_TRUE(is_same_bit_by_bit(pair.first.max[axis], max_is_first ? upper : max));
            ASSERT_TRUE(is_same_bit_by_bit(pair.second.max[axis], max_is_first ? max : upper));
        }
    }
}

// Floats of any bits: nothing undefined, and bits 6 and 7 of the owners stay clear.
TEST(BoxCodecRandom, AnyFloatsAtAllAreEncoded) {
    SeededRandom random(7);
    const auto make = [&] {
        Bounds bounds = {};
        for (unsigned axis = 0; axis < 3; ++axis) {
            bounds.min[axis] = std::bit_cast<float>(random.next());
            bounds.max[axis] = std::bit_cast<float>(random.next());
        }
        return bounds;
    };
    for (unsigned i = 0; i < pair_count; ++i) {
        const Bounds parent = make();
        const GasQuantizedPair bytes = gas_encode_box_pair(parent, make(), make());
        ASSERT_EQ(bytes.owners >> 6, 0);
        decode(bytes, parent);
    }
}
