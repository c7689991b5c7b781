// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdio>
#include <numeric>
#include <vector>

#include <gas/tree/gas_tree.h>

#include <tests/support/hostile_rays.h>
#include <tests/support/ray_coherence.h>
#include <tests/support/ray_histories.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/sanitizers.h>
#include <tests/support/test_shader.h>

// One tree with wide nodes and without: the same callbacks in the same order, with the same bounds
// before and after, whatever callbacks do to a ray, and the same cached leaves.

namespace {

using naive::Box;
using support::Handing;
using support::RayHistories;
using support::RayHistory;
using support::RayQuery;
using support::RaySpec;
using support::SeededRandom;
using support::TestShader;
using support::Twist;

#ifdef NDEBUG
constexpr unsigned largest_of_all = 64;
const std::vector<unsigned> larger_counts = {300, 3000};
constexpr unsigned rounds_per_tree = support::scale_when_whole(4, 2);
#else
constexpr unsigned largest_of_all = 9;
const std::vector<unsigned> larger_counts = {40, 300};
constexpr unsigned rounds_per_tree = 2;
#endif
constexpr unsigned rays_per_round = 24;

constexpr Handing handings[] = {Handing::alone, Handing::together, Handing::stream};

struct Totals {
    unsigned trees = 0;
    unsigned rays = 0;
    unsigned deepest = 0;
    std::size_t calls = 0;
    std::size_t nested = 0;
};

bool have_same_caches(const TestShader& first, const TestShader& second) {
    const auto is_same = [](const GasCachedLeaf& a, const GasCachedLeaf& b) {
        return a.tree == b.tree && (!a.tree || a.leaf == b.leaf);
    };
    const GasTreeCtx* a = &first.get_tree_ctx();
    const GasTreeCtx* b = &second.get_tree_ctx();
    for (; a && b; a = a->next, b = b->next) {
        for (unsigned slot = 0; slot < GasTreeCtx::cache_slot_count; ++slot) {
            if (!is_same(a->all_hits_cache[slot], b->all_hits_cache[slot]) ||
                !is_same(a->nearest_cache[slot], b->nearest_cache[slot]))
                return false;
        }
    }
    return !a && !b;
}

class WideAndBinary {
  public:
    WideAndBinary(scenes::Kind kind, unsigned count, Twist twist, std::uint64_t seed)
        : m_random(seed), m_histories(m_tree) {
        m_boxes = scenes::make(kind, count, seed);
        support::twist_boxes(m_boxes, twist, m_random);
        support::build(m_tree, m_boxes, support::all_splits[m_random.below(4)]);
        std::vector<std::vector<Box>> samples(m_random.below(5), m_boxes);
        for (std::size_t i = 1; i < samples.size(); ++i) {
            samples[i] = scenes::make(kind, count, seed + m_random.below(2));
            if (m_random.below(2))
                support::twist_boxes(samples[i], twist, m_random);
        }
        support::fill_samples(m_tree, samples);
        const CtxMotionBlur shutter(0.0f, 1.0f, m_tree.get_motion_blur_sample_count());
        m_binary.set_motion_blur(shutter);
        m_wide.set_motion_blur(shutter);
    }

    void compare_round(Totals& totals) {
        const std::vector<RaySpec> rays =
            support::make_hostile_rays(m_boxes, rays_per_round, m_random, 0.0f, 1.0f);
        const RayQuery query = support::all_ray_queries[m_random.below(4)];
        const bool with_streams = m_random.below(2) != 0;
        const Handing handing = handings[m_random.below(with_streams ? 3 : 2)];
        // So few rays would hardly ever expand two nodes at a time; every other round they do.
        m_is_coherent = !m_is_coherent;
        const auto trace = [&](bool wide, TestShader& shader) {
            m_tree.set_wide_nodes(wide);
            support::set_coherence(shader.get_tree_ctx(), m_is_coherent);
            return m_histories.trace(rays, 0, static_cast<int>(rays.size()) - 1, query, handing,
                                     shader);
        };
        m_histories.starts_streams = with_streams;
        if (with_streams) {
            // Frames of streams differ, and so do the cached leaves in them.
            TestShader shaders[2];
            for (TestShader& shader : shaders)
                shader.set_motion_blur(m_wide.get_motion_blur());
            expect_same(trace(false, shaders[0]), trace(true, shaders[1]));
        } else {
            expect_same(trace(false, m_binary), trace(true, m_wide));
            ASSERT_TRUE(have_same_caches(m_wide, m_binary)) << name(query);
        }
        ASSERT_EQ(m_histories.get_breach(), "");
        totals.rays += rays_per_round;
    }

    void add_to(Totals& totals) const {
        ++totals.trees;
        totals.calls += m_histories.get_call_count();
        totals.nested += m_histories.get_nested_count();
        totals.deepest = std::max(totals.deepest, m_histories.get_deepest());
    }

  private:
    static void expect_same(const std::vector<RayHistory>& binary,
                            const std::vector<RayHistory>& wide) {
        for (std::size_t ray = 0; ray < wide.size(); ++ray)
            ASSERT_EQ(wide[ray], binary[ray]) << "ray " << ray;
    }

    SeededRandom m_random;
    GasTree m_tree;
    RayHistories m_histories;
    std::vector<Box> m_boxes;
    TestShader m_binary;
    TestShader m_wide;
    bool m_is_coherent = true;
};

class WideWalkOracle : public testing::TestWithParam<scenes::Kind> {};

TEST_P(WideWalkOracle, EveryRayHasTheHistoryThatItHasWithoutWideNodes) {
    std::vector<unsigned> counts(largest_of_all);
    std::iota(counts.begin(), counts.end(), 1u);
    counts.insert(counts.end(), larger_counts.begin(), larger_counts.end());
    Totals totals;
    for (const unsigned count : counts) {
        for (const Twist twist : support::all_twists) {
            // Each in turn at the many small sizes.
            if (count <= largest_of_all && (count + static_cast<unsigned>(twist)) % 3 != 0)
                continue;
            const std::uint64_t seed = std::uint64_t{count} * 1000 +
                                       static_cast<unsigned>(GetParam()) * 10 +
                                       static_cast<unsigned>(twist);
            WideAndBinary both(GetParam(), count, twist, seed);
            for (unsigned round = 0; round < rounds_per_tree; ++round) {
                SCOPED_TRACE(std::to_string(count) + " boxes, twist " +
                             std::to_string(static_cast<unsigned>(twist)) + ", round " +
                             std::to_string(round));
                both.compare_round(totals);
                if (HasFatalFailure())
                    return;
            }
            both.add_to(totals);
        }
    }
    std::printf("compared %u trees, %u rays, %zu nested ones to depth %u, %zu leaf calls\n",
                totals.trees, totals.rays, totals.nested, totals.deepest, totals.calls);
    EXPECT_GT(totals.calls, 10000u);
    EXPECT_EQ(totals.deepest, 3u);
}

INSTANTIATE_TEST_SUITE_P(Scenes, WideWalkOracle, testing::ValuesIn(scenes::all_kinds()),
                         [](const auto& kind) { return scenes::name(kind.param); });

} // namespace
