// SPDX-License-Identifier: Apache-2.0
#include <cstring>
#include <memory>

#include <gas/build/gas_parallel_build.h>
#include <gas/tree/wide/gas_wide_nodes.h>

#include <fuzz/fuzz_trees.h>

// GasTree over any boxes: builds, refits, samples, wide nodes, queries and streams with callbacks
// that accept, reject, shorten, lengthen, nest and stop.

namespace fuzz {

void expect_flawless(const GasTree& tree, const Boxes& boxes) {
    expect_none(support::find_flaw(tree, boxes), "a tree");
    if (support::get_wide_nodes(tree))
        expect_none(support::find_wide_flaw(tree), "wide nodes");
}

} // namespace fuzz

namespace {

using fuzz::expect;

/// The nodes of a tree, by one thread or several, and what is known of its boxes.
struct Nodes {
    explicit Nodes(unsigned item_count) : nodes(2 * item_count - 1) {}

    void build(const CoreArray<GMathBbox3<float>>& boxes, GasBuildMethod method,
               GasParallelBuild* parallel) {
        const unsigned count = boxes.get_count();
        std::vector<GasRecord> records(count);
        std::vector<unsigned> numbers(count);
        facts = gas_build_from_records<GasPairNumbering>(nodes.data(), boxes.get_items(), count,
                                                         method, records.data(), numbers.data(),
                                                         nullptr, parallel, depth);
    }

    std::vector<GasTreeNode> nodes;
    unsigned depth = 1;
    GasBoxFacts facts = {};
};

/// Parts of a few items are divided by all threads, too.
void check_small_parts(FuzzInput& input) {
    const fuzz::Scene scene = fuzz::take_scene(input);
    const unsigned thread_count = 1 + input.take_below(5);
    const unsigned part_size = 1 + input.take_below(24);
    const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(scene.boxes);
    const GasBuildMethod method = fuzz::get_method(scene.split);
    Nodes serial(boxes.get_count());
    serial.build(boxes, method, nullptr);
    SysThreadTaskManager manager(&fuzz::Threads::get());
    GasParallelBuild build(manager, thread_count, part_size);
    Nodes parallel(boxes.get_count());
    parallel.build(boxes, method, &build);
    expect(parallel.facts.is_comparable == serial.facts.is_comparable &&
               parallel.facts.is_ordered == serial.facts.is_ordered,
           "threads find the same facts about boxes");
    if (!serial.facts.is_comparable)
        return;
    expect(parallel.depth == serial.depth, "threads reach the same depth");
    const std::size_t size = serial.nodes.size() * sizeof(GasTreeNode);
    expect(std::memcmp(parallel.nodes.data(), serial.nodes.data(), size) == 0,
           "threads make the same nodes");
    if (scene.boxes.size() < 2)
        return;
    const auto node_count = static_cast<unsigned>(serial.nodes.size());
    const GasWideNodes wide(serial.nodes.data(), node_count, nullptr);
    const GasWideNodes parallel_wide(serial.nodes.data(), node_count, &build);
    expect(parallel_wide.get_count() == wide.get_count() &&
               parallel_wide.are_boxes_ordered() == wide.are_boxes_ordered() &&
               std::memcmp(parallel_wide.get_nodes(), wide.get_nodes(),
                           wide.get_count() * sizeof(GasWideNode)) == 0,
           "threads make the same wide nodes");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    fuzz::take_instruction_set(input);
    if (!fuzz::check_tree<GasTree>(input))
        check_small_parts(input);
    return 0;
}
