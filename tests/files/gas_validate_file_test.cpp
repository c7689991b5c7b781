// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tests/app/temporary_folder.h>
#include <tests/files/damaged_files.h>
#include <tests/files/saved_tree_cases.h>

namespace {

using support::SavedTreeCase;
using Flaws = std::vector<std::string>;

constexpr SavedTreeCase with_everything = {
    .item_count = 41, .has_items = true, .sample_count = 2, .has_wide_nodes = true};

template <typename Tree> class GasValidateFile : public testing::Test {
  protected:
    std::string save(const SavedTreeCase& of) {
        Tree tree;
        support::make_case(tree, of);
        EXPECT_TRUE(gas_save_tree(tree, m_path.c_str()));
        return m_folder.read("saved.gastree");
    }
    Flaws validate(const std::string& bytes) {
        m_folder.write("saved.gastree", bytes);
        return gas_validate_tree_file(m_path.c_str());
    }

    TemporaryFolder m_folder;
    std::string m_path = m_folder.get_path("saved.gastree");
};

TYPED_TEST_SUITE(GasValidateFile, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(GasValidateFile, NothingIsWrongWithAFileThatWasSaved) {
    for (const unsigned count : {1u, 2u, 41u}) {
        SavedTreeCase of = with_everything;
        of.item_count = count;
        EXPECT_EQ(this->validate(this->save(of)), Flaws());
        EXPECT_EQ(this->validate(this->save({.item_count = count})), Flaws());
    }
}

TYPED_TEST(GasValidateFile, WhatIsNoTreeIsToldAsItIsRefused) {
    const std::string bytes = this->save(with_everything);
    EXPECT_EQ(this->validate("no tree"), Flaws{"is not a saved tree"});
    EXPECT_EQ(this->validate(bytes.substr(0, bytes.size() - 1)), Flaws{"is cut off"});
    const std::string missing = this->m_folder.get_path("missing");
    EXPECT_EQ(gas_validate_tree_file(missing.c_str()),
              Flaws{"cannot be read: No such file or directory"});
}

TYPED_TEST(GasValidateFile, SectionsAreNamed) {
    std::string bytes = this->save(with_everything);
    bytes[support::find_section(bytes, GasFileSectionType::items) + 2] ^= 1;
    support::set_record(bytes, support::find_section(bytes, GasFileSectionType::nodes) + 12, 99u);
    const Flaws flaws = this->validate(bytes);
    ASSERT_GT(flaws.size(), 2u);
    EXPECT_EQ(flaws[0], "nodes: the section does not match its checksum");
    EXPECT_EQ(flaws[1], "items: the section does not match its checksum");
    EXPECT_EQ(flaws[2].substr(0, 8), "node 0: ") << flaws[2];
}

TYPED_TEST(GasValidateFile, WhatIsRefusedIsTold) {
    support::SeededRandom random(21);
    unsigned told_count = 0;
    for (unsigned file = 0; file < 60; ++file) {
        SCOPED_TRACE(file);
        std::string bytes = this->save({.item_count = 1 + random.below(40),
                                        .sample_count = random.below(3),
                                        .has_wide_nodes = random.below(2) == 0});
        support::DamagedFiles(random).damage(bytes);
        const Flaws flaws = this->validate(bytes);
        TypeParam tree;
        const GasFileResult result = gas_load_tree(this->m_path.c_str(), tree, {0, 1});
        told_count += flaws.empty() ? 0 : 1;
        if (!result) {
            EXPECT_FALSE(flaws.empty()) << result.text;
        } else if (flaws.empty()) {
            EXPECT_EQ(gas_validate(tree), Flaws());
        }
    }
    EXPECT_GT(told_count, 30u);
}
