// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include <gas/host/host.h>

TEST(CoreVector, CapacityDoublesFromOne) {
    CoreVector<int> vector;
    EXPECT_EQ(vector.get_capacity(), 0u);
    std::vector<unsigned> capacities;
    for (int i = 0; i < 9; ++i) {
        vector.add(i);
        capacities.push_back(vector.get_capacity());
    }
    EXPECT_EQ(capacities, (std::vector<unsigned>{1, 2, 4, 4, 8, 8, 8, 8, 16}));
    for (unsigned i = 0; i < 9; ++i)
        EXPECT_EQ(vector[i], static_cast<int>(i));
}

TEST(CoreVector, AFullVectorCanAddItsOwnElement) {
    // Longer than a string holds in itself, so that a moved one would come out empty.
    const std::string text = "a text that is too long for a string to keep in itself";
    CoreVector<std::string> vector;
    vector.add(text);
    for (unsigned i = 0; i < 16; ++i)
        vector.add(vector[i]);
    EXPECT_EQ(vector.get_count(), 17u);
    for (const std::string& item : vector)
        EXPECT_EQ(item, text);
}

TEST(CoreVector, ClearingKeepsTheMemory) {
    CoreVector<int> vector = {1, 2, 3};
    const int* items = vector.get_items();
    vector.clear();
    EXPECT_TRUE(vector.is_empty());
    EXPECT_EQ(vector.get_capacity(), 4u);
    vector.add(7);
    EXPECT_EQ(vector.get_items(), items);
    EXPECT_EQ(vector[0], 7);
}

TEST(CoreVector, CopiesAreDeepAndGrowAlone) {
    CoreVector<std::string> vector = {"a", "b", "c"};
    CoreVector<std::string> copy(vector);
    CoreVector<std::string> assigned = {"other"};
    assigned = vector;
    vector[0] = "changed";
    vector.add("d");
    copy.add("e");
    EXPECT_EQ(copy[0], "a");
    EXPECT_EQ(copy[3], "e");
    EXPECT_EQ(copy.get_count(), 4u);
    EXPECT_EQ(copy.get_capacity(), 6u); // a copy is as large as its elements, then doubles
    EXPECT_EQ(assigned.get_count(), 3u);
    EXPECT_EQ(assigned[0], "a");
}

TEST(CoreVector, CopiesOfEmptyVectorsAreEmpty) {
    CoreVector<int> vector = {1};
    vector.clear();
    CoreVector<int> copy(vector);
    EXPECT_TRUE(copy.is_empty());
    copy.add(3);
    EXPECT_EQ(copy[0], 3);
}

TEST(CoreVector, MovingTakesTheElements) {
    CoreVector<int> vector = {1, 2};
    const int* items = vector.get_items();
    const CoreVector<int> moved(std::move(vector));
    EXPECT_EQ(moved.get_items(), items);
    EXPECT_EQ(gas_host::get_count(moved), 2u);
    EXPECT_EQ(gas_host::get_items(moved), items);
}
