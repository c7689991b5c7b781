// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <new>

#include <tests/support/allocation_counter.h>
#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/solid_items.h>
#include <tests/support/test_shader.h>

// Grids where memory runs out, at every single allocation in turn.

namespace {

using support::get_built_cells;
using support::GridItems;
using support::RayQuery;
using support::SolidItems;
using support::TestShader;

/// Blocks of the calling thread that were allocated and not yet released.
std::int64_t count_live_blocks() {
    const support::AllocationCounts counts = support::get_allocation_counts();
    return static_cast<std::int64_t>(counts.allocations - counts.releases);
}

/// Runs `action` with one allocation after another failing, each time after `prepare` and followed
/// by `check(whether it ran out of memory)`, until it makes no more.
template <typename Prepare, typename Action, typename Check>
void fail_each_allocation(const Prepare& prepare, const Action& action, const Check& check) {
    bool has_failed = true;
    for (std::uint64_t nth = 0; has_failed; ++nth) {
        prepare();
        bool thrown = false;
        {
            const support::FailingAllocation failing(nth);
            try {
                action();
            } catch (const std::bad_alloc&) {
                thrown = true;
            }
            has_failed = failing.has_failed();
        }
        EXPECT_EQ(thrown, has_failed) << nth;
        check(thrown);
    }
}

/// Box callbacks that let no exception out, since they do not allocate.
void give_boxes_at(void* user, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>* bboxes) {
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = support::to_box(static_cast<GridItems*>(user)->get_box(items[i], time));
}

void give_boxes(void* user, const unsigned& count, const unsigned* items,
                GMathBbox3<float>* bboxes) {
    give_boxes_at(user, 0.0, count, items, bboxes);
}

void give_union_at(void* user, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>& bbox) {
    const GridItems& self = *static_cast<const GridItems*>(user);
    naive::Box box = self.get_box(items[0], time);
    for (unsigned i = 1; i < count; ++i)
        box = naive::unite(box, self.get_box(items[i], time));
    bbox = support::to_box(box);
}

/// A grid of three cells, a shader and rays through all cells.
struct Scene {
    Scene() : items(support::make_clusters(3, 30)), solids(items, 0.03125), batch(3) {
        items.speeds.assign(items.get_count(), 1.0f);
        grid.set_leaf_bbox_callbacks(give_boxes, give_boxes_at, nullptr, give_union_at, &items);
        solids.attach(grid);
        for (unsigned ray = 0; ray < 3; ++ray)
            support::aim_at_cluster(batch, ray, ray, 0.5f);
    }

    void build() {
        grid.create(support::to_boxes(items.get_boxes()), support::get_cluster_target(3), nullptr,
                    nullptr);
    }

    /// Whether rays through the grid find what trying every item finds.
    std::string find_difference(const GasGridTree& traced, RayQuery query) {
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, traced.get_motion_blur_sample_count()));
        batch.reset_hits();
        const auto expected = find_fates(solids, items, batch, query);
        trace(traced, query, shader, batch.get_ctx());
        return support::find_difference(support::get_fates(batch), expected);
    }

    GridItems items;
    SolidItems solids;
    GasGridTree grid;
    TestShader shader;
    GeometryRayBatch batch;
};

} // namespace

TEST(GridAllocations, ABuildThatRunsOutOfMemoryLeavesAnEmptyGridAndNoBlocks) {
    const CoreArray<GMathBbox3<float>> boxes = support::to_boxes(support::make_clusters(3, 30));
    const std::vector<unsigned> indices(90, 7);
    std::int64_t before = 0;
    GasGridTree grid;
    fail_each_allocation(
        [&] {
            grid.clear();
            before = count_live_blocks();
            grid.create(boxes, 1, nullptr, nullptr);
            support::reach_all_cells(grid);
        },
        [&] { grid.create(boxes, 1, indices.data(), nullptr); },
        [&](bool thrown) {
            EXPECT_EQ(grid.get_cell_count(), thrown ? 0u : 3u);
            EXPECT_EQ(grid.get_top_tree().is_empty(), thrown);
            if (thrown) {
                EXPECT_EQ(count_live_blocks(), before);
            }
        });
}

TEST(GridAllocations, ABuildFromTheCallbackThatRunsOutOfMemoryLeavesAnEmptyGrid) {
    GasGridTree grid;
    grid.create(1000, 1, nullptr, nullptr); // has the host make its task threads
    std::int64_t before = 0;
    fail_each_allocation(
        [&] {
            grid.clear();
            before = count_live_blocks();
        },
        [&] { grid.create(1000, 1, nullptr, nullptr); },
        [&](bool thrown) {
            EXPECT_EQ(grid.get_cell_count(), thrown ? 0u : 1u);
            if (thrown) {
                EXPECT_EQ(count_live_blocks(), before);
            }
        });
}

TEST(GridAllocations, AnAssignmentThatRunsOutOfMemoryLeavesAnEmptyGrid) {
    GridItems items(support::make_clusters(3, 30));
    GasGridTree source;
    items.build(source, support::get_cluster_target(3));
    source.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    GasGridTree grid;
    fail_each_allocation([&] { grid.clear(); }, [&] { grid = source; },
                         [&](bool thrown) {
                             EXPECT_EQ(grid.get_cell_count(), thrown ? 0u : 3u);
                             EXPECT_EQ(grid.get_top_tree().is_empty(), thrown);
                         });
    EXPECT_EQ(grid.get_motion_blur_sample_count(), 3u);
}

