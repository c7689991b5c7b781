// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <vector>

#include <gas/tree/gas_tree_traversal.h>

#include <tests/app/temporary_folder.h>
#include <tests/files/damaged_files.h>
#include <tests/files/saved_tree_cases.h>

// Damaged files are refused, or their trees are trees: everything may be asked of them, and
// changed. Sanitizers see what is read.

namespace {

using support::DamagedFiles;
using support::SavedTreeCase;
using Boxes = CoreArray<GMathBbox3<float>>;

/// GAS_DAMAGED_FILES in the environment asks for another number of files.
unsigned get_file_count() {
    const char* const count = std::getenv("GAS_DAMAGED_FILES");
    return count ? static_cast<unsigned>(std::strtoul(count, nullptr, 10)) : 100;
}

SavedTreeCase choose_case(support::SeededRandom& random) {
    SavedTreeCase of;
    of.item_count = 1 + random.below(random.below(2) ? 90 : 6);
    of.has_items = random.below(3) == 0;
    of.sample_count = random.below(2) ? random.below(4) : 0;
    of.has_wide_nodes = random.below(3) > 0;
    return of;
}

/// Rays in motion ask for all samples; a file may well have some that were never filled.
template <typename Tree> void fill_missing_samples(Tree& tree, const Boxes& boxes) {
    for (unsigned sample = 0; sample < tree.get_motion_blur_sample_count(); ++sample) {
        if (!GasTraversalAccess::has_sample(tree, sample)) {
            EXPECT_TRUE(tree.refit_motion_blur_sample(boxes, sample));
        }
    }
}

/// Queries, and all that changes a tree.
template <typename Tree> void use(Tree& tree, support::SeededRandom& random) {
    const Boxes boxes =
        support::to_boxes(scenes::make(scenes::Kind::random, tree.get_leaf_count(), 3));
    fill_missing_samples(tree, boxes);
    support::ask_everything(tree, 12);
    const unsigned sample_count = tree.get_motion_blur_sample_count();
    if (random.below(2) && sample_count > 0) {
        EXPECT_TRUE(tree.refit_motion_blur_sample(boxes, random.below(sample_count)));
    }
    if (random.below(2))
        tree.set_motion_blur_sample_count(random.below(4));
    fill_missing_samples(tree, boxes);
    if constexpr (!support::is_compressed<Tree>) {
        if (random.below(2))
            tree.set_wide_nodes(random.below(2) == 0);
        if (random.below(2)) {
            EXPECT_TRUE(tree.refit(boxes));
        }
        tree.set_wide_nodes(true);
    }
    Tree copy(tree);
    tree = Tree();
    support::ask_everything(copy, 12);
}

template <typename Tree> class GasFileCheck : public testing::Test {
  protected:
    TemporaryFolder m_folder;
};

TYPED_TEST_SUITE(GasFileCheck, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(GasFileCheck, DamagedFilesAreRefusedOrHarmless) {
    support::SeededRandom random(20);
    const std::string path = this->m_folder.get_path("saved.gastree");
    unsigned accepted_count = 0;
    unsigned refused_count = 0;
    for (unsigned file = 0; file < get_file_count() / 2; ++file) {
        SCOPED_TRACE(file);
        TypeParam saved;
        support::make_case(saved, choose_case(random));
        ASSERT_TRUE(gas_save_tree(saved, path.c_str()));
        std::string bytes = this->m_folder.read("saved.gastree");
        DamagedFiles(random).damage(bytes);
        this->m_folder.write("saved.gastree", bytes);

        GasTreeFileInfo info;
        gas_read_tree_info(path.c_str(), info);
        TypeParam loaded;
        TypeParam mapped;
        const GasFileResult result = gas_load_tree(path.c_str(), loaded, {0, 1});
        const GasFileResult map_result = gas_map_tree(path.c_str(), mapped, {0, 2});
        ASSERT_EQ(result.is_done, map_result.is_done);
        (result.is_done ? accepted_count : refused_count) += 1;
        EXPECT_EQ(loaded.is_empty(), !result);
        EXPECT_EQ(result.is_done, result.text.empty() || loaded.get_leaf_count() > 0);
        if (result) {
            use(loaded, random);
            use(mapped, random);
        }
    }
    std::printf("%u files were refused, %u were harmless\n", refused_count, accepted_count);
    EXPECT_GT(refused_count, accepted_count);
    EXPECT_GT(accepted_count, get_file_count() / 40);
}
