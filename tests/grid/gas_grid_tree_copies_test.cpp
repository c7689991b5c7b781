// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <vector>

#include <tests/support/grid_items.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/split_scene.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_build.h>

// Copies: what they share, what is their own, and that nothing is freed early, twice or never.

namespace {

using support::BoxCallback;
using support::get_built_cells;
using support::GridItems;
using support::RayQuery;
using support::RecordingCallbacks;
using support::TestShader;

constexpr unsigned cluster_count = 5;

/// Traces one ray through a cluster and returns the items that `calls` heard of.
std::vector<unsigned> trace_cluster(const GasGridTree& grid, unsigned cluster, RayQuery query,
                                    RecordingCallbacks& calls) {
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, grid.get_motion_blur_sample_count()));
    GeometryRayBatch batch(1);
    support::aim_at_cluster(batch, 0, cluster);
    trace(grid, query, shader, batch.get_ctx());
    return calls.take_items();
}

/// A grid with a cell for each cluster.
struct Scene {
    Scene() : items(support::make_clusters(cluster_count, 30)) {
        calls.attach(grid);
        items.build(grid, support::get_cluster_target(cluster_count));
        EXPECT_EQ(grid.get_cell_count(), cluster_count);
    }

    GridItems items;
    RecordingCallbacks calls;
    GasGridTree grid;
};

} // namespace

TEST(GridCopies, ACopyAnswersAsItsSource) {
    Scene scene;
    scene.items.speeds.assign(scene.items.get_count(), 1.0f);
    trace_cluster(scene.grid, 1, RayQuery::hit_static, scene.calls);
    scene.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    trace_cluster(scene.grid, 2, RayQuery::hit_motion, scene.calls);
    const GasGridTree copy(scene.grid);
    GasGridTree assigned;
    assigned = scene.grid;
    EXPECT_EQ(get_built_cells(copy), (std::vector<unsigned>{1, 2}));
    EXPECT_EQ(get_built_cells(assigned), (std::vector<unsigned>{1, 2}));
    for (const GasGridTree* other : {&copy, static_cast<const GasGridTree*>(&assigned)}) {
        EXPECT_EQ(other->get_bbox(), scene.grid.get_bbox());
        EXPECT_EQ(other->get_motion_blur_sample_count(), 3u);
        EXPECT_EQ(other->get_blurred_bbox(2), scene.grid.get_blurred_bbox(2));
        EXPECT_EQ(other->get_memory_size(), scene.grid.get_memory_size());
        EXPECT_EQ(support::get_cells(*other), support::get_cells(scene.grid));
        for (const RayQuery query : support::all_ray_queries) {
            for (unsigned cluster = 0; cluster < cluster_count; ++cluster) {
                const auto expected = trace_cluster(scene.grid, cluster, query, scene.calls);
                EXPECT_FALSE(expected.empty());
                EXPECT_EQ(trace_cluster(*other, cluster, query, scene.calls), expected);
            }
        }
    }
}

TEST(GridCopies, ACellBuiltThroughOneIsBuiltInAll) {
    Scene scene;
    GasGridTree copies[] = {scene.grid, scene.grid};
    const GasGridTree* grids[] = {&scene.grid, &copies[0], &copies[1]};
    for (unsigned cluster = 0; cluster < 3; ++cluster) {
        trace_cluster(*grids[cluster], cluster, RayQuery::nearest_static, scene.calls);
        for (const GasGridTree* grid : grids) {
            EXPECT_EQ(grid->find_sub_tree(cluster), scene.grid.find_sub_tree(cluster));
            EXPECT_EQ(get_built_cells(*grid), support::list_items(cluster + 1));
            EXPECT_EQ(grid->get_memory_size(), scene.grid.get_memory_size());
            trace_cluster(*grid, cluster, RayQuery::nearest_static, scene.calls);
        }
        EXPECT_EQ(scene.items.take_requests().size(), 1u);
    }
}

TEST(GridCopies, CallbacksAreEachCopysOwn) {
    Scene scene;
    GasGridTree copy(scene.grid);
    RecordingCallbacks copy_calls;
    GridItems copy_items(scene.items.get_boxes());
    copy_calls.attach(copy);
    copy_items.attach(copy);

    // A cell's tree keeps the callbacks of the grid whose ray built it.
    EXPECT_TRUE(trace_cluster(copy, 0, RayQuery::hit_static, scene.calls).empty());
    EXPECT_FALSE(copy_calls.take_items().empty());
    EXPECT_EQ(copy_items.take_requests().size(), 1u);
    EXPECT_TRUE(trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls).empty());
    EXPECT_FALSE(copy_calls.take_items().empty());
    EXPECT_TRUE(scene.items.take_requests().empty());

    EXPECT_FALSE(trace_cluster(scene.grid, 1, RayQuery::hit_static, scene.calls).empty());
    EXPECT_FALSE(trace_cluster(copy, 1, RayQuery::hit_static, scene.calls).empty());
    EXPECT_EQ(scene.items.take_requests().size(), 1u);
    EXPECT_TRUE(copy_calls.take_items().empty());
    EXPECT_TRUE(copy_items.take_requests().empty());
}