// The cell's lock is let go, and the next ray builds it.
TEST(GridAllocations, ACellThatRunsOutOfMemoryIsBuiltByTheNextRay) {
    Scene scene;
    fail_each_allocation([&] { scene.build(); },
                         [&] {
                             scene.batch.reset_hits();
                             trace(scene.grid, RayQuery::hit_static, scene.shader,
                                   scene.batch.get_ctx());
                         },
                         [&](bool) {
                             EXPECT_EQ(scene.find_difference(scene.grid, RayQuery::hit_static), "");
                             EXPECT_EQ(get_built_cells(scene.grid).size(), 3u);
                         });
}

TEST(GridAllocations, ACellsMotionUpdateThatRunsOutOfMemoryIsDoneByTheNextRay) {
    Scene scene;
    const CtxMotionBlur motion(0.0f, 1.0f, 3);
    scene.shader.set_motion_blur(motion);
    fail_each_allocation(
        [&] {
            scene.build();
            support::reach_all_cells(scene.grid);
            scene.grid.update_motion_blur(motion);
        },
        [&] {
            scene.batch.reset_hits();
            trace(scene.grid, RayQuery::hit_motion, scene.shader, scene.batch.get_ctx());
        },
        [&](bool) {
            EXPECT_EQ(scene.find_difference(scene.grid, RayQuery::nearest_motion), "");
            for (unsigned cell = 0; cell < 3; ++cell)
                EXPECT_FALSE(scene.grid.find_sub_tree(cell)->is_motion_update_pending());
        });
}

// More samples than before or fewer: no copy goes on looking at samples that were released.
TEST(GridAllocations, AMotionUpdateThatRunsOutOfMemoryLeavesAllAsTheyWere) {
    Scene scene;
    GasGridTree copy;
    for (const unsigned sample_count : {2u, 7u}) {
        const CtxMotionBlur motion(0.0f, 1.0f, sample_count);
        fail_each_allocation(
            [&] {
                scene.build();
                scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4));
                copy = scene.grid;
            },
            [&] { scene.grid.update_motion_blur(motion); },
            [&](bool thrown) {
                for (const GasGridTree* grid : {&copy, &scene.grid}) {
                    EXPECT_EQ(grid->get_motion_blur_sample_count(), thrown ? 4u : sample_count);
                    EXPECT_EQ(scene.find_difference(*grid, RayQuery::hit_motion), "");
                    scene.shader.set_motion_blur(
                        CtxMotionBlur(0.0f, 1.0f, grid->get_motion_blur_sample_count()));
                    trace(*grid, RayQuery::nearest_motion, scene.shader, scene.batch.get_ctx());
                    grid->get_blurred_bbox(grid->get_motion_blur_sample_count() - 1);
                }
                copy.update_motion_blur(motion);
                EXPECT_EQ(scene.find_difference(scene.grid, RayQuery::nearest_motion), "");
                EXPECT_EQ(scene.find_difference(copy, RayQuery::nearest_static), "");
            });
    }
}

TEST(GridAllocations, ACopyThatRunsOutOfMemoryMayBeRepeated) {
    Scene scene;
    scene.build();
    scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    GasGridTree target;
    fail_each_allocation([&] { target = GasGridTree(); }, [&] { target = scene.grid; },
                         [&](bool) {
                             trace(target, RayQuery::nearest_motion, scene.shader,
                                   scene.batch.get_ctx());
                             target = scene.grid;
                             EXPECT_EQ(scene.find_difference(target, RayQuery::nearest_motion), "");
                         });
    fail_each_allocation([] {}, [&] { const GasGridTree copy(scene.grid); }, [](bool) {});
    EXPECT_EQ(scene.find_difference(scene.grid, RayQuery::nearest_motion), "");
}

TEST(GridAllocations, AStreamAllocatesNothingOnceFramesHaveGrownAndCellsAreBuilt) {
    GridItems items(support::make_clusters(4, 20));
    GasGridTree grid;
    items.build(grid, support::get_cluster_target(4));
    const CtxMotionBlur motion(0.0f, 1.0f, 2);
    grid.update_motion_blur(motion);
    TestShader shader;
    shader.set_motion_blur(motion);
    for (const unsigned ray_count : {5u, 40u, 400u}) {
        GeometryRayBatch batch(ray_count);
        const auto count = [&](RayQuery query) {
            for (unsigned ray = 0; ray < ray_count; ++ray)
                support::aim_at_cluster(batch, ray, ray % 4, 0.5f);
            const std::uint64_t before = support::get_allocation_counts().allocations;
            support::trace_stream(grid, query, shader, batch.get_ctx());
            return support::get_allocation_counts().allocations - before;
        };
        for (const RayQuery query : support::all_ray_queries)
            count(query);
        for (const RayQuery query : support::all_ray_queries)
            EXPECT_EQ(count(query), 0u) << support::name(query) << ", " << ray_count << " rays";
    }
}
