// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gas/diagnostics/gas_validate_arrays.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>
#include <tests/support/working_range.h>

// Compressed trees of which one thing after the other is broken, and mended.

namespace {

using Flaws = std::vector<std::string>;

class GasValidateCompressedTree : public testing::Test {
  protected:
    GasValidateCompressedTree() {
        const std::vector<naive::Box> boxes =
            support::fit_to_range(scenes::make(scenes::Kind::random, 40, 3));
        m_boxes = support::to_boxes(boxes);
        support::build(m_tree, boxes);
        support::fill_samples(m_tree, {boxes, boxes});
        m_arrays = GasCompressedTreeArrays::of(m_tree);
        m_samples = {m_boxes.get_items(), m_boxes.get_items()};
        m_settings.bboxes = m_boxes.get_items();
        m_settings.sample_bboxes = m_samples.data();
        while (m_arrays.nodes[m_mixed].flags % 4 != GasCompressedNode::first_leaf)
            ++m_mixed;
    }

    template <typename Value, typename Other>
    void expect_told(Value& value, const Other& other, const std::string& words) {
        SCOPED_TRACE(words);
        ASSERT_EQ(gas_validate(m_tree, m_settings), Flaws());
        const Value former = value;
        value = static_cast<Value>(other);
        const Flaws flaws = gas_validate(m_tree, m_settings);
        const auto has_words = [&](const std::string& flaw) {
            return flaw.find(words) != std::string::npos;
        };
        EXPECT_TRUE(std::any_of(flaws.begin(), flaws.end(), has_words))
            << testing::PrintToString(flaws);
        value = former;
    }
    std::string at_mixed(const std::string& words) const {
        return "node " + std::to_string(m_mixed) + ": " + words;
    }

    CoreArray<GMathBbox3<float>> m_boxes;
    std::vector<const GMathBbox3<float>*> m_samples;
    GasValidateSettings m_settings;
    GasCompressedTree m_tree;
    GasCompressedTreeArrays m_arrays;
    /// A node of a leaf and an inner node.
    unsigned m_mixed = 1;
};

} // namespace

TEST_F(GasValidateCompressedTree, LinksAreTold) {
    GasCompressedNode& node = m_arrays.nodes[m_mixed];
    for (const unsigned child : {0u, m_mixed, 39u, 0xFFFFFFFFu})
        expect_told(node.children[1], child, at_mixed("its children are not nodes behind it"));
    expect_told(node.children[0], 40u,
                at_mixed("a leaf below it stands for item 40, which there is not"));
    expect_told(node.children[0], (node.children[0] + 1) % 40, ", as another leaf does");
    expect_told(node.children[0], (node.children[0] + 1) % 40,
                "no leaf that is reached stands for it");
    expect_told(m_arrays.nodes[0].children[1], m_arrays.nodes[0].children[0], "has another parent");
    // What was a node is then a leaf, and what is below it is lost.
    expect_told(node.flags, node.flags | 2u, "inner nodes that are not reached: ");
}

TEST_F(GasValidateCompressedTree, FlagsAndOrderCodesAreTold) {
    GasCompressedNode& node = m_arrays.nodes[m_mixed];
    for (unsigned bit = 5; bit < 8; ++bit)
        expect_told(node.flags, node.flags | 1u << bit, at_mixed("it has unknown flags"));
    expect_told(node.flags, node.flags | 3u << 2, at_mixed("the order code names no axis"));
    expect_told(node.flags, node.flags ^ 1u << 4,
                at_mixed("the order code is not that of its children"));
}

TEST_F(GasValidateCompressedTree, BoxesAreTold) {
    GasQuantizedPair& pair = m_arrays.nodes[m_mixed].boxes;
    for (unsigned axis = 0; axis < 3; ++axis) {
        expect_told(pair.min[axis], 255, "does not contain the item's, along ");
        expect_told(pair.max[axis], 255, "does not contain the item's, along ");
    }
    expect_told(pair.owners, pair.owners | 64u, at_mixed("its boxes have unknown owners"));
    for (unsigned sample = 0; sample < 2; ++sample) {
        const std::string place = "sample " + std::to_string(sample) + ": ";
        unsigned char* const record = m_arrays.samples[sample] + m_mixed * sizeof pair;
        expect_told(record[3], 255, place + at_mixed("its boxes have unknown owners"));
        expect_told(record[0], 255, place + "node ");
    }
    m_boxes[7].max.x += 1000.0f;
    const Flaws flaws = gas_validate(m_tree, m_settings);
    ASSERT_FALSE(flaws.empty());
    EXPECT_EQ(flaws.front(), "the tree's box is not the union of those of its items");
}

TEST_F(GasValidateCompressedTree, WhatATreeSaysOfItselfIsTold) {
    const auto validate = [&](const GasCompressedTreeArrays& arrays) {
        GasFlawList flaws(20);
        gas_validate(arrays, m_settings, flaws);
        return flaws.take();
    };
    EXPECT_EQ(validate(m_arrays), Flaws());
    GasCompressedTreeArrays other = m_arrays;
    other.depth += 2;
    EXPECT_EQ(validate(other), Flaws{"the tree says another depth than it has, which is " +
                                     std::to_string(m_arrays.depth)});
    other = m_arrays;
    other.are_boxes_ordered = false;
    EXPECT_EQ(validate(other), Flaws{"the boxes are ordered, and the tree says they are not"});
}

TEST_F(GasValidateCompressedTree, ALoneLeafIsTold) {
    support::build(m_tree, support::row_of_boxes(1));
    m_tree.set_motion_blur_sample_count(0);
    m_boxes = support::to_boxes(support::row_of_boxes(1));
    m_settings.bboxes = m_boxes.get_items();
    m_arrays = GasCompressedTreeArrays::of(m_tree);
    const std::string words = "node 0: it is not a leaf for item 0, as that of one item is";
    expect_told(m_arrays.nodes[0].children[1], 1u, words);
    expect_told(m_arrays.nodes[0].flags, 1u, words);
    expect_told(m_boxes[0].max.z, 2.0f, "the tree's box is not that of its item 0");
}
