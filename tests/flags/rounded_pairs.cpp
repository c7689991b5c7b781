// SPDX-License-Identifier: Apache-2.0
// Whether this compiler, with the flags of the library, rounds a double that becomes a float and a
// double again. GCC 11 and 12 drop it where they make one vector of two such conversions.

#include <cstdint>
#include <cstdio>
#include <cstring>

#if defined(__GNUC__)
#define GAS_TEST_APART __attribute__((noinline))
#else
#define GAS_TEST_APART
#endif

namespace {

constexpr unsigned count = 8;

double through_float(double value) { return static_cast<double>(static_cast<float>(value)); }

/// A pair of fields, as two corners of a box are.
struct Pair {
    double low;
    double high;
};

GAS_TEST_APART void round_pair(const Pair& from, Pair& to) {
    to = {through_float(from.low), through_float(from.high)};
}

GAS_TEST_APART Pair get_rounded(const Pair& from) {
    return {through_float(from.low), through_float(from.high)};
}

GAS_TEST_APART void round_elements(const double* from, double* to) {
    to[0] = through_float(from[0]);
    to[1] = through_float(from[1]);
}

GAS_TEST_APART void round_four(const double* from, double* to) {
    for (unsigned i = 0; i < 4; ++i)
        to[i] = through_float(from[i]);
}

GAS_TEST_APART void round_all(const double* from, double* to, unsigned end) {
    for (unsigned i = 0; i < end; ++i)
        to[i] = through_float(from[i]);
}

/// What rounding takes away, as a rounding outward asks for it.
GAS_TEST_APART void get_losses(const double* from, double* to) {
    to[0] = from[0] - through_float(from[0]);
    to[1] = from[1] - through_float(from[1]);
}

/// The bits of a float's value as a double, by integers alone: the nearest, ties to even. For
/// numbers whose floats are normal.
double round_by_bits(double value) {
    std::uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    constexpr std::uint64_t dropped = (std::uint64_t{1} << 29) - 1;
    const std::uint64_t odd = bits >> 29 & 1;
    bits = (bits + (dropped >> 1) + odd) & ~dropped;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

bool expect(const char* name, const double* found, const double* expected, unsigned end) {
    for (unsigned i = 0; i < end; ++i) {
        if (found[i] != expected[i]) {
            std::printf("%s: %.17g in place %u, not %.17g\n", name, found[i], i, expected[i]);
            return false;
        }
    }
    return true;
}

/// All ways of rounding, from eight numbers.
bool check(const double* values) {
    double expected[count];
    double losses[count];
    for (unsigned i = 0; i < count; ++i) {
        expected[i] = round_by_bits(values[i]);
        losses[i] = values[i] - expected[i];
    }
    bool is_right = true;
    double found[count];
    Pair pair;
    round_pair({values[0], values[1]}, pair);
    found[0] = pair.low;
    found[1] = pair.high;
    is_right &= expect("a pair", found, expected, 2);
    pair = get_rounded({values[0], values[1]});
    found[0] = pair.low;
    found[1] = pair.high;
    is_right &= expect("a returned pair", found, expected, 2);
    round_elements(values, found);
    is_right &= expect("two elements", found, expected, 2);
    round_four(values, found);
    is_right &= expect("four elements", found, expected, 4);
    round_all(values, found, count);
    is_right &= expect("all elements", found, expected, count);
    round_all(values, found, count - 1);
    is_right &= expect("an odd number of elements", found, expected, count - 1);
    get_losses(values, found);
    is_right &= expect("what two lose", found, losses, 2);
    return is_right;
}

} // namespace

int main() {
    const double fractions[][count] = {
        {0.1, 1.0 / 3.0, -0.7, 123456789.0, 1e-20, -3.3e20, 16777217.0, 5.0},
        // Ties, to even; and what just is none.
        {16777217.0, 16777219.0, -33554434.0, -33554438.0, 16777217.000000004, 0.3, 0.6, 0.9},
    };
    bool is_right = true;
    for (const auto& values : fractions)
        is_right &= check(values);
    return is_right ? 0 : 1;
}
