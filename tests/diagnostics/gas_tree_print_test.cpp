// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/row_of_boxes.h>

namespace {

using Messages = std::vector<std::string>;

/// The messages that printing writes, each with its line ends.
Messages print(const GasTree& tree) {
    Messages messages;
    core_main_log_handler().set_sink([&](const std::string& text) { messages.push_back(text); });
    tree.print();
    core_main_log_handler().set_sink({});
    return messages;
}

std::string format(float number) {
    CoreLogStream stream;
    stream << number;
    return stream.get_text();
}

std::string format_kilobytes(std::size_t bytes) {
    return format(static_cast<float>(bytes) * 0.0009765625f) + "KB\n";
}

/// A tree that claims to hold more than it does.
class LargeTree : public GasTree {
  public:
    std::size_t get_memory_size() const override { return 3u << 20 | 512; }
};

} // namespace

TEST(GasTreePrint, AnEmptyTreeSaysSo) {
    GasTree tree;
    EXPECT_EQ(print(tree), Messages{"---- empty\n"});
    support::build(tree, support::row_of_boxes(2));
    tree.clear();
    EXPECT_EQ(print(tree), Messages{"---- empty\n"});
}

TEST(GasTreePrint, OneNodeTakesLessThanAKilobyte) {
    static_assert(sizeof(GasTree) < 992);
    GasTree tree;
    support::build(tree, {{{-1.5f, 0.25f, 1e20f}, {2.0f, 0.5f, 1e30f}}});
    EXPECT_EQ(print(tree),
              (Messages{"---- bbox\n", "-------- min ", "(-1.5, 0.25, 1e+20)\n", "-------- max ",
                        "(2, 0.5, 1e+30)\n", "---- nodes 1\n", "---- tree depth 1\n",
                        "---- memory usage ", "0KB\n", "---- total memory usage ",
                        format_kilobytes(sizeof(GasTree) + 32)}));
}

TEST(GasTreePrint, SeveralNodesInWholeKilobytesAndTheTotalInFull) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(100), naive::Split::median);
    ASSERT_EQ(tree.get_depth(), 8u);
    const std::size_t size = sizeof(GasTree) + 199 * 32;
    Messages expected = {"---- bbox\n",
                         "-------- min ",
                         "(0, 0, 0)\n",
                         "-------- max ",
                         "(991, 1, 1)\n",
                         "---- nodes 199\n",
                         "---- tree depth 8\n",
                         "---- memory usage ",
                         std::to_string(size / 1024) + "KB\n",
                         "---- total memory usage ",
                         format_kilobytes(size)};
    EXPECT_EQ(print(tree), expected);

    // An index array shows in the total alone.
    std::vector<unsigned> indices(100, 7);
    support::build(tree, support::row_of_boxes(100), naive::Split::median, indices);
    expected.back() = format_kilobytes(size + 100 * 8);
    EXPECT_EQ(print(tree), expected);

    // Motion-blur samples do not show at all.
    support::fill_samples(tree, {support::row_of_boxes(100), support::row_of_boxes(100)});
    EXPECT_EQ(print(tree), expected);
}

TEST(GasTreePrint, TheTotalIsWhatTheTreeAnswers) {
    LargeTree tree;
    support::build(tree, support::row_of_boxes(3));
    EXPECT_EQ(print(tree).back(), "3072.5KB\n");
}

TEST(GasTreePrint, EveryMessageStandsAlone) {
    GasTree tree;
    support::build(tree, support::row_of_boxes(3));
    EXPECT_EQ(print(tree).size(), 11u);
    EXPECT_EQ(print(tree), print(tree));
}
