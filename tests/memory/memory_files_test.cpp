// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <gas/files/gas_tree_files.h>

#include <tests/app/temporary_folder.h>
#include <tests/memory/failed_allocations.h>
#include <tests/memory/tree_bytes.h>
#include <tests/support/scenes.h>
#include <tests/support/tree_kinds.h>

// Trees that are saved and brought back where memory runs out.

namespace {

using support::Operation;

/// The folder of the test that runs, with a saved tree.
const TemporaryFolder* folder = nullptr;

template <typename Tree> void make(Tree& tree, unsigned count) {
    const std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, count, count);
    if constexpr (!support::is_compressed<Tree>)
        tree.set_wide_nodes(true);
    const std::vector<unsigned> items(count, 3);
    support::build(tree, boxes, naive::Split::sah_fast, items);
    tree.set_motion_blur_sample_count(2);
    for (unsigned sample = 0; sample < 2; ++sample)
        tree.refit_motion_blur_sample(support::to_boxes(boxes), sample);
}

template <typename Tree> struct FileState {
    FileState() {
        make(tree, 30);
        make(saved, 70);
        EXPECT_TRUE(gas_save_tree(saved, path.c_str()));
        EXPECT_TRUE(gas_save_tree(tree, new_path.c_str()));
    }

    std::string describe() const {
        support::Bytes bytes;
        support::add_tree(tree, bytes);
        return bytes.get() + folder->read("saved.gastree") + folder->read("new.gastree") +
               std::to_string(folder->count_files()) + text;
    }
    std::string describe_empty() const { return {}; }
    std::vector<std::string> find_flaws() const { return gas_validate(tree); }
    void expect(const GasFileResult& result) {
        EXPECT_TRUE(result) << result.text;
        text = result.text;
    }

    const std::string path = folder->get_path("saved.gastree");
    const std::string new_path = folder->get_path("new.gastree");
    Tree tree;
    Tree saved;
    std::string text;
};

template <typename Tree> class MemoryFiles : public testing::Test {
  protected:
    MemoryFiles() { folder = &m_folder; }
    ~MemoryFiles() override { folder = nullptr; }

    TemporaryFolder m_folder;
};

TYPED_TEST_SUITE(MemoryFiles, support::BothTrees, support::TreeNames);

} // namespace

TYPED_TEST(MemoryFiles, AFileAndATreeAreNewOrAsTheyWere) {
    using State = FileState<TypeParam>;
    std::vector<Operation<State>> all;
    all.push_back({"save", [](State& state) {
                       state.expect(gas_save_tree(state.saved, state.new_path.c_str()));
                   }});
    for (const unsigned threads : {1u, 3u}) {
        const std::string name = ", " + std::to_string(threads) + " threads";
        all.push_back(
            {"load" + name, [threads](State& state) {
                 state.expect(gas_load_tree(state.path.c_str(), state.tree, {0, threads}));
             }});
        all.push_back({"map" + name, [threads](State& state) {
                           state.expect(gas_map_tree(state.path.c_str(), state.tree, {0, threads}));
                       }});
    }
    all.push_back({"map, trusted", [](State& state) {
                       state.expect(gas_map_tree_trusted(state.path.c_str(), state.tree));
                   }});
    all.push_back({"a refusal", [](State& state) {
                       const std::string missing = "no file of this name here";
                       state.text = gas_load_tree(missing.c_str(), state.tree).text;
                   }});
    all.push_back({"what a header says", [](State& state) {
                       GasTreeFileInfo info;
                       state.expect(gas_read_tree_info(state.path.c_str(), info));
                   }});
    all.push_back({"hash", [](State& state) {
                       GMathBbox3<float> box = {};
                       state.text = std::to_string(gas_hash_boxes(&box, 1));
                   }});
    all.push_back({"validate", [](State& state) {
                       for (const std::string& flaw : gas_validate_tree_file(state.path.c_str()))
                           state.text += flaw;
                   }});
    support::fail_each_allocation(all);
}
