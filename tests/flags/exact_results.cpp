// SPDX-License-Identifier: Apache-2.0
// A user's program that is compiled with flags of its own: other optimisation, this machine's
// instructions, products fused with sums. Trees that the library builds, boxes that public headers
// decode and expressions in lanes have to be the same bits all the same.

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/packet/gas_tree_simd_node.h>
#include <gas/tree/gas_tree.h>

// Where a function can have instructions that its file has not.
#if defined(GAS_HAS_FMA_TARGET)
#define GAS_TEST_TARGET __attribute__((target("fma")))
#define GAS_INLINE_TEST __attribute__((always_inline)) inline
#else
#define GAS_INLINE_TEST
#endif

namespace {

/// A 64-bit FNV-1a hash over little-endian numbers.
class Hash {
  public:
    void add_byte(unsigned char byte) {
        m_value ^= byte;
        m_value *= 0x100000001b3u;
    }
    void add(unsigned word) { add_number(word); }
    void add(float value) { add_number(get_bits<std::uint32_t>(value)); }
    void add(double value) { add_number(get_bits<std::uint64_t>(value)); }
    void add(const float* values, unsigned count) {
        for (unsigned i = 0; i < count; ++i)
            add(values[i]);
    }
    void add(const SimdF& lanes) {
        alignas(16) float values[4];
        lanes.store(values);
        add(values, 4);
    }
    std::uint64_t get() const { return m_value; }

  private:
    template <typename Bits, typename Value> static Bits get_bits(Value value) {
        static_assert(sizeof(Bits) == sizeof(Value), "all bits and no others");
        Bits bits;
        std::memcpy(&bits, &value, sizeof bits);
        return bits;
    }
    template <typename Number> void add_number(Number number) {
        for (unsigned shift = 0; shift < 8 * sizeof number; shift += 8)
            add_byte(static_cast<unsigned char>(number >> shift & 0xff));
    }

    std::uint64_t m_value = 0xcbf29ce484222325u;
};

/// The same numbers on every machine; fractions come from divisions, which nothing fuses with.
class Numbers {
  public:
    unsigned take(unsigned end) {
        m_state = m_state * 1664525u + 1013904223u;
        return (m_state >> 8) % end;
    }
    float take_coordinate() {
        return static_cast<float>(static_cast<int>(take(8192)) - 4096) / 97.0f;
    }
    SimdF take_point() {
        const float x = take_coordinate();
        const float y = take_coordinate();
        return SimdF(x, y, take_coordinate(), 0.0f);
    }

  private:
    std::uint32_t m_state = 20;
};

CoreVector<GMathBbox3<float>> make_boxes() {
    Numbers numbers;
    CoreVector<GMathBbox3<float>> boxes;
    for (unsigned i = 0; i < 2000; ++i) {
        GMathBbox3<float> box;
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = numbers.take_coordinate();
            box.max[axis] = box.min[axis] + static_cast<float>(numbers.take(300)) / 97.0f;
        }
        boxes.add(box);
    }
    return boxes;
}

std::uint64_t hash_tree(const CoreVector<GMathBbox3<float>>& boxes) {
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);
    Hash hash;
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasTree::Node& node = tree.get_nodes()[i];
        hash.add(&node.bbox_min.x, 3);
        hash.add(node.index);
        hash.add(&node.bbox_max.x, 3);
        hash.add(node.flags & 15);
    }
    return hash.get();
}

std::uint64_t hash_compressed_tree(const GasCompressedTree& tree) {
    Hash hash;
    for (unsigned i = 0; i < tree.get_node_count(); ++i) {
        const GasCompressedNode& node = tree.get_nodes()[i];
        for (unsigned byte = 0; byte < 8; ++byte)
            hash.add_byte(node.get_bytes()[byte]);
        hash.add(node.children[0]);
        hash.add(node.children[1]);
    }
    return hash.get();
}

/// Over all boxes of a tree, as the traversal interface gives them.
std::uint64_t hash_decoded_boxes(const GasCompressedTree& tree) {
    GasTreeCtx ctx;
    ctx.reserve_stack(2 * std::size_t{tree.get_depth()});
    tree.init_traversal(ctx);
    Hash hash;
    std::vector<unsigned> slots = {0};
    while (!slots.empty()) {
        const unsigned slot = slots.back();
        slots.pop_back();
        GasBbox box;
        tree.get_node_bbox(ctx, slot, box);
        hash.add(box.min, 4);
        hash.add(box.max, 4);
        if (!tree.is_node_a_leaf(ctx, slot)) {
            unsigned children[2];
            tree.get_node_children(ctx, slot, children[0], children[1]);
            slots.insert(slots.end(), children, children + 2);
        }
        tree.free_node(ctx, slot);
    }
    tree.deinit_traversal(ctx);
    return hash.get();
}

