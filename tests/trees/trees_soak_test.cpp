// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <latch>
#include <memory>
#include <thread>
#include <vector>

#include <tests/support/grid_items.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/scenes.h>
#include <tests/support/seeded_random.h>
#include <tests/support/solid_items.h>
#include <tests/support/test_shader.h>
#include <tests/support/tree_kinds.h>

// Threads that do everything at once to the same trees find what one thread finds that does the
// same alone. GAS_SOAK_ROUNDS in the environment asks for another number of rounds.

namespace {

using support::GridItems;
using support::RayQuery;
using support::SeededRandom;
using support::SolidItems;
using support::TestShader;

constexpr unsigned thread_count = 8;
constexpr unsigned operations_per_thread = 12;
constexpr unsigned rays_per_operation = 96;
constexpr unsigned item_count = 600;
/// Their distance keeps items of neighbours apart or lets them overlap.
constexpr unsigned instances_per_level = 5;
constexpr double instance_distance = 30.0;
constexpr unsigned usual_round_count = 3;

unsigned get_round_count() {
    const char* const count = std::getenv("GAS_SOAK_ROUNDS");
    return count ? static_cast<unsigned>(std::atoi(count)) : usual_round_count;
}

/// Whatever rays go through.
class Level {
  public:
    virtual ~Level() = default;
    virtual void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const = 0;
    virtual GMathBbox3<float> get_bbox() const = 0;
};

template <typename Tree> class BottomLevel : public Level {
  public:
    explicit BottomLevel(const Tree& tree) : m_tree(tree) {}
    void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override {
        support::trace(m_tree, query, shader, rays);
    }
    GMathBbox3<float> get_bbox() const override {
        GMathBbox3<float> box = m_tree.get_bbox();
        for (unsigned sample = 0; sample < m_tree.get_motion_blur_sample_count(); ++sample) {
            const GMathBbox3<float> other = m_tree.get_blurred_bbox(sample);
            for (unsigned axis = 0; axis < 3; ++axis) {
                box.min[axis] = std::min(box.min[axis], other.min[axis]);
                box.max[axis] = std::max(box.max[axis], other.max[axis]);
            }
        }
        return box;
    }

  private:
    const Tree& m_tree;
};

/// Instances of other levels in a tree whose leaf callback moves a ray and traces the other level.
class InstanceLevel : public Level {
  public:
    /// `padding`: more than what rays lose to rounding.
    InstanceLevel(std::vector<const Level*> children, unsigned axis, float padding)
        : m_children(std::move(children)), m_axis(axis) {
        std::vector<naive::Box> boxes;
        for (unsigned i = 0; i < m_children.size(); ++i) {
            const GMathBbox3<float> box = m_children[i]->get_bbox();
            const auto offset = static_cast<float>(get_offset(i));
            naive::Box moved;
            for (unsigned a = 0; a < 3; ++a) {
                moved.min[a] = box.min[a] + (a == m_axis ? offset : 0.0f) - padding;
                moved.max[a] = box.max[a] + (a == m_axis ? offset : 0.0f) + padding;
            }
            boxes.push_back(moved);
        }
        m_tree.set_wide_nodes(axis != 0);
        support::build(m_tree, boxes);
        support::fill_samples(m_tree, {boxes, boxes});
        m_tree.set_leaf_raytrace_callbacks(visit<RayQuery::hit_static>, visit<RayQuery::hit_motion>,
                                           visit<RayQuery::nearest_static>,
                                           visit<RayQuery::nearest_motion>, this);
    }

    void trace(RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays) const override {
        support::trace(m_tree, query, shader, rays);
    }
    GMathBbox3<float> get_bbox() const override { return m_tree.get_bbox(); }
    const GasTree& get_tree() const { return m_tree; }

  private:
    double get_offset(unsigned instance) const { return instance_distance * instance; }

    template <RayQuery query>
    static void visit(void* user, const unsigned& instance, const CtxEval&, CtxShader& shader,
                      GeometryRaytraceCtx& rays) {
        const InstanceLevel& self = *static_cast<const InstanceLevel*>(user);
        support::for_each_ray(rays, [&](unsigned ray) {
            const GeometryRay& outer = rays.get_ray(ray);
            GMathVec3<double> origin = outer.line.get_origin();
            origin[self.m_axis] -= self.get_offset(instance);
            const double far = is_nearest(query)
                                   ? rays.get_intersection_path(ray).get_hit_distance()
                                   : rays.get_tfar(ray);
            GeometrySingleRay inner(origin, outer.line.get_direction(), rays.get_tnear(ray), far,
                                    outer.time, outer.cache_slot);
            self.m_children[instance]->trace(query, shader, inner.get_ctx());
            if (!inner.is_hit())
                return;
            if (is_nearest(query))
                rays.record_nearest_hit(ray, inner.get_hit_distance(), 0);
            else
                rays.set_hit(ray);
        });
    }

