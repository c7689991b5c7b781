// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <tests/app/temporary_folder.h>
#include <tests/files/saved_tree_cases.h>
#include <tests/support/sanitizers.h>

// Trees that come back from a file as they went: loaded, mapped, mapped and trusted.

namespace {

using support::SavedTreeCase;

template <typename Tree> class GasTreeFiles : public testing::Test {
  protected:
    using Read = GasFileResult (*)(const char*, Tree&, const GasFileSettings&);
    static constexpr Read reads[3] = {gas_load_tree, gas_map_tree, gas_map_tree_trusted};

    void expect_round_trip(const SavedTreeCase& of) {
        Tree saved;
        support::make_case(saved, of);
        const GasFileResult result = gas_save_tree(saved, get_path().c_str());
        ASSERT_TRUE(result) << result.text;
        for (const Read read : reads) {
            for (const unsigned thread_count : {1u, 3u}) {
                Tree tree;
                const GasFileResult found = read(get_path().c_str(), tree, {0, thread_count});
                ASSERT_TRUE(found) << found.text;
                EXPECT_EQ(found.text, "");
                support::expect_same_trees(tree, saved);
            }
        }
        EXPECT_EQ(m_folder.count_files(), 1u);
    }
    std::string get_path() const { return m_folder.get_path("saved.gastree"); }

    TemporaryFolder m_folder;
};

TYPED_TEST_SUITE(GasTreeFiles, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(GasTreeFiles, ATreeComesBackAsItWent) {
    for (const unsigned item_count : {1u, 2u, 3u, 17u, 1000u})
        this->expect_round_trip({.item_count = item_count});
}

TYPED_TEST(GasTreeFiles, SoDoesOneOfEveryScene) {
    for (const scenes::Kind kind : scenes::all_kinds())
        this->expect_round_trip(
            {.item_count = support::scale(150, 70), .has_wide_nodes = true, .scene = kind});
}

TYPED_TEST(GasTreeFiles, IndexArraysComeBack) {
    this->expect_round_trip({.item_count = 1, .has_items = true});
    this->expect_round_trip({.item_count = 200, .has_items = true});
}

TYPED_TEST(GasTreeFiles, WideNodesAndSamplesComeBack) {
    for (const unsigned item_count : {1u, 2u, 5u, 400u})
        for (const unsigned sample_count : {0u, 1u, 2u, 3u})
            this->expect_round_trip({item_count, true, sample_count, true});
}

TYPED_TEST(GasTreeFiles, SamplesComeBackWithoutWideNodes) {
    this->expect_round_trip({.item_count = 400, .sample_count = 2});
}

TYPED_TEST(GasTreeFiles, SamplesThatWereNeverFilledStaySo) {
    for (const bool has_wide_nodes : {true, false}) {
        TypeParam saved;
        const SavedTreeCase of = {.item_count = 50, .has_wide_nodes = has_wide_nodes};
        support::make_case(saved, of);
        saved.set_motion_blur_sample_count(4);
        ASSERT_TRUE(
            saved.refit_motion_blur_sample(support::to_boxes(support::get_case_sample(of, 2)), 2));
        ASSERT_TRUE(gas_save_tree(saved, this->get_path().c_str()));
        for (const auto read : this->reads) {
            TypeParam tree;
            ASSERT_TRUE(read(this->get_path().c_str(), tree, {}));
            EXPECT_EQ(tree.get_motion_blur_sample_count(), 4u);
            EXPECT_EQ(support::find_sample_flaw(tree, support::get_case_sample(of, 2), 2), "");
            for (const unsigned sample : {0u, 1u, 3u}) {
                if constexpr (support::is_compressed<TypeParam>) {
                    EXPECT_FALSE(tree.has_sample(sample));
                }
                ASSERT_TRUE(tree.refit_motion_blur_sample(
                    support::to_boxes(support::get_case_sample(of, sample)), sample));
                EXPECT_EQ(
                    support::find_sample_flaw(tree, support::get_case_sample(of, sample), sample),
                    "");
            }
        }
    }
}

TYPED_TEST(GasTreeFiles, CallbacksStayThoseOfTheTree) {
    TypeParam tree;
    support::make_case(tree, {});
    ASSERT_TRUE(gas_save_tree(tree, this->get_path().c_str()));
    support::RecordingCallbacks callbacks(tree);
    ASSERT_TRUE(gas_load_tree(this->get_path().c_str(), tree));
    const naive::Box box = support::get_case_boxes({})[0];
    support::RaySpec ray;
    for (unsigned axis = 0; axis < 3; ++axis)
        ray.origin[axis] = static_cast<double>(box.min[axis] + box.max[axis]) * 0.5;
    ray.far_distance = 1e6;
    support::TestShader shader;
    support::RawRays rays({ray});
    rays.get_data().set_range(0, 0);
    support::trace(tree, support::RayQuery::hit_static, shader, rays.get_ctx());
    EXPECT_FALSE(callbacks.calls.empty());
}

TYPED_TEST(GasTreeFiles, ASavedFileTakesThePlaceOfAnother) {
    TypeParam first;
    TypeParam second;
    support::make_case(first, {.item_count = 100});
    support::make_case(second, {.item_count = 70});
    ASSERT_TRUE(gas_save_tree(first, this->get_path().c_str()));
    TypeParam mapped;
    ASSERT_TRUE(gas_map_tree(this->get_path().c_str(), mapped));
    // What is mapped stays, for that is another file now; a tree may be saved over its own, too.
    ASSERT_TRUE(gas_save_tree(second, this->get_path().c_str()));
    support::expect_same_trees(mapped, first);
    ASSERT_TRUE(gas_save_tree(mapped, this->get_path().c_str()));
    support::expect_same_trees(mapped, first);
    EXPECT_EQ(this->m_folder.count_files(), 1u);
}

TYPED_TEST(GasTreeFiles, TheSameTreeGivesTheSameBytes) {
    std::string bytes[2];
    for (std::string& text : bytes) {
        TypeParam tree;
        support::make_case(tree, {.sample_count = 3, .has_wide_nodes = true});
        ASSERT_TRUE(gas_save_tree(tree, this->get_path().c_str(), 7));
        text = this->m_folder.read("saved.gastree");
    }
    EXPECT_EQ(bytes[0], bytes[1]);
}

TYPED_TEST(GasTreeFiles, WhatCannotBeWrittenLeavesNothing) {
    TypeParam tree;
    EXPECT_EQ(gas_save_tree(tree, "empty.gastree").text,
              "empty.gastree: an empty tree is not saved");
    support::make_case(tree, {});
    const std::string missing = this->m_folder.get_path("missing/saved.gastree");
    EXPECT_EQ(gas_save_tree(tree, missing.c_str()).text,
              missing + ": cannot be written: No such file or directory");
    const std::string folder = this->m_folder.get_path("");
    EXPECT_EQ(gas_save_tree(tree, folder.c_str()).text,
              folder + ": cannot be written: Is a directory");
    EXPECT_EQ(gas_save_tree(tree, "/dev/null").text,
              "/dev/null: cannot be written: Invalid argument");
    EXPECT_EQ(this->m_folder.count_files(), 0u);
}

TYPED_TEST(GasTreeFiles, TheHeaderTellsWhatThereIs) {
    const SavedTreeCase of = {
        .item_count = 40, .has_items = true, .sample_count = 2, .has_wide_nodes = true};
    TypeParam tree;
    support::make_case(tree, of);
    const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(support::get_case_boxes(of));
    const std::uint64_t hash = gas_hash_boxes(&boxes[0], of.item_count);
    ASSERT_TRUE(gas_save_tree(tree, this->get_path().c_str(), hash));
    GasTreeFileInfo info;
    ASSERT_TRUE(gas_read_tree_info(this->get_path().c_str(), info));
    const bool is_compressed = support::is_compressed<TypeParam>;
    EXPECT_EQ(info.is_compressed, is_compressed);
    EXPECT_EQ(info.leaf_count, 40u);
    EXPECT_EQ(info.node_count, tree.get_node_count());
    EXPECT_EQ(info.depth, tree.get_depth());
    EXPECT_EQ(info.sample_count, 2u);
    EXPECT_TRUE(info.has_items);
    EXPECT_EQ(info.wide_width, is_compressed ? 0u : 4u);
    EXPECT_EQ(info.boxes_hash, hash);
    EXPECT_EQ(info.file_size, this->m_folder.read("saved.gastree").size());
    EXPECT_EQ(info.bbox.max.x, tree.get_bbox().max.x);
}

TYPED_TEST(GasTreeFiles, ATreeOverOtherBoxesIsRefused) {
    const SavedTreeCase of;
    TypeParam tree;
    support::make_case(tree, of);
    CoreArray<GMathBbox3<float>> boxes = support::to_boxes(support::get_case_boxes(of));
    const std::uint64_t hash = gas_hash_boxes(&boxes[0], of.item_count);
    ASSERT_TRUE(gas_save_tree(tree, this->get_path().c_str(), hash));
    EXPECT_TRUE(gas_load_tree(this->get_path().c_str(), tree, {hash, 0}));
    boxes[7].max.y += 1.0f;
    const std::uint64_t other = gas_hash_boxes(&boxes[0], of.item_count);
    EXPECT_NE(other, hash);
    for (const auto read : this->reads)
        EXPECT_EQ(read(this->get_path().c_str(), tree, {other, 0}).text,
                  this->get_path() + ": holds a tree over other boxes");
    EXPECT_EQ(tree.get_leaf_count(), of.item_count);
}
