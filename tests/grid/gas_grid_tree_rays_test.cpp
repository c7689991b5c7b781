// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <set>

#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/pinhole_tile.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/solid_items.h>
#include <tests/support/test_shader.h>

// What rays find against trying every item, and against a GasTree over all items.

namespace {

using support::Fate;
using support::find_difference;
using support::get_fates;
using support::GridItems;
using support::RayQuery;
using support::RecordingCallbacks;
using support::SeededRandom;
using support::SolidItems;
using support::TestShader;

constexpr double margin = 0.0625;
constexpr double far_away = 500.0;
constexpr unsigned batches_per_grid = support::scale(support::scale_when_whole(10, 5), 2);

// Scenes of the compressed tree's working range, wider than flat.
constexpr scenes::Kind kinds[] = {
    scenes::Kind::random, scenes::Kind::clustered, scenes::Kind::flat,      scenes::Kind::collinear,
    scenes::Kind::grid,   scenes::Kind::nested,    scenes::Kind::coincident};

/// Scales a scene to 100 units and pads its boxes, so that the items inside have a size.
std::vector<naive::Box> fit(std::vector<naive::Box> boxes) {
    float reach = 1e-6f;
    for (const naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis)
            reach = std::max({reach, std::abs(box.min[axis]), std::abs(box.max[axis])});
    }
    for (naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            box.min[axis] = box.min[axis] * (50.0f / reach) - 0.25f;
            box.max[axis] = box.max[axis] * (50.0f / reach) + 0.25f;
        }
    }
    return boxes;
}

std::vector<unsigned> shuffle_values(unsigned count, SeededRandom& random) {
    std::vector<unsigned> values(count);
    for (unsigned i = 0; i < count; ++i)
        values[i] = 10 * i;
    for (unsigned i = count; i > 1; --i)
        std::swap(values[i - 1], values[random.below(i)]);
    return values;
}

/// A grid and a tree over the same moving items.
struct Scene {
    Scene(scenes::Kind kind, unsigned count, SeededRandom& random)
        : items(fit(scenes::make(kind, count, count)),
                random.below(2) ? shuffle_values(count, random) : std::vector<unsigned>()),
          solids(items, margin) {
        for (float& speed : items.speeds)
            speed = random.between(-4.0f, 4.0f);
        solids.attach(grid);
        solids.attach(tree);
        tree.create(support::to_boxes(items.get_boxes()), items.get_values(), nullptr, 1.0f);
        tree.set_motion_blur_sample_count(2);
        std::vector<unsigned> values;
        for (unsigned position = 0; position < count; ++position)
            values.push_back(items.get_value(position));
        for (unsigned sample = 0; sample < 2; ++sample)
            tree.refit_motion_blur_sample(
                support::to_boxes(items.get_boxes_of(values, static_cast<double>(sample))), sample);
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    }

    void build(unsigned target) {
        items.build(grid, target);
        grid.update_motion_blur(shader.get_motion_blur());
    }

    GridItems items;
    SolidItems solids;
    GasGridTree grid;
    GasTree tree;
    TestShader shader;
};

/// Rays from outside the scene to near its items: of items around an origin one would be as near as
/// another.
void set_random_rays(GeometryRayBatch& batch, const GridItems& items, SeededRandom& random) {
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        const naive::Box& target = items.get_boxes()[random.below(items.get_count())];
        GMathVec3<double> origin;
        GMathVec3<double> direction;
        for (unsigned axis = 0; axis < 3; ++axis) {
            origin[axis] = (random.uniform_double() * 2.0 - 1.0) * 60.0;
            const double low = static_cast<double>(target.min[axis]);
            const double high = static_cast<double>(target.max[axis]);
            direction[axis] =
                low + (high - low) * (random.uniform_double() * 2.0 - 0.5) - origin[axis];
        }
        const unsigned axis = random.below(3);
        direction[axis] += origin[axis];
        origin[axis] = random.below(2) ? 60.0 : -60.0;
        direction[axis] -= origin[axis];
        if (random.below(8) == 0)
            direction[(axis + 1) % 3] = 0.0;
        batch.set_ray(ray, origin, direction, 0.0, random.below(4) ? 20.0 : 1.0, random.uniform(),
                      static_cast<int>(random.below(6)));
    }
    batch.clear_frustum();
}

