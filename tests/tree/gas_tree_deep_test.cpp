#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <pthread.h>

#include "../support/sanitizers.h"
#include "../support/scenes.h"
#include "../support/tree_build.h"
#include "../support/tree_checker.h"

namespace {

using naive::Box;
using naive::Split;

struct Build {
    GasTree& tree;
    const CoreArray<GMathBbox3<float>>& boxes;
    AppProgressBar& bar;
};

void* run(void* argument) {
    const Build& build = *static_cast<const Build*>(argument);
    build.tree.create(build.boxes, nullptr, &build.bar, 1.0f);
    return nullptr;
}

/// Runs the build on a thread with as small a stack as the callbacks of a renderer may have left.
/// Sanitizers need larger stacks, so with one of them it runs on this thread.
void run_on_a_small_stack(Build& build) {
    if (support::is_sanitized) {
        run(&build);
        return;
    }
    const std::size_t stack_size =
        std::max(std::size_t{64 * 1024}, static_cast<std::size_t>(PTHREAD_STACK_MIN));
    pthread_attr_t attributes;
    ASSERT_EQ(pthread_attr_init(&attributes), 0);
    ASSERT_EQ(pthread_attr_setstacksize(&attributes, stack_size), 0);
    pthread_t thread;
    ASSERT_EQ(pthread_create(&thread, &attributes, run, &build), 0);
    ASSERT_EQ(pthread_join(thread, nullptr), 0);
    pthread_attr_destroy(&attributes);
}

/// Builds by every method on a small stack, checks the trees and returns the largest depth.
unsigned build_deep_trees(const std::vector<Box>& boxes) {
    const CoreArray<GMathBbox3<float>> array = support::to_boxes(boxes);
    unsigned deepest = 0;
    for (const Split split : support::all_splits) {
        support::QuietProgress progress(split);
        GasTree tree;
        Build build = {tree, array, progress.bar};
        run_on_a_small_stack(build);
        EXPECT_EQ(support::find_flaw(tree, boxes), "") << support::name(split);
        EXPECT_EQ(support::find_difference(tree, naive::build(boxes, split)), "")
            << support::name(split);
        EXPECT_NEAR(progress.bar.get_value(), 1.0f, 1e-4f) << support::name(split);
        deepest = std::max(deepest, tree.get_depth());
    }
    return deepest;
}

} // namespace

// 276 halvings lead from 2^126 to 0; the boxes behind coincide there.
TEST(DeepTrees, HalvingChainsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(build_deep_trees(scenes::geometric_chain(400, 0.5f, axis)), 100u);
}

TEST(DeepTrees, ChainsOfFifteenSixteenthsBuildOnASmallStack) {
    for (unsigned axis = 0; axis < 3; ++axis)
        EXPECT_GT(build_deep_trees(scenes::geometric_chain(3000, 0.9375f, axis)), 100u);
}

// Their areas overflow, so that no cost is a number, and the last cut or the cut in half wins.
TEST(DeepTrees, SheetsBuildOnASmallStack) {
    EXPECT_GT(build_deep_trees(scenes::sheet(400, 0.5f)), 100u);
    EXPECT_GT(build_deep_trees(scenes::sheet(3000, 0.9375f)), 1000u);
}