TEST(GridCopies, ACopyTakesTheSourcesCallbacksAsTheyAre) {
    Scene scene;
    RecordingCallbacks later;
    const GasGridTree copy(scene.grid);
    later.attach(scene.grid);
    EXPECT_FALSE(trace_cluster(copy, 0, RayQuery::hit_static, scene.calls).empty());
    GasGridTree target;
    later.attach(target);
    target = copy;
    EXPECT_FALSE(trace_cluster(target, 1, RayQuery::hit_static, scene.calls).empty());
    EXPECT_TRUE(later.calls.empty());
}

TEST(GridCopies, ACopyOutlivesItsSource) {
    GridItems items(support::make_clusters(cluster_count, 30));
    RecordingCallbacks calls;
    std::unique_ptr<GasGridTree> copies[3];
    {
        GasGridTree source;
        calls.attach(source);
        items.build(source, support::get_cluster_target(cluster_count));
        trace_cluster(source, 0, RayQuery::hit_static, calls);
        source.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        copies[0] = std::make_unique<GasGridTree>(source);
        copies[1] = std::make_unique<GasGridTree>(*copies[0]);
    }
    copies[2] = std::make_unique<GasGridTree>(*copies[1]);
    for (auto& copy : copies) {
        for (const RayQuery query : support::all_ray_queries) {
            for (unsigned cluster = 0; cluster < cluster_count; ++cluster)
                EXPECT_FALSE(trace_cluster(*copy, cluster, query, calls).empty());
        }
        copy->update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
        copy.reset();
    }
}

TEST(GridCopies, AMotionUpdateThroughOneReachesAll) {
    Scene scene;
    scene.items.speeds.assign(scene.items.get_count(), 8.0f);
    GasGridTree copy(scene.grid);
    GasGridTree second(copy);
    GasGridTree* grids[] = {&scene.grid, &copy, &second};
    trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls);
    for (unsigned i = 0; i < 3; ++i) {
        const unsigned sample_count = i == 0 ? 4 : i == 1 ? 2 : 3;
        const CtxMotionBlur motion(0.0f, 1.0f + static_cast<float>(i), sample_count);
        grids[i]->update_motion_blur(motion);
        scene.items.take_requests();
        for (const GasGridTree* grid : grids) {
            EXPECT_EQ(grid->get_motion_blur_sample_count(), sample_count);
            EXPECT_EQ(grid->get_blurred_bbox(sample_count - 1).max.x,
                      417.0f + 8.0f * static_cast<float>(i));
            EXPECT_TRUE(grid->find_sub_tree(0)->is_motion_update_pending());
        }
        // Filled through any of them, once.
        TestShader shader;
        shader.set_motion_blur(motion);
        GeometryRayBatch batch(1);
        support::aim_at_cluster(batch, 0, 0);
        for (unsigned j = 0; j < 3; ++j)
            trace(*grids[(i + j + 1) % 3], RayQuery::hit_motion, shader, batch.get_ctx());
        EXPECT_EQ(scene.items.take_requests().size(), sample_count);
    }
    // None left behind after one of them is gone.
    second.clear();
    copy.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 6));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 6u);
    EXPECT_EQ(second.get_motion_blur_sample_count(), 0u);
    copy.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 0));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 0u);
}

// The update asks the callbacks of the grid that it was called on.
TEST(GridCopies, AMotionUpdateAsksThroughTheGridThatItIsCalledOn) {
    Scene scene;
    GridItems copy_items(scene.items.get_boxes());
    GasGridTree copy(scene.grid);
    copy_items.attach(copy);
    copy.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_TRUE(scene.items.take_requests().empty());
    EXPECT_EQ(copy_items.take_requests().size(), 2u * cluster_count);
}

TEST(GridCopies, ClearingOrRebuildingOneLeavesTheOthers) {
    Scene scene;
    GasGridTree copy(scene.grid);
    GasGridTree third(copy);
    trace_cluster(copy, 0, RayQuery::hit_static, scene.calls);
    scene.grid.clear();
    EXPECT_EQ(scene.grid.get_cell_count(), 0u);
    EXPECT_EQ(get_built_cells(copy), std::vector<unsigned>{0});
    scene.items.build(scene.grid, 1);
    EXPECT_TRUE(get_built_cells(scene.grid).empty());
    third.create(support::to_boxes(support::make_clusters(2, 10)), 1, nullptr, nullptr);
    EXPECT_EQ(third.get_cell_count(), 2u);
    EXPECT_EQ(copy.get_cell_count(), cluster_count);
    EXPECT_FALSE(trace_cluster(copy, 3, RayQuery::hit_static, scene.calls).empty());
}

TEST(GridCopies, AssignmentToItself) {
    Scene scene;
    trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls);
    const GasGridSubTree* const sub_tree = scene.grid.find_sub_tree(0);
    GasGridTree& same = scene.grid;
    scene.grid = same;
    EXPECT_EQ(scene.grid.find_sub_tree(0), sub_tree);
    EXPECT_FALSE(trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls).empty());

    // Between two that share already.
    GasGridTree copy(scene.grid);
    copy = scene.grid;
    scene.grid = copy;
    EXPECT_EQ(copy.find_sub_tree(0), sub_tree);
    EXPECT_EQ(scene.grid.find_sub_tree(0), sub_tree);
    copy.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 2u);
}