/// A camera's tile over the scene, at one time, with its frustum or without.
void set_camera_rays(GeometryRayBatch& batch, const GridItems& items, SeededRandom& random) {
    const naive::Box& target = items.get_boxes()[random.below(items.get_count())];
    GMathVec3<double> aim;
    for (unsigned axis = 0; axis < 3; ++axis)
        aim[axis] =
            0.5 * (static_cast<double>(target.min[axis]) + static_cast<double>(target.max[axis]));
    const GMathVec3<double> eye = {aim.x + 70.0, aim.y - 30.0, aim.z + 20.0};
    const support::PinholeTile tile = support::make_tile(random, eye, aim, 0.3);
    const unsigned width = 8;
    const unsigned rows = batch.get_ray_count() / width;
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray)
        batch.set_ray(ray, eye,
                      tile.get_direction((ray % width + 0.5) / width, (ray / width + 0.5) / rows),
                      0.0, 10.0, 0.25f);
    batch.clear_frustum();
    if (random.below(2))
        batch.set_frustum(tile.make_frustum());
}

/// Traces the batch through the grid and the tree, and holds both against a search. Returns how
/// many rays hit.
unsigned compare(Scene& scene, GeometryRayBatch& batch, RayQuery query) {
    batch.reset_hits();
    const std::vector<Fate> expected = find_fates(scene.solids, scene.items, batch, query);
    trace(scene.tree, query, scene.shader, batch.get_ctx(), true);
    EXPECT_EQ(find_difference(get_fates(batch), expected), "") << "through the tree";
    batch.reset_hits();
    trace(scene.grid, query, scene.shader, batch.get_ctx());
    EXPECT_EQ(find_difference(get_fates(batch), expected), "")
        << "through the grid, " << name(query);
    const auto is_hit = [](const Fate& fate) { return fate.is_hit; };
    return static_cast<unsigned>(std::count_if(expected.begin(), expected.end(), is_hit));
}

} // namespace

TEST(GridRays, HitsAreThoseOfTryingEveryItemAndOfATree) {
    SeededRandom random(1);
    unsigned hits = 0;
    for (const scenes::Kind kind : kinds) {
        for (const unsigned count : {1u, 2u, 40u, 700u}) {
            Scene scene(kind, count, random);
            for (const unsigned target : {1u, 8u, 100u, 3000u}) {
                scene.build(target);
                GeometryRayBatch single(1);
                GeometryRayBatch several(24);
                for (unsigned i = 0; i < batches_per_grid; ++i) {
                    for (const RayQuery query : support::all_ray_queries) {
                        set_random_rays(single, scene.items, random);
                        hits += compare(scene, single, query);
                        set_random_rays(several, scene.items, random);
                        hits += compare(scene, several, query);
                        set_camera_rays(several, scene.items, random);
                        hits += compare(scene, several, query);
                    }
                    ASSERT_FALSE(HasFailure())
                        << scenes::name(kind) << " " << count << " " << target;
                }
            }
        }
    }
    EXPECT_GT(hits, 2000u * batches_per_grid);
}

