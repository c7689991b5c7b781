// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <tests/nasty/nasty_rays.h>
#include <tests/nasty/nasty_subject.h>
#include <tests/support/grid_items.h>
#include <tests/support/raw_rays.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/stream_oracle.h>

// The same tables with callbacks that shorten rays, lengthen them, stop them and trace on, in
// batches of all sizes around a packet's, with ranges that are a part of the batch.

namespace {

using namespace nasty;

/// How much of a batch is traced.
enum class Part { all, but_first, but_last };

support::BatchSpec choose_part(support::BatchSpec batch, Part part) {
    const int last = batch.last_ray;
    if (part == Part::but_first && last > 0)
        batch.first_ray = 1;
    if (part == Part::but_last && last > 0)
        batch.last_ray = last - 1;
    return batch;
}

/// Rays as a batch of the host's takes them, cut into batches of one and of 4k - 1 to 4k + 1.
std::vector<support::BatchSpec> cut_into_batches(const std::vector<RaySpec>& rays) {
    constexpr std::size_t sizes[] = {1, 3, 4, 5, 7, 8, 9, 15, 17, 1, 31, 33, 2};
    std::vector<RaySpec> usable;
    for (const RaySpec& ray : rays) {
        // That a NaN makes a ray of the host's batch miss everything has a test of its own.
        if (has_number(ray))
            usable.push_back(ray);
        if (usable.size() % 23 == 22)
            usable.back().is_hit_before = true;
    }
    std::vector<support::BatchSpec> batches;
    for (std::size_t first = 0; first < usable.size();) {
        const std::size_t size =
            std::min(sizes[batches.size() % std::size(sizes)], usable.size() - first);
        const auto begin = usable.begin() + static_cast<std::ptrdiff_t>(first);
        batches.push_back(
            choose_part(support::make_batch({begin, begin + static_cast<std::ptrdiff_t>(size)}),
                        static_cast<Part>(batches.size() % 3)));
        first += size;
    }
    return batches;
}

void record_calls(Subject& subject, support::RecordingCallbacks& calls) {
    using support::RecordingCallbacks;
    subject.get().set_callbacks(RecordingCallbacks::record<RayQuery::hit_static>,
                                RecordingCallbacks::record<RayQuery::hit_motion>,
                                RecordingCallbacks::record<RayQuery::nearest_static>,
                                RecordingCallbacks::record<RayQuery::nearest_motion>, &calls);
}

class NastyCallbacks : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(Trees, NastyCallbacks, testing::ValuesIn(all_kinds),
                         [](const auto& kind) { return name(kind.param); });

template <typename Tree> class NastyStreams : public testing::Test {
  protected:
    void fill(Tree& tree, const std::vector<Box>& boxes, naive::Split split) {
        if constexpr (std::is_same_v<Tree, GasGridTree>) {
            items = std::make_unique<support::GridItems>(boxes);
            items->attach(tree);
            tree.create(support::to_boxes(boxes), 1 + static_cast<unsigned>(boxes.size()) / 4,
                        nullptr, static_cast<GasBuildMethod>(split));
            tree.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
        } else {
            if constexpr (std::is_same_v<Tree, GasTree>)
                tree.set_wide_nodes(true);
            support::build(tree, boxes, split);
            if (!boxes.empty())
                support::fill_samples(tree, {boxes, transform(boxes, 1.0f, 0.5f), boxes});
        }
    }

    std::unique_ptr<support::GridItems> items;
};
using AllTrees = testing::Types<GasTree, GasCompressedTree, GasGridTree>;
struct AllTreeNames {
    template <typename Tree> static std::string GetName(int) {
        return name(std::is_same_v<Tree, GasTree>             ? Kind::plain
                    : std::is_same_v<Tree, GasCompressedTree> ? Kind::compressed
                                                              : Kind::grid);
    }
};
TYPED_TEST_SUITE(NastyStreams, AllTrees, AllTreeNames);

} // namespace

TEST_P(NastyCallbacks, SeeWhatThoseOfTheNaiveWalksSee) {
    std::size_t calls = 0;
    unsigned nested = 0;
    unsigned turn = 0;
    for_each_build([&](const BoxSet& set, naive::Split split) {
        for (const bool wide : {false, true}) {
            if (wide && GetParam() != Kind::plain)
                continue;
            for_each_instruction_set(turn + wide, [&] {
                SCOPED_TRACE(set.name + (wide ? ", wide, " : ", ") + support::name(split));
                Subject subject(GetParam());
                subject.set_wide(wide);
                subject.build(set.boxes, split,
                              {set.boxes, transform(set.boxes, 1.0f, 0.5f), set.boxes});
                support::Mirror mirror({&subject.get()}, CtxMotionBlur(0.0f, 1.0f, 0));
                for (const support::BatchSpec& batch : cut_into_batches(RayTable(set.boxes).rays)) {
                    for (const RayQuery query : support::all_ray_queries)
                        ASSERT_EQ(mirror.compare(batch, query, 0), "") << support::name(query);
                }
                calls += mirror.get_leaf_call_count();
                nested += mirror.get_nested_ray_count();
            });
        }
        ++turn;
    });
    EXPECT_GT(calls, 20000u);
    EXPECT_GT(nested, 2000u);
}

