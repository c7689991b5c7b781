// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gas/diagnostics/gas_validate_arrays.h>

#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>

// Trees of which one thing after the other is broken, and mended: each is told, in its words.

namespace {

using support::to_boxes;
using Flaws = std::vector<std::string>;

/// A tree with all that there is, and its arrays, which may be written to.
class GasValidateTree : public testing::Test {
  protected:
    GasValidateTree() {
        m_tree.set_wide_nodes(true);
        support::build(m_tree, m_boxes);
        support::fill_samples(m_tree, {m_boxes, scenes::make(scenes::Kind::random, 40, 4)});
        m_arrays = GasTreeArrays::of(m_tree);
        // A leaf beside an inner node, and that inner node.
        m_leaf = find([&](unsigned i) { return i % 2 && is_leaf(i) && !is_leaf(i + 1); });
        m_inner = m_leaf + 1;
    }

    bool is_leaf(unsigned node) const { return (m_arrays.nodes[node].flags & 1) != 0; }
    unsigned find(const std::function<bool(unsigned)>& is_it) const {
        unsigned node = 1;
        while (!is_it(node))
            ++node;
        return node;
    }

    /// Gives something another value for as long as it takes, and expects these words among what is
    /// told, of which `count` sentences are expected at most.
    template <typename Value, typename Other>
    void expect_told(Value& value, const Other& other, const std::string& words,
                     unsigned count = 4) {
        SCOPED_TRACE(words);
        ASSERT_EQ(gas_validate(m_tree), Flaws());
        const Value former = value;
        value = static_cast<Value>(other);
        const Flaws flaws = gas_validate(m_tree);
        expect_among(flaws, words);
        EXPECT_LE(flaws.size(), count) << testing::PrintToString(flaws);
        value = former;
    }
    static void expect_among(const Flaws& flaws, const std::string& words) {
        const auto has_words = [&](const std::string& flaw) {
            return flaw.find(words) != std::string::npos;
        };
        EXPECT_TRUE(std::any_of(flaws.begin(), flaws.end(), has_words))
            << testing::PrintToString(flaws);
    }
    static std::string at(unsigned node, const std::string& words) {
        return "node " + std::to_string(node) + ": " + words;
    }

    std::vector<naive::Box> m_boxes = scenes::make(scenes::Kind::random, 40, 3);
    GasTree m_tree;
    GasTreeArrays m_arrays;
    unsigned m_leaf = 1;
    unsigned m_inner = 0;
};

} // namespace

TEST_F(GasValidateTree, LinksThatLeadNowhereAreTold) {
    GasTreeNode& inner = m_arrays.nodes[m_inner];
    const std::string words = at(m_inner, "its children are not nodes behind it");
    for (const unsigned index : {0u, m_leaf, m_inner, m_inner + 2, 78u, 79u, 80u, 0xFFFFFFFFu})
        expect_told(inner.index, index, words, 21);
    expect_told(inner.index, 0u, "inner nodes that are not reached: ", 21);
}

TEST_F(GasValidateTree, NodesWithTwoParentsAreTold) {
    const unsigned first =
        find([&](unsigned i) { return i % 2 && !is_leaf(i) && !is_leaf(i + 1); });
    expect_told(m_arrays.nodes[first].index, m_arrays.nodes[first + 1].index, "has another parent",
                21);
    expect_told(m_arrays.nodes[first].index, m_arrays.nodes[first + 1].index,
                "no leaf that is reached stands for it", 21);
}

TEST_F(GasValidateTree, LeavesOfNoItemOrAnothersAreTold) {
    GasTreeNode& leaf = m_arrays.nodes[m_leaf];
    const unsigned parent =
        find([&](unsigned i) { return !is_leaf(i) && m_arrays.nodes[i].index == m_leaf; });
    const std::string unreached =
        "item " + std::to_string(leaf.index) + ": no leaf that is reached stands for it";
    for (const unsigned item : {40u, 0xFFFFFFFFu}) {
        expect_told(leaf.index, item,
                    at(parent, "a leaf below it stands for item " + std::to_string(item) +
                                   ", which there is not"));
        expect_told(leaf.index, item, unreached);
    }
    const unsigned other = (leaf.index + 1) % 40;
    expect_told(leaf.index, other, unreached);
}

TEST_F(GasValidateTree, FlagsAndOrderCodesAreTold) {
    GasTreeNode& inner = m_arrays.nodes[m_inner];
    expect_told(inner.flags, inner.flags | 16u, at(m_inner, "it has unknown flags"));
    expect_told(inner.flags, 6u, at(m_inner, "the order code names no axis"));
    for (const unsigned code : {0u, 1u, 2u, 4u, 5u, 6u})
        if (code << 1 != inner.flags)
            expect_told(inner.flags, code << 1,
                        at(m_inner, "the order code is not that of its children"));
    const unsigned parent =
        find([&](unsigned i) { return !is_leaf(i) && m_arrays.nodes[i].index == m_leaf; });
    expect_told(m_arrays.nodes[m_leaf].flags, 3u, at(parent, "a leaf below it has unknown flags"));
}