// Coinciding items in cells of their own and in shared ones: the lower number wins everywhere.
TEST(GridRays, EquallyNearHitsAreDecidedByTheItem) {
    SeededRandom random(2);
    std::vector<naive::Box> boxes = fit(scenes::make(scenes::Kind::random, 300, 9));
    const std::vector<naive::Box> once = boxes;
    for (unsigned i = 0; i < 3; ++i)
        boxes.insert(boxes.end(), once.begin(), once.end());
    GridItems items(boxes, shuffle_values(1200, random));
    SolidItems solids(items, margin);
    GasGridTree grid;
    GasTree tree;
    solids.attach(grid);
    solids.attach(tree);
    tree.create(support::to_boxes(boxes), items.get_values(), nullptr, 1.0f);
    TestShader shader;
    GeometryRayBatch batch(32);
    unsigned hits = 0;
    for (const unsigned target : {1u, 30u, 1000u}) {
        items.build(grid, target);
        for (unsigned i = 0; i < 20; ++i) {
            set_random_rays(batch, items, random);
            const std::vector<Fate> expected =
                find_fates(solids, items, batch, RayQuery::nearest_static);
            tree.ray_hit_nearest_static(CtxEval(), shader, batch.get_ctx(), true);
            EXPECT_EQ(find_difference(get_fates(batch), expected), "");
            batch.reset_hits();
            trace(grid, RayQuery::nearest_static, shader, batch.get_ctx());
            EXPECT_EQ(find_difference(get_fates(batch), expected), "");
            for (const Fate& fate : expected)
                hits += fate.is_hit;
        }
    }
    EXPECT_GT(hits, 200u);
}

TEST(GridRays, AnUnstoppedRayCallsEveryItemThatItCrossesOnce) {
    SeededRandom random(3);
    std::size_t called = 0;
    for (const scenes::Kind kind : kinds) {
        for (const unsigned count : {2u, 300u}) {
            for (const unsigned target : {1u, 20u, 500u}) {
                Scene scene(kind, count, random);
                RecordingCallbacks calls;
                calls.attach(scene.grid);
                scene.build(target);
                GeometryRayBatch batch(1);
                for (unsigned i = 0; i < 20; ++i) {
                    set_random_rays(batch, scene.items, random);
                    for (const RayQuery query : support::all_ray_queries) {
                        trace(scene.grid, query, scene.shader, batch.get_ctx());
                        for (const support::LeafCall& call : calls.calls)
                            ASSERT_EQ(call.callback, query);
                        const std::vector<unsigned> items = calls.take_items();
                        const std::set<unsigned> different(items.begin(), items.end());
                        ASSERT_EQ(different.size(), items.size()) << "an item twice";
                        called += items.size();
                        const GeometryRaytraceCtx& rays = batch.get_ctx();
                        for (unsigned position = 0; position < count; ++position) {
                            if (scene.solids.enter(rays.get_ray(0), 0.0, rays.get_tfar(0), position,
                                                   is_motion(query)) == SolidItems::miss)
                                continue;
                            ASSERT_TRUE(different.count(scene.items.get_value(position)))
                                << scenes::name(kind) << " " << name(query);
                        }
                    }
                }
            }
        }
    }
    EXPECT_GT(called, 20000u);
}

namespace {

/// Leaf callbacks that trace a shadow ray through the same grid, from its own callbacks too, before
/// they do what the items' callbacks do.
struct NestedScene {
    static constexpr unsigned deepest = 3;

    explicit NestedScene(Scene& new_scene) : scene(new_scene) {
        for (auto& batch : batches)
            batch = std::make_unique<GeometryRayBatch>(1);
        scene.grid.set_leaf_raytrace_callbacks(
            trace_nested<RayQuery::hit_static>, trace_nested<RayQuery::hit_motion>,
            trace_nested<RayQuery::nearest_static>, trace_nested<RayQuery::nearest_motion>, this);
    }

