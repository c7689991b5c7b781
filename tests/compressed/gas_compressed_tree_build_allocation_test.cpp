// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/compressed/gas_compressed_tree.h>

#include <tests/support/allocation_counter.h>
#include <tests/support/box_conversion.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>

namespace {

using naive::Box;
using scenes::Kind;
using support::to_boxes;

/// The most bytes per item that `build(tree)` takes beside the finished tree.
template <typename Build> double get_peak_per_item(unsigned item_count, const Build& build) {
    GasCompressedTree tree;
    const std::int64_t before = support::get_live_bytes();
    support::restart_peak();
    build(tree);
    const std::int64_t tree_size = support::get_live_bytes() - before;
    const std::int64_t peak = support::get_peak_bytes() - before;
    EXPECT_GE(tree_size, std::int64_t{16} * (item_count - 1));
    EXPECT_GT(peak, tree_size);
    return static_cast<double>(peak - tree_size) / item_count;
}

} // namespace

TEST(CompressedTreeAllocations, ABuildTakesThirtySixBytesPerItemBesideTheTree) {
    constexpr unsigned count = support::scale(100000, 50000);
    // The lists of a parallel build do not grow with the items.
    constexpr double most = 36.0 + 65536.0 / count;
    for (const Kind kind : {Kind::random, Kind::clustered, Kind::geometric_chain}) {
        const std::vector<Box> scene = scenes::make(kind, count, 4);
        const CoreArray<GMathBbox3<float>> boxes = to_boxes(scene);
        CoreArray<GMathBbox3<double>> wide_boxes(count);
        for (unsigned i = 0; i < count; ++i) {
            const auto widen = [](const float* corner) -> GMathVec3<double> {
                return {static_cast<double>(corner[0]), static_cast<double>(corner[1]),
                        static_cast<double>(corner[2])};
            };
            wide_boxes[i] = {widen(scene[i].min), widen(scene[i].max)};
        }
        const std::vector<unsigned> indices(count, 1);
        EXPECT_LE(
            get_peak_per_item(
                count, [&](GasCompressedTree& tree) { tree.create(boxes, nullptr, nullptr); }),
            most);
        EXPECT_LE(get_peak_per_item(count,
                                    [&](GasCompressedTree& tree) {
                                        tree.create(boxes, indices.data(), nullptr);
                                    }),
                  most);
        EXPECT_LE(
            get_peak_per_item(
                count, [&](GasCompressedTree& tree) { tree.create(wide_boxes, nullptr, nullptr); }),
            most);
        SysThreadTaskManager manager(nullptr);
        EXPECT_LE(get_peak_per_item(count,
                                    [&](GasCompressedTree& tree) {
                                        tree.create(boxes, nullptr, nullptr, manager, 3);
                                    }),
                  most);
    }
}