TEST_P(NastyCallbacks, OfMotionRaysSeeWhatThoseOfTheNaiveWalksSee) {
    constexpr std::pair<float, float> shutters[] = {{0.0f, 1.0f}, {1.0f, 1.0f}, {2.0f, 1.0f}};
    std::size_t calls = 0;
    unsigned turn = 0;
    for (const BoxSet& set : all_box_sets()) {
        // A few of each kind.
        if (set.boxes.size() < 2 || set.boxes.size() > 17)
            continue;
        for (const unsigned sample_count : {0u, 1u, 2u, turn % 32 == 0 ? 1000u : 5u}) {
            std::vector<std::vector<Box>> samples;
            for (unsigned sample = 0; sample < sample_count; ++sample)
                samples.push_back(transform(set.boxes, 1.0f, 0.03f * static_cast<float>(sample)));
            const auto& [open, close] = shutters[turn++ % 3];
            Subject subject(GetParam(), open, close);
            subject.set_wide(turn % 2 == 0);
            subject.build(set.boxes, naive::all_splits[turn % 4], samples);
            support::Mirror mirror({&subject.get()}, CtxMotionBlur(open, close, 0));
            unsigned number = 0;
            for (support::BatchSpec batch : cut_into_batches(RayTable(set.boxes).rays)) {
                for (RaySpec& ray : batch.rays)
                    ray.time = ray_times[++number % std::size(ray_times)];
                for (const RayQuery query : {RayQuery::hit_motion, RayQuery::nearest_motion})
                    ASSERT_EQ(mirror.compare(batch, query, 0), "")
                        << set.name << ", " << sample_count << " samples, " << support::name(query);
            }
            calls += mirror.get_leaf_call_count();
        }
    }
    EXPECT_GT(calls, 20000u);
}

TYPED_TEST(NastyStreams, GiveEachRayTheHistoryThatItHasAlone) {
    std::size_t calls = 0;
    std::size_t nested = 0;
    unsigned turn = 0;
    for_each_build([&](const BoxSet& set, naive::Split split) {
        for_each_instruction_set(turn, [&] {
            SCOPED_TRACE(set.name + ", " + support::name(split));
            TypeParam tree;
            this->fill(tree, set.boxes, split);
            support::RayHistories histories(tree);
            // A lone leaf is called for all rays at once.
            histories.expects_single_rays = set.boxes.size() != 1;
            support::StreamOracle oracle(histories, CtxMotionBlur(0.0f, 1.0f, 3));
            const RayTable table(set.boxes);
            // One query for a set, all of them by turns.
            const RayQuery query = support::all_ray_queries[turn % 4];
            const auto count = static_cast<unsigned>(table.rays.size());
            ASSERT_NO_FATAL_FAILURE(oracle.compare_rays(table.rays, 2, count - 3, query));
            ASSERT_NO_FATAL_FAILURE(oracle.compare_rays(table.rays, turn % count, 1, query));
            calls += histories.get_call_count();
            nested += histories.get_nested_count();
        });
        ++turn;
    });
    EXPECT_GT(calls, 20000u);
    EXPECT_GT(nested, 500u);
}

TEST(NastyBatches, ARangeWhoseFirstRayIsBeyondItsLastTracesNothing) {
    for (const Kind kind : all_kinds) {
        Subject subject(kind);
        subject.build(make_crowd(17), naive::Split::sah);
        support::RecordingCallbacks calls;
        record_calls(subject, calls);
        support::TestShader shader;
        support::RawRays batch(RayTable(make_crowd(17)).rays);
        const int last = static_cast<int>(batch.get_count()) - 1;
        for (const bool wide : {false, true}) {
            subject.set_wide(wide);
            for (const auto& [from, to] : {std::pair{0, -1}, {1, 0}, {last, 0}, {last, last - 1}}) {
                batch.get_data().set_range(from, to);
                for (const RayQuery query : support::all_ray_queries) {
                    subject.get().trace(query, shader, batch.get_ctx());
                    subject.get().trace_stream(query, shader, batch.get_ctx());
                    EXPECT_TRUE(calls.calls.empty()) << name(kind) << ", " << from << " to " << to;
                }
            }
        }
        batch.get_data().set_range(0, last);
        subject.get().trace(RayQuery::hit_static, shader, batch.get_ctx());
        EXPECT_FALSE(calls.calls.empty());
    }
}

// No answer would be right, and whatever hits it would hide the mistake.
TEST(NastyBatches, ARayWithANumberThatIsNoneHitsNothing) {
    constexpr double none = no_number;
    for (const unsigned place : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u}) {
        double numbers[8] = {-20, -5, -1, 1, 0.01, 0.01, 0, 100};
        const auto trace = [&](bool expected) {
            for (const Kind kind : all_kinds) {
                Subject subject(kind);
                subject.build(make_crowd(17), naive::Split::sah_fast);
                support::RecordingCallbacks calls;
                record_calls(subject, calls);
                support::TestShader shader;
                GeometryRayBatch batch(5);
                for (unsigned ray = 0; ray < 5; ++ray)
                    batch.set_ray(ray, {numbers[0], numbers[1], numbers[2]},
                                  {numbers[3], numbers[4], numbers[5]}, numbers[6], numbers[7]);
                for (const RayQuery query : support::all_ray_queries) {
                    subject.get().trace(query, shader, batch.get_ctx());
                    subject.get().trace_stream(query, shader, batch.get_ctx());
                    EXPECT_EQ(!calls.calls.empty(), expected)
                        << name(kind) << ", " << support::name(query) << ", number " << place;
                    calls.calls.clear();
                }
            }
        };
        trace(true);
        numbers[place] = none;
        trace(false);
    }
}
