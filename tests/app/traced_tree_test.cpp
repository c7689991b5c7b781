// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/trees/traced_tree.h>

#include <gtest/gtest.h>

#include <apps/common/tree_calls.h>

#include <tests/support/seeded_random.h>

namespace {

using namespace gas_app;

constexpr TreeKind all_kinds[] = {TreeKind::plain, TreeKind::compressed, TreeKind::grid};
constexpr unsigned item_count = 700;
constexpr unsigned ray_count = 96;

/// Boxes here and there that move along x.
Box get_box(unsigned item, unsigned sample) {
    support::SeededRandom random(item);
    Vec3 low;
    for (unsigned axis = 0; axis < 3; ++axis)
        low[axis] = 8.0 * random.uniform_double();
    low.x += 0.25 * sample;
    return {low, low + Vec3{0.5, 0.5, 0.5}};
}

struct LeafCall {
    unsigned item;
    int first_ray;
    int last_ray;

    bool operator==(const LeafCall& other) const {
        return item == other.item && first_ray == other.first_ray && last_ray == other.last_ray;
    }
};

using LeafCalls = std::vector<LeafCall>;

/// Some items stop the rays that they are called for.
bool stops_rays(unsigned item) { return item % 5 == 0; }

void record(void* user, const unsigned& item, const GeometryRaytraceCtx& ctx) {
    static_cast<LeafCalls*>(user)->push_back({item, ctx.get_first_ray(), ctx.get_last_ray()});
}

void find_any_hit(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                  GeometryRaytraceCtx& ctx) {
    record(user, item, ctx);
    for (int ray = ctx.get_first_ray(); stops_rays(item) && ray <= ctx.get_last_ray(); ++ray)
        ctx.set_hit(static_cast<unsigned>(ray));
}

void find_nearest_hit(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                      GeometryRaytraceCtx& ctx) {
    record(user, item, ctx);
    for (int ray = ctx.get_first_ray(); stops_rays(item) && ray <= ctx.get_last_ray(); ++ray)
        ctx.record_nearest_hit(static_cast<unsigned>(ray), 0.6 + 0.001 * item, item);
}

/// What a trace of all rays gave.
struct Outcome {
    LeafCalls calls;
    std::vector<double> distances;
    GasWalkCounts counts;
};

/// A tree of one kind over the boxes, and rays through it.
class TraceCase {
  public:
    TraceCase(TreeKind kind, bool has_wide_nodes, unsigned sample_count)
        : m_motion_blur(0.0f, 1.0f, sample_count < 2 ? 0 : sample_count) {
        TreeSettings settings;
        settings.kind = kind;
        settings.has_wide_nodes = has_wide_nodes;
        settings.cell_count = 30;
        settings.thread_count = 2;
        AppBase application(nullptr);
        m_tree.set_callbacks(find_any_hit, find_nearest_hit, &m_calls);
        m_tree.build({item_count, sample_count, get_box, 0.0, {{0, 0, 0}, {10, 9, 9}}}, settings,
                     *application.create_progress_bar("", false), 1.0f);
    }

    /// `batch_size` rays at a time, counted or not.
    Outcome trace(Query query, Walk walk, unsigned batch_size, bool counts_walks) {
        TraceState state(1);
        state.walk = walk;
        state.counts_walks = counts_walks;
        return run(batch_size,
                   [&](CtxShader& shader, GeometryRaytraceCtx& ctx, GasWalkCounts& sum) {
                       m_tree.trace(query, state.eval, shader, ctx);
                       sum = state.counts;
                   });
    }

    /// The same by the library's counted calls.
    Outcome trace_directly(Query query, Walk walk, unsigned batch_size) {
        const CtxEval eval;
        return run(batch_size,
                   [&](CtxShader& shader, GeometryRaytraceCtx& ctx, GasWalkCounts& sum) {
                       std::visit(
                           [&](const auto& tree) {
                               using Tree = std::decay_t<decltype(tree)>;
                               const GasRayCall call =
                                   get_ray_call(query == Query::nearest_hit,
                                                shader.get_motion_blur_sample_count() >= 2);
                               const GasRayWay way =
                                   walk == Walk::stream ? GasRayWay::stream : GasRayWay::query;
                               if constexpr (std::is_same_v<Tree, GasTree>)
                                   gas_counted_rays(tree, call, way, eval, shader, ctx, true, sum);
                               else
                                   gas_counted_rays(tree, call, way, eval, shader, ctx, sum);
                           },
                           m_tree.get_tree());
                   });
    }