TEST(GridCopies, CopiesOfAnEmptyGrid) {
    Scene scene;
    GasGridTree empty;
    empty.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
    const GasGridTree copy(empty);
    EXPECT_EQ(copy.get_cell_count(), 0u);
    EXPECT_EQ(copy.get_motion_blur_sample_count(), 3u);
    scene.grid = empty;
    EXPECT_EQ(scene.grid.get_cell_count(), 0u);
    EXPECT_EQ(scene.grid.get_bbox(), GMathBbox3<float>());
    EXPECT_EQ(scene.grid.get_motion_blur_sample_count(), 3u);
    EXPECT_TRUE(trace_cluster(scene.grid, 0, RayQuery::hit_static, scene.calls).empty());
}

TEST(GridCopies, ACopyKeepsTheProgressOwner) {
    support::QuietProgress progress(naive::Split::median);
    GridItems items(scenes::make(scenes::Kind::random, 300, 4));
    GasGridTree grid;
    items.build(grid, 1, &progress.bar);
    const GasGridTree copy(grid);
    RecordingCallbacks calls;
    trace_cluster(copy, 0, RayQuery::hit_static, calls);
    ASSERT_EQ(copy.get_cell_count(), 1u);
    EXPECT_EQ(copy.find_sub_tree(0)->get_split_callback(), &GasCompressedTree::split_median);
}

namespace {

/// Three grids that start as copies of one, and what may be done to any of them.
class Family {
  public:
    static constexpr unsigned size = 3;
    static constexpr unsigned deed_count = 7;

    Family() : m_items(support::make_clusters(cluster_count, 8)) {
        for (auto& grid : m_grids)
            grid = std::make_unique<GasGridTree>();
        m_calls.attach(*m_grids[0]);
        m_items.build(*m_grids[0], support::get_cluster_target(cluster_count));
        m_grids[0]->update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        use(0, 0);
        *m_grids[1] = *m_grids[0];
        m_grids[2] = std::make_unique<GasGridTree>(*m_grids[1]);
        use(1, 1);
    }

    /// Does one of the deeds to a grid that still is there, then uses all grids.
    void act(unsigned deed, unsigned grid) {
        if (m_grids[grid])
            act_on(deed, grid);
        for (unsigned i = 0; i < size; ++i)
            use(i, (deed + i) % cluster_count);
    }

  private:
    void act_on(unsigned deed, unsigned grid) {
        GasGridTree& subject = *m_grids[grid];
        const std::unique_ptr<GasGridTree>& next = m_grids[(grid + 1) % size];
        switch (deed) {
        case 0:
            m_grids[grid].reset();
            return;
        case 1:
            return subject.clear();
        case 2:
            return m_items.build(subject, support::get_cluster_target(cluster_count));
        case 3:
            if (next)
                subject = *next;
            return;
        case 4:
            return subject.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2 + grid));
        case 5:
            return subject.create(CoreArray<GMathBbox3<float>>(), 1, nullptr, nullptr);
        default:
            subject = GasGridTree(subject);
        }
    }

    /// Traces through a cluster, static and motion, and finds what must be there.
    void use(unsigned grid, unsigned cluster) {
        if (!m_grids[grid])
            return;
        const GasGridTree& subject = *m_grids[grid];
        for (const RayQuery query : support::all_ray_queries) {
            EXPECT_EQ(trace_cluster(subject, cluster, query, m_calls).empty(),
                      subject.get_cell_count() == 0);
        }
        EXPECT_EQ(subject.get_bbox().max.x, subject.get_cell_count() == 0 ? 0.0f : 409.0f);
    }

    GridItems m_items;
    RecordingCallbacks m_calls;
    std::unique_ptr<GasGridTree> m_grids[size];
};

} // namespace

// Every deed to every grid in every order of the grids, and the grids that are left destroyed.
TEST(GridCopies, EveryOrderOfDestroyingClearingBuildingAndAssigning) {
    std::vector<unsigned> order = {0, 1, 2};
    do {
        for (unsigned first = 0; first < Family::deed_count; ++first) {
            for (unsigned second = 0; second < Family::deed_count; ++second) {
                for (unsigned third = 0; third < Family::deed_count; ++third) {
                    Family family;
                    family.act(first, order[0]);
                    family.act(second, order[1]);
                    family.act(third, order[2]);
                }
            }
        }
    } while (std::next_permutation(order.begin(), order.end()));
}

TEST(GridCopies, LongRandomLives) {
    support::SeededRandom random(3);
    for (unsigned life = 0; life < 50; ++life) {
        Family family;
        for (unsigned i = 0; i < 40; ++i) {
            // Grids are destroyed more rarely.
            const unsigned deed = random.below(8) ? 1 + random.below(Family::deed_count - 1) : 0;
            family.act(deed, random.below(Family::size));
        }
    }
}
