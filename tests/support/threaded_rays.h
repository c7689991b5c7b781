// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include <tests/support/latch.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/seeded_random.h>
#include <tests/support/test_shader.h>

namespace support {

/// Traces batches through one tree from several threads at once, each with a shader of its own: all
/// must find what one thread finds. A built tree is shared by threads; what a query writes belongs
/// to its shader and its batch.
class ThreadedRays {
  public:
    explicit ThreadedRays(unsigned batch_size) : m_batch_size(batch_size) {}

    /// The tree's leaf callbacks choose between hit and miss by item and ray alone, and keep the
    /// called items in the evaluation's user data, which each thread has for itself.
    template <typename Tree> static void attach(Tree& tree) {
        tree.set_leaf_raytrace_callbacks(hit_or_miss, hit_or_miss, nullptr);
    }

    /// `trace(query, shader, rays, eval)` runs one query of a kind; `alone` is the same, of a tree
    /// that one thread has for itself.
    template <typename Alone, typename Trace>
    void expect_same(const Alone& alone, const Trace& trace) {
        const Outcome expected = trace_all(alone);
        EXPECT_GT(expected.items.size(), 1000u);
        constexpr unsigned thread_count = 3;
        support::Latch start(thread_count);
        Outcome outcomes[thread_count];
        std::vector<std::thread> threads;
        for (Outcome& outcome : outcomes) {
            threads.emplace_back([&] {
                start.arrive_and_wait();
                outcome = trace_all(trace);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        for (const Outcome& outcome : outcomes)
            EXPECT_TRUE(outcome == expected);
    }

  private:
    struct Outcome {
        std::vector<unsigned> items;
        std::vector<double> distances;
        std::vector<bool> hits;

        bool operator==(const Outcome&) const = default;
    };

    static void hit_or_miss(void*, const unsigned& item, const CtxEval& eval, CtxShader&,
                            GeometryRaytraceCtx& rays) {
        static_cast<std::vector<unsigned>*>(eval.user_data)->push_back(item);
        for_each_ray(rays, [&](unsigned ray) {
            SeededRandom random((std::uint64_t{item} << 32) + ray);
            if (random.below(4) == 0)
                rays.record_nearest_hit(ray, 20.0 + 100.0 * random.uniform_double(), item);
        });
    }

    template <typename Trace> Outcome trace_all(const Trace& trace) const {
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        GeometryRayBatch batch(m_batch_size);
        SeededRandom random(5);
        Outcome outcome;
        CtxEval eval;
        eval.user_data = &outcome.items;
        for (unsigned traced = 0; traced < ray_count; traced += m_batch_size) {
            for (unsigned ray = 0; ray < m_batch_size; ++ray) {
                const auto coordinate = [&] { return random.uniform_double() * 2.0 - 1.0; };
                const GMathVec3<double> origin = {60.0 * coordinate(), 60.0 * coordinate(),
                                                  60.0 * coordinate()};
                batch.set_ray(ray, origin, origin * -0.01, 0.0, 1000.0, random.uniform(),
                              static_cast<int>(random.below(6)));
            }
            for (const RayQuery query : all_ray_queries) {
                batch.reset_hits();
                trace(query, shader, batch.get_ctx(), eval);
                for (unsigned ray = 0; ray < m_batch_size; ++ray) {
                    outcome.distances.push_back(batch.get_hit_distance(ray));
                    outcome.hits.push_back(batch.is_hit(ray));
                }
            }
        }
        return outcome;
    }

    static constexpr unsigned ray_count = 640;
    unsigned m_batch_size;
};

} // namespace support
