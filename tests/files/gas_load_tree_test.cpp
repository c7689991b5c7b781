// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <sys/stat.h>

#include <gas/traversal/wide/gas_wide_node.h>

#include <tests/app/temporary_folder.h>
#include <tests/files/file_bytes.h>
#include <tests/files/saved_tree_cases.h>

// Which files are refused, with which words, and what may be done to a tree that lies in a file.

namespace {

using support::SavedTreeCase;

constexpr SavedTreeCase with_everything = {
    .item_count = 300, .has_items = true, .sample_count = 2, .has_wide_nodes = true};

template <typename Tree> class GasLoadTree : public testing::Test {
  protected:
    using Read = GasFileResult (*)(const char*, Tree&, const GasFileSettings&);
    static constexpr Read checked_reads[2] = {gas_load_tree, gas_map_tree};
    static constexpr Read all_reads[3] = {gas_load_tree, gas_map_tree, gas_map_tree_trusted};

    /// The bytes of a saved tree.
    std::string save(const SavedTreeCase& of) {
        Tree tree;
        support::make_case(tree, of);
        EXPECT_TRUE(gas_save_tree(tree, get_path().c_str()));
        return m_folder.read("saved.gastree");
    }
    std::string get_path() const { return m_folder.get_path("saved.gastree"); }

    void expect_refused(const std::string& bytes, const std::string& words) {
        m_folder.write("saved.gastree", bytes);
        for (const Read read : checked_reads)
            expect_refused_by(read, words);
    }
    void expect_refused_by(Read read, const std::string& words) {
        Tree tree;
        support::make_case(tree, {.item_count = 20});
        Tree same;
        support::make_case(same, {.item_count = 20});
        const GasFileResult result = read(get_path().c_str(), tree, {0, 1});
        EXPECT_FALSE(result);
        EXPECT_EQ(result.text, get_path() + ": " + words);
        support::expect_same_trees(tree, same);
    }
    /// With right checksums after the change.
    void expect_refused_after(const SavedTreeCase& of,
                              const std::function<void(std::string&)>& change,
                              const std::string& words) {
        std::string bytes = save(of);
        change(bytes);
        support::correct_all_sums(bytes);
        expect_refused(bytes, words);
    }
    template <typename Field>
    void expect_header_refused(Field GasFileHeader::*field, Field value, const std::string& words) {
        expect_refused_after(
            with_everything,
            [&](std::string& bytes) {
                GasFileHeader header = support::get_header(bytes);
                header.*field = value;
                support::set_record(bytes, 0, header);
            },
            words);
    }

    TemporaryFolder m_folder;
};

TYPED_TEST_SUITE(GasLoadTree, support::BothTrees, support::TreeNames);

constexpr const char* wrong_node = "has a node that no tree has";
constexpr const char* wrong_leaf = "has a leaf that stands for no item, or for another's";
constexpr const char* wrong_sections = "has sections that do not fit its header";

} // namespace

TYPED_TEST(GasLoadTree, WhatIsNoSavedTreeIsRefused) {
    this->expect_refused("", "is not a saved tree");
    this->expect_refused("v 0 0 0\n", "is not a saved tree");
    this->expect_refused(std::string(5000, 'x'), "is not a saved tree");
}

TYPED_TEST(GasLoadTree, WhatCannotBeReadIsRefused) {
    TypeParam tree;
    const std::string missing = this->m_folder.get_path("missing");
    EXPECT_EQ(gas_map_tree(missing.c_str(), tree).text,
              missing + ": cannot be read: No such file or directory");
    const std::string folder = this->m_folder.get_path("");
    EXPECT_EQ(gas_load_tree(folder.c_str(), tree).text,
              folder + ": cannot be read: Is a directory");
    EXPECT_EQ(gas_load_tree("/dev/null", tree).text, "/dev/null: cannot be read: Illegal seek");
    // Nobody writes into it; no call may wait for that.
    const std::string pipe = this->m_folder.get_path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_FALSE(gas_load_tree(pipe.c_str(), tree));
}

TYPED_TEST(GasLoadTree, AFileThatIsCutOffOrLongerIsRefused) {
    const std::string bytes = this->save(with_everything);
    for (const std::size_t size :
         {std::size_t{20}, sizeof(GasFileHeader), bytes.size() / 2, bytes.size() - 1})
        this->expect_refused(bytes.substr(0, size), "is cut off");
    this->expect_refused(bytes + '\0', "is longer than its header says");
}