    std::vector<const Level*> m_children;
    unsigned m_axis;
    GasTree m_tree;
};

std::vector<naive::Box> make_boxes() {
    std::vector<naive::Box> boxes = scenes::make(scenes::Kind::random, item_count, 1);
    for (naive::Box& box : boxes) {
        for (unsigned axis = 0; axis < 3; ++axis)
            box.max[axis] += 0.5f; // so that items are left within their margins
    }
    return boxes;
}

/// Moving items in a tree of each class, and three levels of instances over these.
class World {
  public:
    static constexpr unsigned own_count = thread_count;

    World() : m_items(make_boxes()), m_solids(m_items, 0.125), m_copies(own_count) {
        SeededRandom random(2);
        for (float& speed : m_items.speeds)
            speed = random.between(-4.0f, 4.0f);
        m_plain.set_wide_nodes(true);
        build(m_plain);
        build(m_compressed);
        build_binary();
        m_solids.attach(m_grid);
        prepare(0);
        make_levels();
    }

    /// What no thread may do beside others: a new grid, or new samples of all cells. Each thread
    /// gets a copy of the grid.
    void prepare(unsigned round) {
        if (round % 2 == 0)
            m_items.build(m_grid, 40);
        m_grid.update_motion_blur(motion);
        for (GasGridTree& copy : m_copies)
            copy = m_grid;
    }

    /// A number that tells what operation `number` finds on a thread.
    std::uint64_t run(unsigned number, unsigned thread, TestShader& shader) const {
        SeededRandom random(number);
        const RayQuery query = support::all_ray_queries[random.below(4)];
        GeometryRayBatch batch(rays_per_operation);
        switch (number % 6) {
        case 0:
        case 1:
            set_rays(batch, random, 4.0 * instance_distance);
            m_top->trace(query, shader, batch.get_ctx());
            return get_digest(batch);
        case 2: // in flight while callbacks trace
            set_rays(batch, random, 4.0 * instance_distance);
            trace_stream(m_top->get_tree(), query, shader, batch.get_ctx());
            return get_digest(batch);
        case 3:
            set_rays(batch, random, 0.0);
            trace_query<true>(m_copies[thread], query, shader, batch.get_ctx(), CtxEval());
            return get_digest(batch) ^ (m_grid.get_memory_size() == 0 ? 1 : 0);
        case 4:
            return trace_own(random, query, shader, batch);
        default:
            return search(random);
        }
    }

  private:
    template <typename Tree> void build(Tree& tree) {
        support::build(tree, m_items.get_boxes());
        support::fill_samples(tree, {m_items.get_boxes(), get_moved_boxes(1.0)});
        m_solids.attach(tree);
    }

    void build_binary() {
        support::build(m_binary, m_items.get_boxes(), naive::Split::sah);
        m_solids.attach(m_binary);
    }

    void make_levels() {
        m_bottoms.push_back(std::make_unique<BottomLevel<GasTree>>(m_plain));
        m_bottoms.push_back(std::make_unique<BottomLevel<GasCompressedTree>>(m_compressed));
        m_bottoms.push_back(std::make_unique<BottomLevel<GasGridTree>>(m_grid));
        std::vector<const Level*> children;
        for (unsigned i = 0; i < instances_per_level; ++i)
            children.push_back(m_bottoms[i % 3].get());
        for (unsigned axis = 0; axis < 3; ++axis) {
            m_instances.push_back(std::make_unique<InstanceLevel>(children, axis, 0.125f));
            children.assign(instances_per_level, m_instances.back().get());
            children[axis] = m_bottoms[axis].get();
        }
        m_top = m_instances.back().get();
    }

    std::vector<naive::Box> get_moved_boxes(double time) const {
        std::vector<naive::Box> boxes;
        for (unsigned item = 0; item < item_count; ++item)
            boxes.push_back(m_items.get_box(item, time));
        return boxes;
    }

    static void set_rays(GeometryRayBatch& batch, SeededRandom& random, double spread) {
        const auto coordinate = [&] { return 2.0 * random.uniform_double() - 1.0; };
        for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
            GMathVec3<double> origin, target;
            for (unsigned axis = 0; axis < 3; ++axis) {
                origin[axis] = 100.0 * coordinate();
                target[axis] = 40.0 * coordinate() + spread * random.uniform_double();
            }
            batch.set_ray(ray, origin, target - origin, 0.0, 4.0, random.uniform(),
                          static_cast<int>(random.below(6)));
        }
    }

