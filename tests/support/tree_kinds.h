// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <type_traits>
#include <vector>

#include <tests/naive/naive_compressed.h>
#include <tests/support/compressed_checker.h>
#include <tests/support/compressed_difference.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/tree_build.h>
#include <tests/support/tree_checker.h>

/// The two classes of trees over item boxes as parameters of test suites. What the classes have
/// under the same names (`build`, `create`, `trace`, `fill_samples`, `find_flaw`,
/// `find_difference`, ...) the other headers overload; here is what differs.
namespace support {

template <typename Tree> struct TreeKind;

template <> struct TreeKind<GasTree> {
    using Naive = naive::Tree;
    static constexpr const char* name = "plain";
    static constexpr unsigned bytes_per_node = 32;

    static unsigned count_nodes(unsigned item_count) { return 2 * item_count - 1; }
    static Naive build_naive(const std::vector<naive::Box>& boxes, naive::Split split,
                             const std::vector<unsigned>& indices = {}) {
        return naive::build(boxes, split, indices);
    }
};

template <> struct TreeKind<GasCompressedTree> {
    using Naive = naive::CompressedTree;
    static constexpr const char* name = "compressed";
    static constexpr unsigned bytes_per_node = 16;

    static unsigned count_nodes(unsigned item_count) { return item_count - 1; }
    static Naive build_naive(const std::vector<naive::Box>& boxes, naive::Split split,
                             const std::vector<unsigned>& indices = {}) {
        return naive::build_compressed(boxes, split, indices);
    }
};

template <typename Tree>
inline constexpr bool is_compressed = std::is_same_v<Tree, GasCompressedTree>;

/// Types of a typed suite, and their names in it.
using BothTrees = testing::Types<GasTree, GasCompressedTree>;
struct TreeNames {
    template <typename Tree> static std::string GetName(int) { return TreeKind<Tree>::name; }
};

/// The same as values, for suites that have other parameters as well.
enum class TreeClass { plain, compressed };
inline constexpr TreeClass both_tree_classes[] = {TreeClass::plain, TreeClass::compressed};

inline const char* name(TreeClass of) {
    return of == TreeClass::plain ? TreeKind<GasTree>::name : TreeKind<GasCompressedTree>::name;
}

/// Calls `visit(tree)` with an empty tree of the class.
template <typename Visit> void with_tree(TreeClass of, const Visit& visit) {
    if (of == TreeClass::plain) {
        GasTree tree;
        visit(tree);
    } else {
        GasCompressedTree tree;
        visit(tree);
    }
}

/// Calls `visit()` with the tree in each of the ways in which its class may be walked: with wide
/// nodes and without, where it has the choice.
template <typename Tree, typename Visit> void for_each_walk(Tree& tree, const Visit& visit) {
    if constexpr (is_compressed<Tree>) {
        visit();
    } else {
        for (const bool wide : {true, false}) {
            tree.set_wide_nodes(wide);
            visit();
        }
    }
}

/// A tree class and a query through it, as a type.
template <typename QueriedTree, RayQuery through> struct TreeQuery {
    using Tree = QueriedTree;
    static constexpr RayQuery query = through;
};
using BothTreesMotionQueries =
    testing::Types<TreeQuery<GasTree, RayQuery::hit_motion>,
                   TreeQuery<GasTree, RayQuery::nearest_motion>,
                   TreeQuery<GasCompressedTree, RayQuery::hit_motion>,
                   TreeQuery<GasCompressedTree, RayQuery::nearest_motion>>;
using CompressedTreeQueries =
    testing::Types<TreeQuery<GasCompressedTree, RayQuery::hit_static>,
                   TreeQuery<GasCompressedTree, RayQuery::hit_motion>,
                   TreeQuery<GasCompressedTree, RayQuery::nearest_static>,
                   TreeQuery<GasCompressedTree, RayQuery::nearest_motion>>;
using BothTreesQueries = testing::Types<
    TreeQuery<GasTree, RayQuery::hit_static>, TreeQuery<GasTree, RayQuery::hit_motion>,
    TreeQuery<GasTree, RayQuery::nearest_static>, TreeQuery<GasTree, RayQuery::nearest_motion>,
    TreeQuery<GasCompressedTree, RayQuery::hit_static>,
    TreeQuery<GasCompressedTree, RayQuery::hit_motion>,
    TreeQuery<GasCompressedTree, RayQuery::nearest_static>,
    TreeQuery<GasCompressedTree, RayQuery::nearest_motion>>;
struct TreeQueryNames {
    template <typename Traced> static std::string GetName(int) {
        return std::string(TreeKind<typename Traced::Tree>::name) + "_" +
               support::name(Traced::query);
    }
};

} // namespace support