TEST_F(GasValidateTree, BoxesAreTold) {
    GasTreeNode& inner = m_arrays.nodes[m_inner];
    const std::string children =
        std::to_string(inner.index) + " and " + std::to_string(inner.index + 1);
    const std::string words =
        at(m_inner, "the box is not the union of those of its children, the nodes " + children);
    for (unsigned axis = 0; axis < 3; ++axis) {
        for (const float far : {-1000.0f, 1000.0f, std::numeric_limits<float>::quiet_NaN()}) {
            expect_told(inner.bbox_min[axis], far, words, 6);
            expect_told(inner.bbox_max[axis], far, words, 6);
        }
    }
    // Of a leaf its parent's no longer is the union, and wide nodes differ.
    EXPECT_EQ(gas_validate(m_tree), Flaws());
    GasValidateSettings settings;
    const CoreArray<GMathBbox3<float>> boxes = to_boxes(m_boxes);
    settings.bboxes = boxes.get_items();
    EXPECT_EQ(gas_validate(m_tree, settings), Flaws());
    GasTreeNode& leaf = m_arrays.nodes[m_leaf];
    leaf.bbox_max.y = 2.0f * leaf.bbox_max.y + 1.0f;
    const Flaws flaws = gas_validate(m_tree, settings);
    expect_among(flaws,
                 at(m_leaf, "the box is not that of its item " + std::to_string(leaf.index)));
}

TEST_F(GasValidateTree, WhatATreeSaysOfItsBoxesIsTold) {
    GasTreeNode& leaf = m_arrays.nodes[m_leaf];
    expect_told(leaf.bbox_min.x, 1000.0f, "not all boxes are ordered, as the tree says they are",
                20);
    expect_told(leaf.bbox_min.x, 1000.0f,
                "wide nodes: not all boxes are ordered, as the tree says they are", 20);
    GMathBbox3<float>& moving = m_arrays.samples[1][m_leaf];
    expect_told(moving.min.z, 1000.0f,
                "sample 1: not all boxes are ordered, as the tree says they are", 20);
}

TEST_F(GasValidateTree, SamplesAreTold) {
    const GasTreeNode& inner = m_arrays.nodes[m_inner];
    const std::string words =
        at(m_inner, "the box is not the union of those of its children, the nodes " +
                        std::to_string(inner.index) + " and " + std::to_string(inner.index + 1));
    for (unsigned sample = 0; sample < 2; ++sample) {
        GMathBbox3<float>& box = m_arrays.samples[sample][m_inner];
        expect_told(box.min.y, -1000.0f, "sample " + std::to_string(sample) + ": " + words, 6);
    }
}

TEST_F(GasValidateTree, WideNodesAreTold) {
    ASSERT_GE(m_arrays.wide_count, 3u);
    GasWideNode& wide = m_arrays.wide_nodes[1];
    const std::string links = "wide node 1: it does not stand for nodes of the tree";
    expect_told(wide.binary_node, 0u, links, 20);
    expect_told(wide.binary_node, 79u, links, 20);
    expect_told(wide.first_child, wide.first_child + 2, links, 20);
    for (unsigned lane = 0; lane < 4; ++lane) {
        expect_told(wide.references[lane], 0u, links, 20);
        expect_told(wide.references[lane], m_arrays.wide_count, links, 20);
        expect_told(wide.references[lane], 0x80000028u, links, 20);
    }
    for (unsigned& node : wide.lane_nodes)
        expect_told(node, node + 1, links, 20);
    for (unsigned plane = 0; plane < 6; ++plane)
        expect_told(wide.planes[plane][0], 7.5f, "wide node 1: a box is not that of its node");
    const GasWideSampleRecords& records = m_arrays.wide_samples;
    const std::string moved = "samples of wide node 1: a box is not that of its node";
    for (unsigned sample = 0; sample < 2; ++sample) {
        expect_told(records.get_planes(1, sample)[3][0], 7.5f, moved);
        expect_told(records.get_half_planes(1, sample)[2][1], 7.5f, moved);
    }
    expect_told(records.get_references(1)[2], 12345u,
                "samples of wide node 1: it does not stand for nodes of the tree");
}

TEST_F(GasValidateTree, ALoneLeafIsTold) {
    support::build(m_tree, support::row_of_boxes(1));
    m_arrays = GasTreeArrays::of(m_tree);
    const std::string words = "node 0: it is not a leaf for item 0, as that of one item is";
    expect_told(m_arrays.nodes[0].index, 1u, words);
    expect_told(m_arrays.nodes[0].flags, 0u, words);
}

TEST_F(GasValidateTree, TheDepthAndNodesOutOfReachAreTold) {
    // Of arrays that are no tree, which say it themselves.
    GasTreeArrays arrays = m_arrays;
    --arrays.depth;
    GasFlawList depth(20);
    gas_validate(arrays, {}, depth);
    EXPECT_EQ(depth.take(), Flaws{"the tree says another depth than it has, which is " +
                                  std::to_string(m_arrays.depth)});
}

TEST_F(GasValidateTree, TheSentencesAreLimited) {
    for (unsigned i = 0; i < 79; ++i)
        m_arrays.nodes[i].bbox_max.x += static_cast<float>(i);
    GasValidateSettings settings;
    settings.max_count = 3;
    const Flaws flaws = gas_validate(m_tree, settings);
    ASSERT_EQ(flaws.size(), 4u);
    EXPECT_NE(flaws[3].find(" more are not listed"), std::string::npos);
}
