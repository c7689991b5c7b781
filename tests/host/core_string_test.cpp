// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <gas/host/host.h>

TEST(CoreString, ADefaultStringIsEmpty) {
    EXPECT_STREQ(CoreString().get_data(), "");
    EXPECT_EQ(CoreString().get_length(), 0u);
    EXPECT_EQ(CoreString(), CoreString(""));
    const char* none = nullptr;
    EXPECT_EQ(CoreString(none), CoreString());
}

TEST(CoreString, AddsTextAndNumbers) {
    const CoreString title = CoreString("cell ") + 7u + " of " + 4294967295u;
    EXPECT_STREQ(title.get_data(), "cell 7 of 4294967295");
    EXPECT_EQ(title.get_length(), 20u);
    EXPECT_EQ(CoreString("a") + CoreString("b"), CoreString("ab"));
    const char* none = nullptr;
    EXPECT_EQ(CoreString("a") + none, CoreString("a"));
}

TEST(CoreString, AddingLeavesTheOperandsAlone) {
    const CoreString first("first");
    const CoreString both = first + " second";
    EXPECT_EQ(first, CoreString("first"));
    EXPECT_NE(both, first);
}

TEST(CoreString, CopiesAreIndependent) {
    CoreString text("text");
    const CoreString copy(text);
    text = CoreString("other");
    EXPECT_STREQ(copy.get_data(), "text");
    text = copy;
    EXPECT_EQ(text, copy);
}
