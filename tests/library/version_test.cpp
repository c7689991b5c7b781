// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include <gas/version.h>

namespace {

TEST(Version, LibraryIsOfTheVersionOfItsHeaders) {
    EXPECT_EQ(gas_get_version(), unsigned{GAS_VERSION});
    EXPECT_STREQ(gas_get_version_string(), GAS_VERSION_STRING);
}

TEST(Version, NumberAndTextAreMadeOfItsParts) {
    EXPECT_EQ(GAS_VERSION, 10000 * GAS_VERSION_MAJOR + 100 * GAS_VERSION_MINOR + GAS_VERSION_PATCH);
    EXPECT_EQ(GAS_VERSION_STRING, std::to_string(GAS_VERSION_MAJOR) + '.' +
                                      std::to_string(GAS_VERSION_MINOR) + '.' +
                                      std::to_string(GAS_VERSION_PATCH));
}

} // namespace
