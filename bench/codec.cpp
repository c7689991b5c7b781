// SPDX-License-Identifier: Apache-2.0
/// How many pairs of boxes a second are encoded, and decoded?

#include <benchmark/benchmark.h>

#include <gas/compressed/gas_box_codec.h>

#include <bench/bench_workload.h>
#include <tests/support/seeded_random.h>

namespace gas_bench {

namespace {

/// Few enough to stay in the first-level cache.
constexpr unsigned pair_count = 1024;

struct Pair {
    GMathBbox3<float> parent;
    GMathBbox3<float> children[2];
};

/// A box and two children, which share with it every bound that is not stored.
Pair make_pair(support::SeededRandom& random) {
    Pair pair;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float low = random.between(0.0f, 50.0f);
        const float extent = random.between(0.5f, 50.0f);
        const unsigned low_child = random.below(2);
        const unsigned high_child = random.below(2);
        pair.parent.min[axis] = low;
        pair.parent.max[axis] = low + extent;
        pair.children[low_child].min[axis] = low;
        pair.children[1 - low_child].min[axis] = low + random.between(0.0f, 0.5f) * extent;
        pair.children[high_child].max[axis] = pair.parent.max[axis];
        pair.children[1 - high_child].max[axis] = low + random.between(0.5f, 1.0f) * extent;
    }
    return pair;
}

std::vector<Pair> make_pairs() {
    support::SeededRandom random(14);
    std::vector<Pair> pairs(pair_count);
    for (Pair& pair : pairs)
        pair = make_pair(random);
    return pairs;
}

struct LaneBox {
    SimdF min;
    SimdF max;

    explicit LaneBox(const GMathBbox3<float>& box)
        : min(box.min.x, box.min.y, box.min.z, 0.0f), max(box.max.x, box.max.y, box.max.z, 0.0f) {}
};

/// The pairs in bytes and their parents, as input of a decoder.
struct EncodedPairs {
    std::vector<GasCompressedNode> nodes;
    std::vector<LaneBox> parents;

    EncodedPairs() {
        for (const Pair& pair : make_pairs()) {
            GasCompressedNode node = {};
            node.boxes = gas_encode_box_pair(pair.parent, pair.children[0], pair.children[1]);
            nodes.push_back(node);
            parents.emplace_back(pair.parent);
        }
    }
};

void set_rate(benchmark::State& state) {
    state.counters["pairs/s"] =
        benchmark::Counter(pair_count, benchmark::Counter::kIsIterationInvariantRate);
}

void run_encode(benchmark::State& state) {
    const std::vector<Pair> pairs = make_pairs();
    for (auto _ : state) {
        for (const Pair& pair : pairs) {
            GasQuantizedPair quantized =
                gas_encode_box_pair(pair.parent, pair.children[0], pair.children[1]);
            benchmark::DoNotOptimize(quantized);
        }
    }
    set_rate(state);
}

/// Independent pairs.
void run_decode(benchmark::State& state) {
    const EncodedPairs pairs;
    for (auto _ : state) {
        for (unsigned i = 0; i < pair_count; ++i) {
            GasBoxPair boxes;
            gas_decode_box_pair(pairs.nodes[i].get_bytes(), pairs.parents[i].min,
                                pairs.parents[i].max, boxes);
            benchmark::DoNotOptimize(boxes);
        }
    }
    set_rate(state);
}

/// Down a chain of first children, as in a walk: each pair depends on the box before.
void run_decode_chain(benchmark::State& state) {
    constexpr unsigned depth = 16;
    const EncodedPairs pairs;
    for (auto _ : state) {
        GasBoxPair boxes;
        for (unsigned i = 0; i < pair_count; ++i) {
            if (i % depth == 0) {
                boxes.first.min = pairs.parents[i].min;
                boxes.first.max = pairs.parents[i].max;
            }
            const SimdF min = boxes.first.min;
            const SimdF max = boxes.first.max;
            gas_decode_box_pair(pairs.nodes[i].get_bytes(), min, max, boxes);
        }
        benchmark::DoNotOptimize(boxes);
    }
    set_rate(state);
}

void add_codec(const char* kind, void (*run)(benchmark::State&)) {
    const std::string name = std::string("codec/") + kind + "/random/" +
                             std::to_string(pair_count) + "/" + TreeKind<GasCompressedTree>::name;
    benchmark::RegisterBenchmark(name.c_str(), run)
        ->Unit(benchmark::kMicrosecond)
        ->MeasureProcessCPUTime();
}

} // namespace

void register_codec() {
    add_codec("encode", run_encode);
    add_codec("decode", run_decode);
    add_codec("decode_chain", run_decode_chain);
}

} // namespace gas_bench
