// SPDX-License-Identifier: Apache-2.0
#include <cstring>

#include <gas/build/gas_parallel_build.h>
#include <gas/compressed/gas_inner_numbering.h>

#include <fuzz/fuzz_trees.h>

// GasCompressedTree over any boxes: builds, samples, queries and streams with callbacks that
// accept, reject, shorten, lengthen, nest and stop.

namespace fuzz {

namespace {

/// How far a decoded box falls short of the exact one.
double get_miss(const Box& decoded, const Box& exact) {
    double miss = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        miss = std::max(
            {miss, static_cast<double>(decoded.min[axis]) - static_cast<double>(exact.min[axis]),
             static_cast<double>(exact.max[axis]) - static_cast<double>(decoded.max[axis])});
    }
    return miss;
}

} // namespace

/// Within the working range decoded boxes contain what they stand for; beyond it they fall short by
/// the rounding of encoder and decoder at most.
void expect_flawless(const GasCompressedTree& tree, const Boxes& boxes) {
    constexpr double working_range = 82.0;
    if (boxes.size() < 2 || !are_finite(boxes) || !are_ordered(boxes))
        return;
    const double measure = get_measure(boxes);
    if (measure < working_range)
        return expect_none(support::find_flaw(tree, boxes), "a tree in the working range");
    if (measure > 1e37)
        return;
    const support::CompressedBoxes found = support::get_boxes(tree, boxes);
    const double rounding = measure * 0x1p-21;
    for (std::size_t item = 0; item < boxes.size(); ++item)
        expect(get_miss(found.decoded_leaves[item], boxes[item]) <= rounding,
               "a decoded box falls short by rounding alone");
}

} // namespace fuzz

namespace {

using fuzz::expect;

/// Parts of a few items are divided by all threads, too.
void check_small_parts(FuzzInput& input) {
    const fuzz::Scene scene = fuzz::take_scene(input);
    const unsigned thread_count = 1 + input.take_below(5);
    const unsigned part_size = 1 + input.take_below(24);
    const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(scene.boxes);
    const unsigned count = boxes.get_count();
    if (count < 2)
        return;
    SysThreadTaskManager manager(&fuzz::Threads::get());
    GasParallelBuild build(manager, thread_count, part_size);
    std::vector<GasCompressedNode> nodes[2];
    unsigned depths[2] = {1, 1};
    GasBoxFacts facts[2] = {};
    for (unsigned way = 0; way < 2; ++way) {
        std::vector<GasRecord> records(count);
        std::vector<unsigned> numbers(count);
        nodes[way].resize(count - 1);
        facts[way] = gas_build_from_records<GasInnerNumbering>(
            nodes[way].data(), boxes.get_items(), count, fuzz::get_method(scene.split),
            records.data(), numbers.data(), nullptr, way == 0 ? nullptr : &build, depths[way]);
    }
    expect(facts[0].is_comparable == facts[1].is_comparable &&
               facts[0].is_ordered == facts[1].is_ordered,
           "threads find the same facts about boxes");
    if (!facts[0].is_comparable)
        return;
    expect(depths[0] == depths[1], "threads reach the same depth");
    expect(std::memcmp(nodes[0].data(), nodes[1].data(),
                       nodes[0].size() * sizeof(GasCompressedNode)) == 0,
           "threads make the same nodes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    fuzz::take_instruction_set(input);
    if (!fuzz::check_tree<GasCompressedTree>(input))
        check_small_parts(input);
    return 0;
}