/// Over pairs of boxes of any bytes.
std::uint64_t hash_decoded_pairs() {
    Numbers numbers;
    Hash hash;
    for (int pair = 0; pair < 5000; ++pair) {
        unsigned char bytes[8];
        for (unsigned char& byte : bytes)
            byte = static_cast<unsigned char>(numbers.take(256));
        const SimdF min = numbers.take_point();
        const SimdF max = SimdF::max(min, numbers.take_point());
        GasBoxPair boxes;
        gas_decode_box_pair(bytes, min, max, boxes);
        hash.add(boxes.first.min);
        hash.add(boxes.first.max);
        hash.add(boxes.second.min);
        hash.add(boxes.second.max);
    }
    return hash.get();
}

GAS_INLINE_TEST std::uint64_t hash_lanes() {
    Numbers numbers;
    Hash hash;
    for (int i = 0; i < 5000; ++i) {
        const SimdF a = numbers.take_point();
        const SimdF b = numbers.take_point();
        const SimdF c = numbers.take_point();
        hash.add(a + gas_rounded(b * c));
        hash.add(gas_rounded(a * b) - c);
        hash.add(a - gas_rounded(b * c * a));

        const GasLaneBox box = {SimdF::min(a, b), SimdF::max(a, b)};
        hash.add(box.get_center());
        hash.add(box.get_extent());
        hash.add(gas_find_finite_lanes(a, b));

        GasTreeSimdNode node;
        node.init(box.min, box.max);
        const SimdF near(0.0f);
        const SimdF far(100.0f);
        const GasSimdRays packet = {c, a, b, a, b, c, near, far};
        SimdF entry;
        SimdF exit;
        hash.add(static_cast<unsigned>(node.intersect_rays(&packet, 0, entry, exit)));
        hash.add(entry);
        hash.add(exit);
    }
    return hash.get();
}

GAS_INLINE_TEST std::uint64_t hash_points() {
    Numbers numbers;
    Hash hash;
    for (int i = 0; i < 5000; ++i) {
        double values[7];
        for (double& value : values)
            value = static_cast<double>(numbers.take_coordinate()) / 3.0;
        const GMathBasicRay ray({values[0], values[1], values[2]},
                                {values[3], values[4], values[5]});
        const GMathVec3<double> point = ray.get_point(values[6]);
        hash.add(point.x);
        hash.add(point.y);
        hash.add(point.z);
        hash.add(SimdF::narrow(point.x, point.y, point.z));
    }
    return hash.get();
}

#if defined(GAS_TEST_TARGET)
/// In functions that may fuse, whatever the rest of the file may.
GAS_TEST_TARGET std::uint64_t hash_lanes_in_target() { return hash_lanes(); }
GAS_TEST_TARGET std::uint64_t hash_points_in_target() { return hash_points(); }
#endif

/// Whether a hash is what it is everywhere; prints it if not.
bool check(const char* name, std::uint64_t found, std::uint64_t expected) {
    if (found != expected)
        std::printf("%s: %#018" PRIx64 ", not %#018" PRIx64 "\n", name, found, expected);
    return found == expected;
}

} // namespace

int main() {
    const CoreVector<GMathBbox3<float>> boxes = make_boxes();
    GasCompressedTree compressed;
    compressed.create(boxes, nullptr, nullptr);
    bool is_exact = check("tree", hash_tree(boxes), 0xfecfe635097451fb);
    is_exact &= check("compressed tree", hash_compressed_tree(compressed), 0x1c28350793635381);
    is_exact &= check("decoded boxes", hash_decoded_boxes(compressed), 0x45a946dc74cacda1);
    is_exact &= check("decoded pairs", hash_decoded_pairs(), 0xe2e16df8617a3436);
    is_exact &= check("lanes", hash_lanes(), 0x99825cf73af403d4);
    is_exact &= check("points", hash_points(), 0xf97bfa98c83c8526);
#if defined(GAS_TEST_TARGET)
    if (__builtin_cpu_supports("fma")) {
        is_exact &= check("lanes in a target", hash_lanes_in_target(), 0x99825cf73af403d4);
        is_exact &= check("points in a target", hash_points_in_target(), 0xf97bfa98c83c8526);
    }
#endif
    return is_exact ? 0 : 1;
}