    template <RayQuery callback>
    static void trace_nested(void* user, const unsigned& item, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& rays) {
        NestedScene& self = *static_cast<NestedScene*>(user);
        if (self.depth < deepest && item % 3 == 0) {
            GeometryRayBatch& batch = *self.batches[self.depth];
            const RayQuery query = support::all_ray_queries[(item + self.depth) % 4];
            set_random_rays(batch, self.scene.items, self.random);
            const std::vector<Fate> expected =
                find_fates(self.scene.solids, self.scene.items, batch, query);
            ++self.depth;
            trace(self.scene.grid, query, shader, batch.get_ctx());
            --self.depth;
            EXPECT_EQ(find_difference(get_fates(batch), expected), "");
            ++self.nested_count;
        }
        void* const solids = &self.scene.solids;
        constexpr bool is_motion =
            callback == RayQuery::hit_motion || callback == RayQuery::nearest_motion;
        if (support::is_nearest(callback))
            SolidItems::hit_nearest<is_motion>(solids, item, eval, shader, rays);
        else
            SolidItems::hit_any<is_motion>(solids, item, eval, shader, rays);
    }

    Scene& scene;
    SeededRandom random{17};
    std::unique_ptr<GeometryRayBatch> batches[deepest];
    unsigned depth = 0;
    unsigned nested_count = 0;
};

/// A grid over a row of forty boxes, which a ray along x meets one after the other.
struct GridRow {
    GridRow() {
        calls.attach(grid);
        items.build(grid, 40);
    }

    GridItems items = GridItems(support::row_of_boxes(40));
    GasGridTree grid;
    RecordingCallbacks calls;
    TestShader shader;
};

} // namespace

TEST(GridRays, CallbacksMayTraceTheSameGrid) {
    SeededRandom random(4);
    for (const unsigned target : {1u, 30u, 300u}) {
        Scene scene(scenes::Kind::random, 300, random);
        NestedScene nested(scene);
        scene.build(target);
        GeometryRayBatch single(1);
        GeometryRayBatch several(16);
        for (unsigned i = 0; i < 4; ++i) {
            for (const RayQuery query : support::all_ray_queries) {
                set_random_rays(single, scene.items, random);
                compare(scene, single, query);
                set_camera_rays(several, scene.items, random);
                compare(scene, several, query);
            }
        }
        EXPECT_GT(nested.nested_count, 30u);
    }
}

TEST(GridRays, AStoppedRayStops) {
    GridRow row;
    ASSERT_GT(row.grid.get_cell_count(), 5u);
    row.calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 17)
            rays.set_hit(support::get_only_ray(rays));
    };
    GeometryRayBatch batch(2);
    for (unsigned ray = 0; ray < 2; ++ray)
        batch.set_ray(ray, {-5.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away, 0.0f,
                      static_cast<int>(ray));
    trace(row.grid, RayQuery::hit_static, row.shader, batch.get_ctx());
    EXPECT_TRUE(batch.is_hit(0));
    EXPECT_TRUE(batch.is_hit(1));
    std::vector<unsigned> expected;
    for (unsigned ray = 0; ray < 2; ++ray) {
        for (unsigned item = 0; item <= 17; ++item)
            expected.push_back(item);
    }
    EXPECT_EQ(row.calls.take_items(), expected);

    // Cached in both levels: the same rays are stopped at once.
    batch.reset_hits();
    trace(row.grid, RayQuery::hit_static, row.shader, batch.get_ctx());
    EXPECT_EQ(row.calls.take_items(), (std::vector<unsigned>{17, 17}));
}

TEST(GridRays, AShortenedRayLeavesOutWhatLiesBehind) {
    GridRow row;
    GeometryRayBatch batch(1);
    batch.set_ray(0, {-5.0, 0.5, 0.5}, {1.0, 0.0, 0.0}, 0.0, far_away);
    row.calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 5)
            rays.set_tfar(0, 60.0);
    };
    trace(row.grid, RayQuery::hit_static, row.shader, batch.get_ctx());
    EXPECT_EQ(row.calls.take_items(), (std::vector<unsigned>{0, 1, 2, 3, 4, 5}));
    batch.reset_hits();
    row.calls.react = [](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
        if (item == 3)
            rays.record_nearest_hit(0, 38.0, item);
    };
    trace(row.grid, RayQuery::nearest_static, row.shader, batch.get_ctx());
    EXPECT_EQ(row.calls.take_items(), (std::vector<unsigned>{0, 1, 2, 3}));
    EXPECT_EQ(batch.get_item(0), 3u);
    EXPECT_EQ(batch.get_hit_distance(0), 38.0);
}

