// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <utility>

#include <gas/host/host.h>

TEST(CoreArray, ADefaultArrayIsEmpty) {
    const CoreArray<int> array;
    EXPECT_TRUE(array.is_empty());
    EXPECT_EQ(array.get_count(), 0u);
    EXPECT_EQ(array.begin(), array.end());
}

TEST(CoreArray, ACountGivesZeroedElements) {
    const CoreArray<float> array(3u);
    EXPECT_EQ(array.get_count(), 3u);
    for (const float value : array)
        EXPECT_EQ(value, 0.0f);
    EXPECT_EQ(CoreArray<float>(0u).get_items(), nullptr);
}

TEST(CoreArray, ReadsAsCountThenPointer) {
    const CoreArray<int> array = {4, 5, 6};
    EXPECT_EQ(gas_host::get_count(array), 3u);
    EXPECT_EQ(gas_host::get_items(array), &array[0]);
    EXPECT_EQ(*reinterpret_cast<const unsigned*>(&array), 3u);
}

TEST(CoreArray, CopiesAreDeep) {
    CoreArray<std::string> array = {"a", "b"};
    const CoreArray<std::string> copy(array);
    CoreArray<std::string> assigned = {"other", "things", "here"};
    assigned = array;
    array[0] = "changed";
    EXPECT_EQ(copy[0], "a");
    EXPECT_EQ(assigned[0], "a");
    EXPECT_EQ(assigned.get_count(), 2u);

    const CoreArray<std::string>& same = assigned;
    assigned = same;
    EXPECT_EQ(assigned[1], "b");
}

TEST(CoreArray, CopiesFromAPointer) {
    const int values[4] = {1, 2, 3, 4};
    const CoreArray<int> array(values + 1, 2);
    EXPECT_EQ(array.get_count(), 2u);
    EXPECT_EQ(array[0], 2);
    EXPECT_EQ(array[1], 3);
    EXPECT_TRUE(CoreArray<int>(nullptr, 0).is_empty());
}

TEST(CoreArray, MovingTakesTheElements) {
    CoreArray<int> array = {1, 2};
    const int* items = array.get_items();
    CoreArray<int> moved(std::move(array));
    EXPECT_EQ(moved.get_items(), items);
    CoreArray<int> assigned = {9};
    assigned = std::move(moved);
    EXPECT_EQ(assigned.get_items(), items);
}

TEST(CoreArray, ResizingKeepsWhatFits) {
    CoreArray<int> array = {1, 2, 3};
    array.resize(5);
    EXPECT_EQ(array.get_count(), 5u);
    EXPECT_EQ(array[2], 3);
    EXPECT_EQ(array[3], 0);
    EXPECT_EQ(array[4], 0);
    array.resize(1);
    EXPECT_EQ(array.get_count(), 1u);
    EXPECT_EQ(array[0], 1);
    array.resize(0);
    EXPECT_TRUE(array.is_empty());
}
