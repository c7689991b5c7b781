// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <utility>

#include <gas/grid/gas_grid_tree.h>

#include <fuzz/fuzz_trees.h>
#include <tests/mirror/mirrored_grid.h>
#include <tests/support/grid_items.h>

// GasGridTree over any boxes, in an array or from box callbacks, on threads, and with callbacks
// that throw; its cells, the order in which rays build them, queries and streams.

namespace {

using fuzz::Boxes;
using fuzz::expect;
using fuzz::expect_none;
using support::Handing;
using support::RayQuery;

/// From one cell for all items to many more than items.
unsigned take_target(FuzzInput& input, std::size_t count) {
    const unsigned choice = input.take_byte();
    const auto items = static_cast<unsigned>(count);
    const unsigned targets[] = {0, 1, items, 8 * items, choice};
    return targets[choice % std::size(targets)];
}

void check_against_second(FuzzInput& input) {
    const CtxMotionBlur shutter(0.0f, 1.0f, 0);
    const fuzz::Scene scene = fuzz::take_scene(input);
    support::MirroredGrid grid(shutter);
    support::MirroredGrid third(shutter);
    grid.set_target(take_target(input, scene.boxes.size()));
    grid.build(scene.boxes, scene.split, scene.indices, scene.samples);
    expect_none(grid.find_tree_difference(), "a grid and the second one");
    Boxes few = scene.boxes;
    few.resize((few.size() + 2) / 3);
    third.build(few, scene.split, {}, {});
    support::Mirror mirror({&grid, &third}, shutter);
    fuzz::RayTaker rays(input, scene.boxes);
    for (unsigned round = 0; round < 4 && !input.is_empty(); ++round) {
        const unsigned choice = input.take_byte();
        if (choice >= 224) {
            std::vector<Boxes> samples(choice % 4);
            for (Boxes& sample : samples)
                sample = fuzz::take_moved_boxes(input, scene.boxes);
            grid.update_motion(samples);
        }
        expect_none(mirror.compare(rays.take_batch(input), fuzz::take_query(input),
                                   choice % 8 == 7 ? 1 : 0),
                    "rays and those of the second implementation");
    }
    expect_none(grid.find_tree_difference(), "what rays built and the second grid");
    grid.reach_all_cells();
    expect_none(grid.find_tree_difference(), "all cells and the second grid");
}

/// Items that move along x.
void set_speeds(FuzzInput& input, support::GridItems& items) {
    for (float& speed : items.speeds)
        speed = input.take_lattice();
}

void check_streams(FuzzInput& input) {
    const fuzz::Scene scene = fuzz::take_scene(input);
    support::GridItems items(scene.boxes, scene.indices);
    set_speeds(input, items);
    GasGridTree grid;
    items.build(grid, take_target(input, scene.boxes.size()));
    const CtxMotionBlur motion(0.0f, 1.0f, static_cast<unsigned>(scene.samples.size()));
    grid.update_motion_blur(motion);
    support::RayHistories histories(grid);
    // A lone item is called for the whole range.
    histories.expects_single_rays = false;
    fuzz::RayTaker taker(input, scene.boxes);
    while (!input.is_empty() && histories.get_call_count() < fuzz::many_calls) {
        const RayQuery query = fuzz::take_query(input);
        std::vector<fuzz::RaySpec> rays = taker.take_rays(input);
        const auto trace = [&](const std::vector<fuzz::RaySpec>& traced, Handing handing) {
            support::TestShader shader;
            shader.set_motion_blur(motion);
            return histories.trace(traced, 0, static_cast<int>(traced.size()) - 1, query, handing,
                                   shader);
        };
        // Either may be the first to reach a cell.
        const bool is_stream_first = input.take_flag();
        std::vector<support::RayHistory> streamed;
        if (is_stream_first)
            streamed = trace(rays, Handing::stream);
        const std::size_t calls_before = histories.get_call_count();
        std::vector<support::RayHistory> each;
        for (const fuzz::RaySpec& ray : rays)
            each.push_back(trace({ray}, Handing::alone)[0]);
        if (!is_stream_first) {
            if (histories.get_call_count() < calls_before + fuzz::few_calls) {
                fuzz::repeat_for_trials(rays);
                fuzz::repeat_for_trials(each);
            }
            streamed = trace(rays, Handing::stream);
        }
        expect(streamed == each, "rays of a stream have the history that they have alone");
        expect_none(histories.get_breach(), "a promise");
    }
}

void expect_same(const GasGridTree& grid, const GasGridTree& expected) {
    expect(support::get_cells(grid) == support::get_cells(expected), "cells have the same items");
    expect(fuzz::are_equal(grid.get_top_tree(), expected.get_top_tree()), "the same top tree");
    for (unsigned cell = 0; cell < expected.get_cell_count(); ++cell)
        expect_none(
            support::find_difference(*grid.find_sub_tree(cell), *expected.find_sub_tree(cell)),
            "trees of cells");
}

/// A grid over an array on this thread, and one over a callback on several, with requests large
/// enough for tasks.
void check_threads(FuzzInput& input) {
    const GasBuildMethod method = fuzz::get_method(fuzz::take_split(input));
    const unsigned thread_count = 2 + input.take_below(4);
    const unsigned count = 1 + 8 * input.take_byte();
    support::GridItems items(fuzz::take_boxes(input, count));
    set_speeds(input, items);
    const unsigned target = take_target(input, count);
    GasGridTree serial;
    GasGridTree parallel;
    items.attach(serial);
    items.attach(parallel);
    serial.create(support::to_boxes(items.get_boxes()), target, nullptr, method);
    SysThreadTaskManager manager(&fuzz::Threads::get());
    parallel.create(count, target, nullptr, method, manager, thread_count);
    const CtxMotionBlur motion(0.0f, 1.0f, input.take_below(4));
    serial.update_motion_blur(motion);
    parallel.update_motion_blur(motion);
    support::reach_all_cells(serial, motion);
    GasGridTree copy(parallel);
    support::reach_all_cells(copy, motion);
    parallel.clear();
    GasGridTree moved(std::move(copy));
    expect_same(moved, serial);
}

/// What callbacks throw passes through, and rays that come again find what they would have found.
void check_throwing(FuzzInput& input) {
    const fuzz::Scene scene = fuzz::take_scene(input);
    support::GridItems items(scene.boxes);
    set_speeds(input, items);
    std::atomic<unsigned> calls_until_throw = input.take_below(16);
    items.react = [&](const support::BoxRequest&) {
        if (calls_until_throw.fetch_sub(1) == 0) {
            calls_until_throw = 2;
            throw std::pair<int, int>(1, 2);
        }
    };
    unsigned throw_count = 0;
    const auto insist = [&](const auto& work) {
        for (;;) {
            try {
                return work();
            } catch (const std::pair<int, int>&) {
                expect(++throw_count < 100000, "a callback that does not throw is enough");
                // Later and later, for something to come to its end.
                calls_until_throw = throw_count;
            }
        }
    };
    const CtxMotionBlur motion(0.0f, 1.0f, static_cast<unsigned>(scene.samples.size()));
    const unsigned target = take_target(input, scene.boxes.size());
    const auto count = static_cast<unsigned>(scene.boxes.size());
    GasGridTree grid;
    GasGridTree calm;
    support::GridItems calm_items(scene.boxes);
    calm_items.speeds = items.speeds;
    items.attach(grid);
    calm_items.attach(calm);
    insist([&] { grid.create(count, target, nullptr, fuzz::get_method(scene.split)); });
    calm.create(count, target, nullptr, fuzz::get_method(scene.split));
    insist([&] { grid.update_motion_blur(motion); });
    calm.update_motion_blur(motion);
    support::RecordingCallbacks calls(grid);
    support::RecordingCallbacks calm_calls(calm);
    fuzz::RayTaker taker(input, scene.boxes);
    const std::vector<fuzz::RaySpec> rays = taker.take_rays(input);
    for (const RayQuery query : support::all_ray_queries) {
        const auto trace = [&](const GasGridTree& traced, support::RecordingCallbacks& recorded) {
            recorded.calls.clear();
            support::TestShader shader;
            shader.set_motion_blur(motion);
            support::RawRays batch(rays);
            batch.get_data().set_range(0, static_cast<int>(rays.size()) - 1);
            support::trace(traced, query, shader, batch.get_ctx());
        };
        insist([&] { trace(grid, calls); });
        trace(calm, calm_calls);
        expect(calls.take_items() == calm_calls.take_items(), "rays that come again find the same");
    }
    insist([&] { support::reach_all_cells(grid, motion); });
    support::reach_all_cells(calm, motion);
    expect_same(grid, calm);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    fuzz::take_instruction_set(input);
    const unsigned choice = input.take_below(32);
    if (choice < 3)
        check_threads(input);
    else if (choice < 8)
        check_throwing(input);
    else if (choice < 18)
        check_streams(input);
    else
        check_against_second(input);
    return 0;
}