TYPED_TEST(GasLoadTree, AHeaderThatDoesNotFitIsRefused) {
    using Header = GasFileHeader;
    this->expect_header_refused(&Header::byte_order, 0x04030201u,
                                "was saved in another byte order");
    this->expect_header_refused(&Header::version, 2u, "has another version of the format");
    this->expect_header_refused(&Header::kind, static_cast<GasFileKind>(3),
                                "holds a tree of an unknown kind");
    this->expect_header_refused(&Header::node_size, 48u, "has nodes of an unknown size");
    for (const unsigned count : {0u, 0x80000000u, 0xFFFFFFFFu})
        this->expect_header_refused(&Header::leaf_count, count,
                                    "has a number of leaves that no tree has");
    for (const unsigned count : {1u, 299u, 301u, 0x7FFFFFFFu})
        this->expect_header_refused(&Header::leaf_count, count, wrong_sections);
    for (const unsigned count : {1u, 3u, 0xFFFFFFFFu})
        this->expect_header_refused(&Header::sample_count, count, wrong_sections);
    for (const unsigned flags : {0u, 8u})
        this->expect_header_refused(&Header::flags, flags, wrong_sections);
    this->expect_header_refused(&Header::wide_count, 0xFFFFFFFFu, wrong_sections);
    for (const unsigned depth : {0u, 1u, 300u, 0xFFFFFFFFu})
        this->expect_header_refused(&Header::depth, depth,
                                    "says that its tree has another depth than it has");
    this->expect_header_refused(&Header::section_count, 0xFFFFFFFFu, "is cut off");
}

TYPED_TEST(GasLoadTree, SectionsElsewhereAreRefused) {
    for (unsigned index = 0; index < 5; ++index) {
        for (const std::uint64_t far : {std::uint64_t{0}, std::uint64_t{64}, ~std::uint64_t{63}}) {
            const auto change = [&](std::string& bytes) {
                GasFileSection section = support::get_section(bytes, index);
                section.offset = far;
                support::set_record(bytes, support::find_entry(index), section);
            };
            this->expect_refused_after(with_everything, change, wrong_sections);
            const auto stretch = [&](std::string& bytes) {
                GasFileSection section = support::get_section(bytes, index);
                section.size = far;
                support::set_record(bytes, support::find_entry(index), section);
            };
            this->expect_refused_after(with_everything, stretch, wrong_sections);
        }
    }
}

TYPED_TEST(GasLoadTree, AByteThatChangedIsFound) {
    const std::string bytes = this->save(with_everything);
    for (std::size_t i = 32; i < bytes.size(); i += 997) {
        std::string changed = bytes;
        changed[i] = static_cast<char>(changed[i] ^ 4);
        const bool is_in_header = i < support::find_entry(support::get_header(bytes).section_count);
        if (i >= 36 && i < 40)
            continue; // the number of sections
        this->expect_refused(changed, is_in_header
                                          ? "has a header that does not match its checksum"
                                          : "has a section that does not match its checksum");
    }
}

TYPED_TEST(GasLoadTree, AFileOfTheOtherKindIsRefused) {
    std::conditional_t<support::is_compressed<TypeParam>, GasTree, GasCompressedTree> other;
    support::make_case(other, {});
    ASSERT_TRUE(gas_save_tree(other, this->get_path().c_str()));
    for (const auto read : this->checked_reads)
        this->expect_refused_by(read, support::is_compressed<TypeParam>
                                          ? "holds a tree that is not compressed"
                                          : "holds a compressed tree");
    this->expect_refused_by(gas_map_tree_trusted, support::is_compressed<TypeParam>
                                                      ? "holds a tree that is not compressed"
                                                      : "holds a compressed tree");
}

