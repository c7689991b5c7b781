// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <bit>
#include <string>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/files/gas_tree_files.h>
#include <gas/tree/gas_tree.h>

#include <tests/app/temporary_folder.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_kinds.h>

// What saved trees are on machines of either byte order: little endian, or refused.

namespace {

constexpr bool is_little = std::endian::native == std::endian::little;

template <typename Tree> class GasSaveTree : public testing::Test {
  protected:
    static void make(Tree& tree) {
        support::build(tree, scenes::make(scenes::Kind::random, 3, 7), naive::Split::median);
    }
    std::string get_path() const { return m_folder.get_path("saved.gastree"); }

    TemporaryFolder m_folder;
};

TYPED_TEST_SUITE(GasSaveTree, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(GasSaveTree, AFileIsLittleEndianOrIsNotWritten) {
    TypeParam tree;
    this->make(tree);
    const std::string path = this->get_path();
    const GasFileResult result = gas_save_tree(tree, path.c_str());
    EXPECT_EQ(result.is_done, is_little);
    if (!is_little) {
        EXPECT_EQ(result.text, path + ": is not written on a machine with another byte order");
        EXPECT_EQ(this->m_folder.count_files(), 0u);
        return;
    }
    const std::string bytes = this->m_folder.read("saved.gastree");
    EXPECT_EQ(bytes.substr(8, 8), std::string("\x04\x03\x02\x01\x01\0\0\0", 8));
    EXPECT_EQ(bytes.substr(40, 4), std::string("\x03\0\0\0", 4));
}

TYPED_TEST(GasSaveTree, AFileOfAnotherByteOrderIsRefused) {
    const std::string order(is_little ? "\x01\x02\x03\x04" : "\x04\x03\x02\x01", 4);
    const std::string path = this->m_folder.write("saved.gastree", "\x89Gas\r\n\x1A\n" + order +
                                                                       std::string(1000, '\0'));
    using Read = GasFileResult (*)(const char*, TypeParam&, const GasFileSettings&);
    for (const Read read : {Read{gas_load_tree}, Read{gas_map_tree}, Read{gas_map_tree_trusted}}) {
        TypeParam tree;
        const GasFileResult result = read(path.c_str(), tree, {});
        EXPECT_FALSE(result);
        EXPECT_EQ(result.text, path + ": was saved in another byte order");
        EXPECT_TRUE(tree.is_empty());
    }
}