    /// A tree of the thread's own, with new boxes; and a copy of a shared one, with own samples.
    std::uint64_t trace_own(SeededRandom& random, RayQuery query, TestShader& shader,
                            GeometryRayBatch& batch) const {
        set_rays(batch, random, 0.0);
        GasTree own;
        own.set_wide_nodes(random.below(2) == 0);
        support::build(own, get_moved_boxes(random.uniform_double()), naive::Split::hybrid);
        own.refit(support::to_boxes(m_items.get_boxes()));
        support::fill_samples(own, {m_items.get_boxes(), get_moved_boxes(1.0)});
        own.set_leaf_raytrace_callbacks(
            SolidItems::hit_any<false>, SolidItems::hit_any<true>, SolidItems::hit_nearest<false>,
            SolidItems::hit_nearest<true>, const_cast<SolidItems*>(&m_solids));
        trace_stream(own, query, shader, batch.get_ctx());
        const std::uint64_t digest = get_digest(batch);

        GasTree copy = m_binary;
        support::fill_samples(copy, {m_items.get_boxes(), get_moved_boxes(1.0)});
        batch.reset_hits();
        support::trace(copy, query, shader, batch.get_ctx());
        const std::uint64_t expected = get_digest(batch);
        copy.set_motion_blur_sample_count(0);
        copy = GasTree();
        return digest == expected ? digest : 0;
    }

    /// To the middle of an item's box.
    static double measure(void* user, const unsigned& item, const GMathVec3<double>& point,
                          const double&) {
        const naive::Box& box = static_cast<World*>(user)->m_items.get_boxes()[item];
        double square = 0.0;
        for (unsigned axis = 0; axis < 3; ++axis) {
            const auto middle = static_cast<double>(box.min[axis] + box.max[axis]) * 0.5;
            square += (point[axis] - middle) * (point[axis] - middle);
        }
        return std::sqrt(square);
    }

    std::uint64_t search(SeededRandom& random) const {
        GasTreeCtx ctx;
        std::uint64_t digest = 1;
        for (unsigned i = 0; i < 20; ++i) {
            GMathVec3<double> point;
            for (unsigned axis = 0; axis < 3; ++axis)
                point[axis] = 100.0 * (2.0 * random.uniform_double() - 1.0);
            unsigned item = item_count;
            double distance = 0.0;
            m_compressed.get_closest_item(ctx, point, 1e9, measure, const_cast<World*>(this), item,
                                          distance);
            CoreVector<unsigned> leaves;
            const GMathVec3<float> corner = {static_cast<float>(point.x), 0.0f, 0.0f};
            m_plain.get_leaves_in_bbox(ctx, {{-100.0f, -50.0f, -100.0f}, corner}, leaves);
            digest = mix(mix(digest, item), gas_host::get_count(leaves));
        }
        return digest;
    }

    static std::uint64_t mix(std::uint64_t digest, std::uint64_t value) {
        return (digest ^ value) * 0x9e3779b97f4a7c15u + (digest >> 29);
    }

    static std::uint64_t get_digest(const GeometryRayBatch& batch) {
        std::uint64_t digest = 1;
        unsigned hit_count = 0;
        for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
            hit_count += batch.is_hit(ray);
            digest = mix(digest, std::bit_cast<std::uint64_t>(batch.get_hit_distance(ray)));
            digest = mix(digest, batch.is_hit(ray));
        }
        // Rays that miss everything would show nothing.
        return hit_count > rays_per_operation / 10 ? digest : 0;
    }

    const CtxMotionBlur motion{0.0f, 1.0f, 2};
    GridItems m_items;
    SolidItems m_solids;
    GasTree m_plain;
    GasTree m_binary;
    GasCompressedTree m_compressed;
    GasGridTree m_grid;
    std::vector<GasGridTree> m_copies;
    std::vector<std::unique_ptr<Level>> m_bottoms;
    std::vector<std::unique_ptr<InstanceLevel>> m_instances;
    const InstanceLevel* m_top = nullptr;
};

/// The operations of a thread in a round, which no other has.
std::vector<std::uint64_t> run_operations(const World& world, unsigned round, unsigned thread) {
    TestShader shader;
    shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
    std::vector<std::uint64_t> digests;
    for (unsigned i = 0; i < operations_per_thread; ++i)
        digests.push_back(world.run(((round * thread_count) + thread) * operations_per_thread + i,
                                    thread, shader));
    return digests;
}

} // namespace

TEST(TreesSoak, ThreadsFindWhatOneThreadFinds) {
    World world;
    World alone;
    for (unsigned round = 0; round < get_round_count(); ++round) {
        world.prepare(round);
        alone.prepare(round);
        std::vector<std::vector<std::uint64_t>> found(thread_count);
        std::latch start(thread_count);
        std::vector<std::thread> threads;
        for (unsigned thread = 0; thread < thread_count; ++thread) {
            threads.emplace_back([&, thread] {
                start.arrive_and_wait();
                found[thread] = run_operations(world, round, thread);
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        for (unsigned thread = 0; thread < thread_count; ++thread) {
            const std::vector<std::uint64_t> expected = run_operations(alone, round, thread);
            EXPECT_EQ(found[thread], expected) << "round " << round << ", thread " << thread;
            for (const std::uint64_t digest : expected)
                EXPECT_NE(digest, 0u);
        }
    }
}