  private:
    template <typename Trace> Outcome run(unsigned batch_size, const Trace& trace) {
        GeometryRayBatch batch(ray_count);
        support::SeededRandom random(5);
        const auto make_point = [&](double z) {
            return Vec3{10.0 * random.uniform_double(), 9.0 * random.uniform_double(), z} *
                   m_tree.get_scale();
        };
        for (unsigned ray = 0; ray < ray_count; ++ray) {
            const Vec3 origin = make_point(-1.0);
            const Vec3 direction = make_point(10.0) - origin;
            batch.set_ray(ray, origin, direction, 0.0, 1e30, random.uniform());
        }
        ShaderHolder holder(m_motion_blur);
        Outcome outcome;
        m_calls.clear();
        for (unsigned first = 0; first < ray_count; first += batch_size) {
            batch.get_data().set_range(static_cast<int>(first),
                                       static_cast<int>(first + batch_size) - 1);
            trace(holder.shader, batch.get_ctx(), outcome.counts);
        }
        outcome.calls = m_calls;
        for (unsigned ray = 0; ray < ray_count; ++ray)
            outcome.distances.push_back(batch.is_hit(ray) ? batch.get_hit_distance(ray) : -1.0);
        return outcome;
    }

    CtxMotionBlur m_motion_blur;
    TracedTree m_tree;
    LeafCalls m_calls;
};

void expect_counts(TraceCase& trace_case, Query query, Walk walk, unsigned batch_size) {
    const Outcome usual = trace_case.trace(query, walk, batch_size, false);
    const Outcome counted = trace_case.trace(query, walk, batch_size, true);
    EXPECT_EQ(usual.counts.visited_nodes + usual.counts.leaf_calls, 0u);
    EXPECT_TRUE(counted.calls == usual.calls) << "the same callbacks in the same sequence";
    EXPECT_EQ(counted.distances, usual.distances);
    EXPECT_EQ(counted.counts.leaf_calls, counted.calls.size());
    EXPECT_GT(counted.counts.leaf_calls, 0u);
    EXPECT_GT(counted.counts.visited_nodes, 0u);

    const Outcome direct = trace_case.trace_directly(query, walk, batch_size);
    EXPECT_EQ(counted.counts.visited_nodes, direct.counts.visited_nodes);
    EXPECT_EQ(counted.counts.leaf_calls, direct.counts.leaf_calls);
    EXPECT_TRUE(counted.calls == direct.calls);
}

TEST(TracedTree, CountsTheWalkThatIsRun) {
    for (const TreeKind kind : all_kinds)
        for (const bool is_wide : {false, true})
            for (const unsigned sample_count : {1u, 3u}) {
                SCOPED_TRACE(std::string(get_name(kind)) + (is_wide ? ", wide, " : ", ") +
                             std::to_string(sample_count));
                TraceCase trace_case(kind, is_wide, sample_count);
                for (const Query query : {Query::any_hit, Query::nearest_hit})
                    for (const unsigned batch_size : {1u, 16u, ray_count}) {
                        expect_counts(trace_case, query, Walk::engine, batch_size);
                        expect_counts(trace_case, query, Walk::stream, batch_size);
                    }
            }
}

TEST(TracedTree, CountsAWideNodeOnce) {
    TraceCase wide(TreeKind::plain, true, 1);
    TraceCase binary(TreeKind::plain, false, 1);
    const GasWalkCounts few = wide.trace(Query::nearest_hit, Walk::engine, 1, true).counts;
    const GasWalkCounts many = binary.trace(Query::nearest_hit, Walk::engine, 1, true).counts;
    EXPECT_LT(3 * few.visited_nodes, 2 * many.visited_nodes);
}

TEST(TracedTree, FillsItsShareOfTheBar) {
    for (const TreeKind kind : all_kinds)
        for (const bool has_cell_bars : {false, true}) {
            TreeSettings settings;
            settings.kind = kind;
            settings.has_cell_bars = has_cell_bars;
            AppBase application(nullptr);
            AppProgressBar& bar = *application.create_progress_bar("", false);
            bar.set_value(0.25f);
            TracedTree tree;
            tree.build({item_count, 1, get_box, 0.0, {{0, 0, 0}, {10, 9, 9}}}, settings, bar, 0.5f);
            EXPECT_NEAR(bar.get_value(), 0.75f, 0.01f) << get_name(kind);
        }
}

} // namespace
