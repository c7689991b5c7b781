// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include <tests/support/hostile_rays.h>
#include <tests/support/ray_histories.h>
#include <tests/support/sanitizers.h>
#include <tests/support/test_shader.h>

namespace support {

/// Batches around the number of rays that a stream keeps in flight, and well above it.
inline constexpr unsigned stream_sizes[] = {1,
                                            2,
                                            31,
                                            32,
                                            33,
                                            scale(scale_when_whole(200, 100), 70),
                                            scale(scale_when_whole(600, 300), 150)};

struct CachedLeaves {
    explicit CachedLeaves(const GasTreeCtx& ctx) {
        for (unsigned slot = 0; slot < GasTreeCtx::cache_slot_count; ++slot) {
            leaves.push_back(ctx.all_hits_cache[slot]);
            leaves.push_back(ctx.nearest_cache[slot]);
        }
    }
    bool operator==(const CachedLeaves& other) const {
        return std::equal(leaves.begin(), leaves.end(), other.leaves.begin(),
                          [](const GasCachedLeaf& a, const GasCachedLeaf& b) {
                              return a.tree == b.tree && a.leaf == b.leaf;
                          });
    }

    std::vector<GasCachedLeaf> leaves;
};

/// Holds streams against queries of the same kind that trace each ray alone, with frames that were
/// never used; the stream's own frames hold cached leaves, which must stay as they are.
class StreamOracle {
  public:
    StreamOracle(RayHistories& histories, const CtxMotionBlur& motion)
        : m_histories(histories), m_motion(motion) {
        m_histories.starts_streams = true;
        m_used.set_motion_blur(motion);
    }

    /// Streams `count` rays out of a larger batch.
    void compare(const std::vector<naive::Box>& boxes, unsigned count, RayQuery query,
                 SeededRandom& random) {
        const unsigned before = random.below(4);
        const unsigned after = random.below(4);
        const std::vector<RaySpec> rays =
            make_hostile_rays(boxes, before + count + after, random, 0.0f, 1.0f);
        compare_rays(rays, before, count, query);
    }

    /// Streams `count` of these rays, from number `before` on.
    void compare_rays(const std::vector<RaySpec>& rays, unsigned before, unsigned count,
                      RayQuery query) {
        m_histories.trace(rays, 0, static_cast<int>(rays.size()) - 1, query, Handing::alone,
                          m_used);
        const CachedLeaves leaves(m_used.get_tree_ctx());
        const std::vector<RayHistory> streamed =
            m_histories.trace(rays, static_cast<int>(before), static_cast<int>(before + count) - 1,
                              query, Handing::stream, m_used);
        ASSERT_EQ(m_histories.get_breach(), "");
        ASSERT_TRUE(CachedLeaves(m_used.get_tree_ctx()) == leaves);
        for (unsigned ray = 0; ray < rays.size(); ++ray) {
            if (ray < before || ray >= before + count) {
                ASSERT_EQ(streamed[ray].calls, 0u) << ray;
                continue;
            }
            TestShader fresh;
            fresh.set_motion_blur(m_motion);
            ASSERT_EQ(streamed[ray],
                      m_histories.trace({rays[ray]}, 0, 0, query, Handing::alone, fresh)[0])
                << name(query) << ", ray " << ray << " of " << count;
        }
    }

  private:
    RayHistories& m_histories;
    CtxMotionBlur m_motion;
    TestShader m_used;
};

} // namespace support