TEST(GridRays, ARangeLeavesTheOtherRaysAlone) {
    SeededRandom random(5);
    Scene scene(scenes::Kind::random, 400, random);
    scene.build(60);
    GeometryRayBatch batch(24);
    for (const RayQuery query : support::all_ray_queries) {
        set_camera_rays(batch, scene.items, random);
        const std::vector<Fate> expected = find_fates(scene.solids, scene.items, batch, query);
        batch.get_data().set_range(5, 17);
        trace(scene.grid, query, scene.shader, batch.get_ctx());
        EXPECT_EQ(batch.get_data().get_first_ray(), 5);
        EXPECT_EQ(batch.get_data().get_last_ray(), 17);
        batch.get_data().set_range(0, 23);
        const std::vector<Fate> fates = get_fates(batch);
        for (unsigned ray = 0; ray < 24; ++ray) {
            if (ray >= 5 && ray <= 17)
                EXPECT_EQ(fates[ray], expected[ray]) << ray;
            else
                EXPECT_FALSE(fates[ray].is_hit) << ray;
        }
    }
}

// Cached leaves go by the address of a tree. Grids are rebuilt in place, so that shaders remember
// cells that there are no more, and cells' trees come back at addresses of former ones.
TEST(GridRays, ShadersThatRememberFormerCellsFindWhatIsThereNow) {
    SeededRandom random(6);
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    GasGridTree grid;
    GeometryRayBatch single(1);
    GeometryRayBatch several(16);
    unsigned hits = 0;
    for (unsigned i = 0; i < support::scale(120, 60); ++i) {
        constexpr unsigned counts[] = {600, 3, 100, 1, 17, 2};
        const unsigned count = counts[i % 6];
        GridItems items(fit(scenes::make(kinds[i % 4], count, i)));
        SolidItems solids(items, margin);
        solids.attach(grid);
        items.build(grid, count);
        grid.update_motion_blur(shader.get_motion_blur());
        for (unsigned j = 0; j < 8; ++j) {
            for (const RayQuery query : support::all_ray_queries) {
                for (GeometryRayBatch* batch : {&single, &several}) {
                    set_random_rays(*batch, items, random);
                    const std::vector<Fate> expected = find_fates(solids, items, *batch, query);
                    trace(grid, query, shader, batch->get_ctx());
                    ASSERT_EQ(find_difference(get_fates(*batch), expected), "")
                        << i << " " << name(query);
                    hits += expected[0].is_hit;
                }
            }
        }
    }
    EXPECT_GT(hits, 1000u);
}

TEST(GridRays, AGridInPlaceOfAnotherIsNotMistakenForIt) {
    SeededRandom random(7);
    TestShader shader;
    GeometryRayBatch batch(1);
    alignas(GasGridTree) unsigned char memory[sizeof(GasGridTree)];
    for (unsigned i = 0; i < 60; ++i) {
        const unsigned count = i % 2 ? 2 : 500;
        GridItems items(fit(scenes::make(scenes::Kind::random, count, i)));
        SolidItems solids(items, margin);
        auto* const grid = new (memory) GasGridTree;
        solids.attach(*grid);
        items.build(*grid, count);
        for (unsigned j = 0; j < 20; ++j) {
            for (const RayQuery query : {RayQuery::hit_static, RayQuery::nearest_static}) {
                set_random_rays(batch, items, random);
                const std::vector<Fate> expected = find_fates(solids, items, batch, query);
                trace(*grid, query, shader, batch.get_ctx());
                EXPECT_EQ(find_difference(get_fates(batch), expected), "");
            }
        }
        grid->~GasGridTree();
    }
}