TYPED_TEST(GasLoadTree, NodesThatNoTreeHasAreRefused) {
    using Node = std::remove_cvref_t<decltype(*TypeParam().get_nodes())>;
    const auto expect = [&](unsigned number, const std::function<void(Node&)>& change,
                            const std::string& words) {
        this->expect_refused_after(
            {},
            [&](std::string& bytes) {
                const std::size_t offset =
                    support::find_section(bytes, GasFileSectionType::nodes) + number * sizeof(Node);
                Node node = support::get_record<Node>(bytes, offset);
                change(node);
                support::set_record(bytes, offset, node);
            },
            words);
    };
    // The first node with this leaf for its first child or itself, and another leaf.
    TypeParam tree;
    support::make_case(tree, {});
    const Node* const nodes = tree.get_nodes();
    if constexpr (support::is_compressed<TypeParam>) {
        unsigned leaf = 0;
        while (!support::is_leaf(nodes[leaf], 0))
            ++leaf;
        expect(
            0, [](Node& node) { node.children[0] = 0; }, wrong_node);
        expect(
            0, [](Node& node) { node.children[0] = 299; }, wrong_node);
        expect(
            0, [](Node& node) { node.children[1] = node.children[0]; },
            "has a node with two parents");
        expect(
            0, [](Node& node) { node.flags |= 32; }, wrong_node);
        expect(
            0, [](Node& node) { node.flags |= 12; }, wrong_node);
        expect(
            leaf, [](Node& node) { node.children[0] = 300; }, wrong_leaf);
        expect(
            leaf, [](Node& node) { node.children[0] = (node.children[0] + 1) % 300; }, wrong_leaf);
    } else {
        unsigned leaf = 0;
        while ((nodes[leaf].flags & Node::leaf_flag) == 0)
            ++leaf;
        const unsigned last = tree.get_node_count() - 1;
        expect(
            0, [](Node& node) { node.index = 0; }, wrong_node);
        expect(
            0, [](Node& node) { node.index = 2; }, wrong_node);
        expect(
            0, [last](Node& node) { node.index = last + 1; }, wrong_node);
        expect(
            0, [](Node& node) { node.index = 0xFFFFFFFF; }, wrong_node);
        expect(
            0, [](Node& node) { node.flags |= 6; }, wrong_node);
        expect(
            0, [](Node& node) { node.flags |= 16; }, wrong_node);
        expect(
            leaf, [](Node& node) { node.index = 300; }, wrong_leaf);
        expect(
            leaf, [](Node& node) { node.index = (node.index + 1) % 300; }, wrong_leaf);
        expect(
            leaf, [](Node& node) { node.flags = 3; }, wrong_node);
        expect(
            0, [](Node& node) { node.bbox_max.x -= 1.0f; },
            "has a box that is not the union of those below it");
    }
}

TYPED_TEST(GasLoadTree, ATreeInAFileIsMovedAndCopiedAsAnyOther) {
    this->save(with_everything);
    TypeParam built;
    support::make_case(built, with_everything);
    for (const auto read : this->all_reads) {
        TypeParam tree;
        ASSERT_TRUE(read(this->get_path().c_str(), tree, {}));
        std::vector<TypeParam> trees;
        trees.push_back(std::move(tree));
        trees.push_back(TypeParam());
        support::expect_same_trees(trees[0], built);
        TypeParam copy(trees[0]);
        trees[0] = TypeParam();
        support::expect_same_trees(copy, built);
        trees[1] = std::move(copy);
        support::expect_same_trees(trees[1], built);
    }
}

TYPED_TEST(GasLoadTree, ATreeInAFileChangesAsAnyOtherAndTheFileDoesNot) {
    const std::string bytes = this->save(with_everything);
    const auto get_boxes = [](unsigned with) {
        return support::to_boxes(support::get_case_sample(with_everything, with));
    };
    for (const auto read : this->all_reads) {
        TypeParam built;
        support::make_case(built, with_everything);
        TypeParam tree;
        ASSERT_TRUE(read(this->get_path().c_str(), tree, {}));
        for (TypeParam* const both : {&tree, &built}) {
            ASSERT_TRUE(both->refit_motion_blur_sample(get_boxes(9), 0));
            both->set_motion_blur_sample_count(1);
            both->set_motion_blur_sample_count(3);
            ASSERT_TRUE(both->refit_motion_blur_sample(get_boxes(10), 1));
            ASSERT_TRUE(both->refit_motion_blur_sample(get_boxes(11), 2));
        }
        support::expect_same_trees(tree, built);
        if constexpr (!support::is_compressed<TypeParam>) {
            ASSERT_TRUE(tree.refit(get_boxes(12)));
            ASSERT_TRUE(built.refit(get_boxes(12)));
            support::expect_same_trees(tree, built);
            for (const bool wanted : {false, true}) {
                tree.set_wide_nodes(wanted);
                built.set_wide_nodes(wanted);
                support::expect_same_trees(tree, built);
            }
        }
        // Built anew over fewer, and cleared.
        support::build(tree, support::get_case_boxes({.item_count = 9}));
        support::build(built, support::get_case_boxes({.item_count = 9}));
        support::expect_same_trees(tree, built);
        ASSERT_TRUE(read(this->get_path().c_str(), tree, {}));
        tree.clear();
        EXPECT_TRUE(tree.is_empty());
        EXPECT_EQ(this->m_folder.read("saved.gastree"), bytes);
    }
}

