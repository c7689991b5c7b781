// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <vector>

#include <gas/compressed/gas_compressed_ray_nodes.h>
#include <gas/compressed/gas_compressed_tree_traversal.h>
#include <gas/traversal/query/gas_ray_query.h>
#include <gas/traversal/single/gas_ray_walk.h>

#include <tests/support/ray_maker.h>
#include <tests/support/recording_callbacks.h>
#include <tests/support/row_of_boxes.h>
#include <tests/support/sanitizers.h>
#include <tests/support/scenes.h>
#include <tests/support/test_shader.h>

// A single ray keeps decoded boxes at hand and on its stack; the slots of the traversal interface
// keep them by node. Both walks must meet the same nodes and leaves.

namespace {

using naive::Box;
using support::RayQuery;
using support::RaySpec;
using support::SeededRandom;
using support::TestShader;

using ClosestHit = GasClosestHit<GasLeafCache>;
using AnyHit = GasAnyHit<GasLeafCache>;
template <typename Query> constexpr bool is_nearest = std::is_same_v<Query, ClosestHit>;

struct CountingProbe {
    void visit_node() { ++visited_nodes; }
    void call_leaf() { ++leaf_calls; }

    unsigned visited_nodes = 0;
    unsigned leaf_calls = 0;
};

/// What a walk did, in order, and what it left behind.
struct Trace {
    std::vector<unsigned> items;
    unsigned visited_nodes;
    unsigned leaf_calls;
    bool hit_flag;
    double far_distance;
    double hit_distance;
    const void* cached_tree;
    unsigned cached_leaf;

    bool operator==(const Trace&) const = default;
};

/// One of the two ways to walk, with its own frames and caches.
template <typename Nodes> class Walker {
  public:
    explicit Walker(GasCompressedTree& tree) : m_tree(&tree) {}

    template <typename Query> Trace walk(const RaySpec& spec) {
        m_items.clear();
        m_nested_left = 3;
        CountingProbe probe;
        GeometryRayBatch batch(1);
        trace_ray<Query>(spec, batch, probe);
        const GasTreeCtx& frame = m_shader.get_tree_ctx();
        const auto& caches = is_nearest<Query> ? frame.nearest_cache : frame.all_hits_cache;
        const GasCachedLeaf& cached = caches[spec.cache_slot];
        return {m_items,         probe.visited_nodes,          probe.leaf_calls,
                batch.is_hit(0), batch.get_ctx().get_tfar(0),  batch.get_hit_distance(0),
                cached.tree,     cached.tree ? cached.leaf : 0};
    }

    const GasTreeCtx& get_frame() const { return m_shader.get_tree_ctx(); }

  private:
    template <typename Query>
    void trace_ray(const RaySpec& spec, GeometryRayBatch& batch, CountingProbe& probe) {
        batch.set_ray(0, {spec.origin[0], spec.origin[1], spec.origin[2]},
                      {spec.direction[0], spec.direction[1], spec.direction[2]}, spec.near_distance,
                      spec.far_distance, spec.time, spec.cache_slot);
        support::RecordingCallbacks callbacks(*m_tree);
        callbacks.react = [&](unsigned item, CtxShader&, GeometryRaytraceCtx& rays) {
            m_items.push_back(item);
            react<Query>(item, spec, rays);
            callbacks.attach(*m_tree); // a nested walk has put its own in place
        };
        walk_nodes<Query>(batch.get_ctx(), probe);
    }

    template <typename Query> void walk_nodes(GeometryRaytraceCtx& rays, CountingProbe& probe) {
        constexpr GasRayCall call =
            is_nearest<Query> ? GasRayCall::nearest_static : GasRayCall::hit_static;
        const CtxEval eval;
        GeometryRaytraceData& data = rays.get_data();
        const GasTreeCtxLease lease(m_shader, 2 * std::size_t{m_tree->get_depth()});
        const GasLaneRay lane_ray(gas_host::get_line(data, 0), rays.get_tnear(0));
        const auto call_leaf = [&](unsigned leaf) {
            probe.call_leaf();
            GasTraversalAccess::call_leaf<call>(*m_tree, leaf, eval, m_shader, rays);
        };
        Query query(lease.get(), data, 0);
        if (query.template try_cached_leaf<Nodes::checks_cached_leaf>(*m_tree, lease.get(),
                                                                      call_leaf))
            return;
        Nodes nodes(*m_tree, lease.get(), m_shader, 0.0f);
        gas_walk_nodes(nodes, lane_ray, *m_tree, lease.get(), query, call_leaf, probe);
    }

    /// Nothing, a shorter ray, a flag, a hit, or a ray from another side.
    template <typename Query>
    void react(unsigned item, const RaySpec& spec, GeometryRaytraceCtx& rays) {
        SeededRandom random(spec.seed + item);
        const double distance = spec.scale * random.uniform_double();
        switch (random.below(8)) {
        case 0:
            rays.set_tfar(0, distance);
            break;
        case 1:
            rays.get_intersection_path(0).set_hit_distance(distance);
            break;
        case 2:
            if (random.below(4) == 0)
                rays.set_hit(0);
            break;
        case 3:
            rays.record_nearest_hit(0, distance, item);
            break;
        case 4:
            if (m_nested_left > 0) {
                --m_nested_left;
                RaySpec nested = spec;
                nested.seed = random.next();
                nested.origin[random.below(3)] *= -1.0;
                GeometryRayBatch batch(1);
                CountingProbe probe;
                trace_ray<Query>(nested, batch, probe);
            }
            break;
        default:
            break;
        }
    }

    GasCompressedTree* m_tree;
    TestShader m_shader;
    std::vector<unsigned> m_items;
    unsigned m_nested_left = 0;
};

using OwnWalker = Walker<GasCompressedStaticNodes>;
using SlotWalker = Walker<GasStaticNodes<GasCompressedTree>>;

constexpr unsigned rays_per_tree = support::scale_in_release(150, 20);

} // namespace