TEST(GasLoadTreeWide, ATreeThatWantsWideNodesHasThemMade) {
    const TemporaryFolder folder;
    const std::string path = folder.get_path("saved.gastree");
    GasTree narrow;
    support::make_case(narrow, {.sample_count = 2});
    ASSERT_TRUE(gas_save_tree(narrow, path.c_str()));
    GasTree wide;
    wide.set_wide_nodes(true);
    ASSERT_TRUE(gas_map_tree(path.c_str(), wide));
    narrow.set_wide_nodes(true);
    support::expect_same_trees(wide, narrow);
    wide.clear();
    support::make_case(wide, {.has_wide_nodes = true});
    EXPECT_TRUE(wide.has_wide_nodes());
}

TEST(GasLoadTreeWide, OneOfAFileKeepsThemWhenItIsBuiltAnew) {
    const TemporaryFolder folder;
    const std::string path = folder.get_path("saved.gastree");
    GasTree tree;
    support::make_case(tree, {.has_wide_nodes = true});
    ASSERT_TRUE(gas_save_tree(tree, path.c_str()));
    GasTree loaded;
    ASSERT_TRUE(gas_load_tree(path.c_str(), loaded));
    support::build(loaded, support::get_case_boxes({.item_count = 30}));
    EXPECT_TRUE(loaded.has_wide_nodes());
}

TEST(GasLoadTreeWide, AnotherWidthIsMadeAnew) {
    // Eight boxes to a node, of which nothing is read.
    const TemporaryFolder folder;
    const std::string path = folder.get_path("saved.gastree");
    const SavedTreeCase of = {.sample_count = 2, .has_wide_nodes = true};
    GasTree tree;
    support::make_case(tree, of);
    ASSERT_TRUE(gas_save_tree(tree, path.c_str()));
    std::string bytes = folder.read("saved.gastree");
    GasFileTable table;
    ASSERT_EQ(table.read(bytes.data(), bytes.size(), bytes.size()), nullptr);
    table.header.wide_width = 8;
    ASSERT_TRUE(table.lay_out({GasFileSection::is_filled, GasFileSection::is_filled}));
    bytes.resize(static_cast<std::size_t>(table.header.file_size));
    const std::vector<char> start = table.write();
    bytes.replace(0, start.size(), start.data(), start.size());
    support::correct_all_sums(bytes);
    folder.write("saved.gastree", bytes);

    GasTree found;
    const GasFileResult result = gas_map_tree(path.c_str(), found);
    EXPECT_TRUE(result);
    EXPECT_EQ(result.text, path + ": wide nodes of 8 boxes were made anew with 4");
    support::expect_same_trees(found, tree);
}

TEST(GasLoadTreeWide, WideNodesOfAnotherTreeAreRefused) {
    const TemporaryFolder folder;
    const std::string path = folder.get_path("saved.gastree");
    GasTree tree;
    support::make_case(tree, with_everything);
    ASSERT_TRUE(gas_save_tree(tree, path.c_str()));
    const std::string bytes = folder.read("saved.gastree");
    const auto expect = [&](GasFileSectionType type, std::size_t size, const char* words) {
        const std::size_t first = support::find_section(bytes, type);
        for (std::size_t i = 0; i < size; i += 4) {
            std::string changed = bytes;
            changed[first + i] = static_cast<char>(changed[first + i] + 1);
            support::correct_all_sums(changed);
            folder.write("saved.gastree", changed);
            EXPECT_EQ(gas_load_tree(path.c_str(), tree).text, path + ": " + words) << i;
        }
    };
    expect(GasFileSectionType::wide_nodes, 3 * sizeof(GasWideNode),
           "has wide nodes that are not those of its tree");
    // A record of two samples ends with zeros that nobody reads.
    const std::size_t read_size =
        2 * (GasWideSampleRecords::half_planes_size + GasWideSampleRecords::planes_size) +
        GasWideNode::width * sizeof(unsigned);
    expect(GasFileSectionType::wide_samples, read_size,
           "has wide nodes whose samples are not those of its tree");
}