TEST(CompressedRayNodes, WalksAsTheSlotsDo) {
    std::size_t called = 0;
    unsigned unstopped = 0;
    for (const scenes::Kind kind : scenes::all_kinds()) {
        for (const unsigned count : {2u, 3u, 10u, 100u, 700u}) {
            SeededRandom random(std::uint64_t{count} * 31 + static_cast<unsigned>(kind));
            const std::vector<Box> boxes = scenes::make(kind, count, random.next());
            GasCompressedTree tree;
            support::build(tree, boxes, support::all_splits[random.below(4)]);
            support::RayMaker maker(random, boxes);
            OwnWalker own(tree);
            SlotWalker slots(tree);
            for (unsigned i = 0; i < rays_per_tree; ++i) {
                const RaySpec spec = maker.make(0.0f, 1.0f);
                const Trace own_trace = i % 2 ? own.walk<AnyHit>(spec) : own.walk<ClosestHit>(spec);
                const Trace slot_trace =
                    i % 2 ? slots.walk<AnyHit>(spec) : slots.walk<ClosestHit>(spec);
                ASSERT_EQ(own_trace, slot_trace)
                    << scenes::name(kind) << " " << count << ", ray " << i;
                called += own_trace.items.size();
                // A ray that came to its end has freed every slot.
                const GasTreeCtx& frame = slots.get_frame();
                ASSERT_LE(frame.counters[0], tree.get_depth() + 1);
                if (i % 2 == 0) {
                    ASSERT_EQ(frame.counters[1], frame.counters[0]);
                    ++unstopped;
                }
            }
            EXPECT_EQ(own.get_frame().node_states, nullptr);
            EXPECT_EQ(own.get_frame().indices, nullptr);
        }
    }
    EXPECT_GT(called, 10000u);
    EXPECT_GT(unstopped, 100u);
}

// Two samples of the built boxes, with the same records as the nodes, blend to those boxes up to
// rounding: at the ends of the shutter to the last bit.
TEST(CompressedRayNodes, MotionNodesWalkAsStaticOnesOverBoxesThatStandStill) {
    SeededRandom random(5);
    for (const scenes::Kind kind :
         {scenes::Kind::random, scenes::Kind::flat, scenes::Kind::grid, scenes::Kind::clustered,
          scenes::Kind::coincident, scenes::Kind::nested}) {
        const std::vector<Box> boxes = scenes::make(kind, 400, 8);
        GasCompressedTree tree;
        support::build(tree, boxes, naive::Split::sah);
        support::fill_samples(tree, {boxes, boxes, boxes});
        TestShader shader;
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 3));
        support::RayMaker maker(random, boxes);
        support::RecordingCallbacks calls(tree);
        for (unsigned i = 0; i < rays_per_tree; ++i) {
            const RaySpec spec = maker.make(0.0f, 1.0f);
            const float times[] = {0.0f, 0.5f, 1.0f};
            GeometryRayBatch batch(1);
            batch.set_ray(0, {spec.origin[0], spec.origin[1], spec.origin[2]},
                          {spec.direction[0], spec.direction[1], spec.direction[2]},
                          spec.near_distance, spec.far_distance, times[i % 3]);
            for (const RayQuery query : {RayQuery::hit_motion, RayQuery::nearest_motion}) {
                trace(tree, query, shader, batch.get_ctx());
                const std::vector<unsigned> moving = calls.take_items();
                trace(tree, support::without_motion(query), shader, batch.get_ctx());
                ASSERT_EQ(moving, calls.take_items()) << scenes::name(kind) << ", ray " << i;
            }
        }
    }
}
