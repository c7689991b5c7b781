// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_validate.h>
#include <gas/object/gas_object.h>
#include <gas/tree/gas_tree.h>

#include <apps/common/tree_calls.h>
#include <fuzz/fuzz_input.h>
#include <tests/support/ray_coherence.h>

// Ray queries over any boxes, NaN and inverted ones as well, with callbacks that accept, shorten,
// lengthen, stop and nest. Walks of wide nodes must make the calls of the walk of binary nodes, and
// rays of a stream their own.

namespace {

using Boxes = CoreArray<GMathBbox3<float>>;

struct Ray {
    GMathVec3<double> origin;
    GMathVec3<double> direction;
    double near_distance;
    double far_distance;
    float time;
    int cache_slot;
};

/// What was called for a ray, and its bound each time.
struct History {
    std::uint64_t calls = 0;
    bool is_hit = false;
    double bound = 0.0;

    bool operator==(const History& other) const {
        return calls == other.calls && is_hit == other.is_hit &&
               std::bit_cast<std::uint64_t>(bound) == std::bit_cast<std::uint64_t>(other.bound);
    }
};

std::uint64_t mix(std::uint64_t a, std::uint64_t b) {
    a = (a ^ b) * 0x9E3779B97F4A7C15u;
    return a ^ a >> 29;
}

/// Traces rays and writes down what is called.
class Tracer {
  public:
    using Call = std::function<void(const CtxEval&, CtxShader&, GeometryRaytraceCtx&)>;

    Tracer(std::vector<Ray> rays, unsigned behaviour, const CtxMotionBlur& motion)
        : m_rays(std::move(rays)), m_behaviour(behaviour), m_batch(get_count()), m_nested(1) {
        m_shader.set_motion_blur(motion);
        GasObject::create_ctx(m_shader);
    }
    Tracer(const Tracer&) = delete;
    Tracer& operator=(const Tracer&) = delete;
    ~Tracer() { GasObject::destroy_ctx(m_shader); }

    unsigned get_count() const { return static_cast<unsigned>(m_rays.size()); }

    enum class Way { one_by_one, together };

    std::vector<History> trace(const Call& call, Way way, bool is_nearest) {
        m_call = call;
        m_is_nearest = is_nearest;
        m_is_nested = false;
        m_histories.assign(get_count(), {});
        for (unsigned i = 0; i < get_count(); ++i)
            set(m_batch, i, m_rays[i]);
        m_batch.reset_hits();
        forget();
        const int last = static_cast<int>(get_count()) - 1;
        m_batch.get_data().set_range(0, last);
        if (way == Way::together)
            call(m_eval, m_shader, m_batch.get_ctx());
        for (int i = 0; way != Way::together && i <= last; ++i) {
            m_batch.get_data().set_range(i, i);
            call(m_eval, m_shader, m_batch.get_ctx());
        }
        for (unsigned i = 0; i < get_count(); ++i) {
            m_histories[i].is_hit = m_batch.is_hit(i);
            m_histories[i].bound = get_bound(m_batch.get_ctx(), i);
        }
        return m_histories;
    }

    static void on_leaf(void* user, const unsigned& item, const CtxEval& eval, CtxShader& shader,
                        GeometryRaytraceCtx& ctx) {
        Tracer& self = *static_cast<Tracer*>(user);
        for (int i = ctx.get_first_ray(); i <= ctx.get_last_ray(); ++i)
            self.visit(item, static_cast<unsigned>(i), eval, shader, ctx);
    }

  private:
    static void set(GeometryRayBatch& batch, unsigned index, const Ray& ray) {
        batch.set_ray(index, ray.origin, ray.direction, ray.near_distance, ray.far_distance,
                      ray.time, ray.cache_slot);
    }
    /// Half of the inputs then have rays that expand two nodes at a time.
    void forget() {
        GasObject::destroy_ctx(m_shader);
        GasObject::create_ctx(m_shader);
        support::set_coherence(*static_cast<GasTreeCtx*>(m_shader.tree_ctx_slot),
                               (m_behaviour & 1) != 0);
    }
    double get_bound(const GeometryRaytraceCtx& ctx, unsigned ray) const {
        return m_is_nearest ? ctx.get_intersection_path(ray).get_hit_distance() : ctx.get_tfar(ray);
    }
    void set_bound(const GeometryRaytraceCtx& ctx, unsigned ray, double bound) const {
        if (m_is_nearest)
            ctx.get_intersection_path(ray).set_hit_distance(bound);
        else
            ctx.set_tfar(ray, bound);
    }

    void visit(unsigned item, unsigned ray, const CtxEval& eval, CtxShader& shader,
               GeometryRaytraceCtx& ctx) {
        if (m_is_nested) {
            m_nested_calls = mix(m_nested_calls, item + 1);
            return;
        }
        const double bound = get_bound(ctx, ray);
        std::uint64_t& calls = m_histories[ray].calls;
        calls = mix(mix(calls, item + 1), std::bit_cast<std::uint64_t>(bound));
        const std::uint64_t choice = mix(mix(m_behaviour, item), ray) >> 7;
        switch (choice % 16) {
        case 0:
            return set_bound(ctx, ray, bound * 1.5);
        case 1:
            return set_bound(ctx, ray, -bound);
        case 2:
            return set_bound(ctx, ray, std::numeric_limits<double>::quiet_NaN());
        case 3:
            ctx.set_hit(ray);
            return;
        case 4:
            set(m_nested, 0, m_rays[choice / 16 % m_rays.size()]);
            m_nested.reset_hits();
            m_is_nested = true;
            m_nested_calls = 0;
            m_call(eval, shader, m_nested.get_ctx());
            m_is_nested = false;
            calls = mix(calls, m_nested_calls);
            return;
        case 5:
        case 6:
        case 7:
        case 8:
            set_bound(ctx, ray, bound * 0.875);
            if (m_is_nearest)
                ctx.set_hit(ray);
            return;
        default:
            return; // rejected
        }
    }

    std::vector<Ray> m_rays;
    std::uint64_t m_behaviour;
    CtxEval m_eval;
    CtxShader m_shader;
    GeometryRayBatch m_batch;
    GeometryRayBatch m_nested;
    std::vector<History> m_histories;
    Call m_call;
    bool m_is_nearest = false;
    bool m_is_nested = false;
    std::uint64_t m_nested_calls = 0;
};

Boxes take_boxes(FuzzInput& input, unsigned count) {
    Boxes boxes(count);
    const bool are_ordered = input.take_below(4) != 0;
    for (unsigned i = 0; i < count; ++i) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            float low = input.take_float();
            float high = input.take_float();
            if (are_ordered && high < low)
                std::swap(low, high);
            boxes[i].min[axis] = low;
            boxes[i].max[axis] = high;
        }
    }
    return boxes;
}

std::vector<Ray> take_rays(FuzzInput& input) {
    std::vector<Ray> rays;
    const unsigned count = 1 + input.take_below(24);
    const auto take_vector = [&] {
        GMathVec3<double> vector;
        for (unsigned axis = 0; axis < 3; ++axis)
            vector[axis] = static_cast<double>(input.take_float());
        return vector;
    };
    for (unsigned i = 0; i < count; ++i) {
        Ray ray;
        ray.origin = take_vector();
        ray.direction = take_vector();
        ray.near_distance = static_cast<double>(input.take_float());
        ray.far_distance = 2.0 * static_cast<double>(input.take_float()) + 30.0;
        ray.time = static_cast<float>(input.take_byte()) / 255.0f;
        ray.cache_slot = static_cast<int>(input.take_below(6));
        rays.push_back(ray);
    }
    // Enough for a stream to have trials, now and then.
    if (input.take_below(8) == 7) {
        while (rays.size() < 600)
            rays.push_back(rays[rays.size() % count]);
    }
    return rays;
}

void expect_same(const std::vector<History>& expected, const std::vector<History>& found,
                 const char* what, unsigned query) {
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (found[i] == expected[i])
            continue;
        std::fprintf(stderr, "%s differs: query %u, ray %zu of %zu\n", what, query, i,
                     expected.size());
        std::abort();
    }
}

template <typename Tree> void expect_right(const Tree& tree, const GMathBbox3<float>* bboxes) {
    GasValidateSettings settings;
    settings.bboxes = bboxes;
    const std::vector<std::string> flaws = gas_validate(tree, settings);
    for (const std::string& flaw : flaws)
        std::fprintf(stderr, "%s\n", flaw.c_str());
    if (!flaws.empty())
        std::abort();
}

template <typename Tree>
void fill_samples(Tree& tree, FuzzInput input, unsigned item_count, unsigned sample_count) {
    tree.set_motion_blur_sample_count(sample_count);
    for (unsigned sample = 0; sample < sample_count; ++sample)
        tree.refit_motion_blur_sample(take_boxes(input, item_count), sample);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    AppBase application(nullptr);
    application.set_build_method(input.take_below(4));
    AppProgressBar& bar = *application.create_progress_bar("", false);
    const unsigned item_count = 1 + input.take_below(80);
    const unsigned sample_count = input.take_below(4);
    const unsigned behaviour = input.take_byte();
    const std::vector<Ray> rays = take_rays(input);
    const Boxes boxes = take_boxes(input, item_count);

    GasTree binary;
    GasTree wide;
    wide.set_wide_nodes(true);
    GasCompressedTree compressed;
    binary.create(boxes, nullptr, &bar, 1.0f);
    wide.create(boxes, nullptr, &bar, 1.0f);
    compressed.create(boxes, nullptr, &bar);
    // The same samples for each.
    fill_samples(binary, input, item_count, sample_count);
    fill_samples(wide, input, item_count, sample_count);
    fill_samples(compressed, input, item_count, sample_count);

    expect_right(binary, &boxes[0]);
    expect_right(wide, &boxes[0]);
    // Decoded boxes contain the items' in the working range alone.
    expect_right(compressed, nullptr);

    Tracer tracer(rays, behaviour, CtxMotionBlur(0.0f, 1.0f, sample_count));
    const auto set_callbacks = [&](auto& tree) {
        tree.set_leaf_raytrace_callbacks(Tracer::on_leaf, Tracer::on_leaf, Tracer::on_leaf,
                                         Tracer::on_leaf, &tracer);
    };
    set_callbacks(binary);
    set_callbacks(wide);
    set_callbacks(compressed);
    using Way = Tracer::Way;
    for (unsigned query = 0; query < 4; ++query) {
        const bool is_nearest = query >= 2;
        const auto trace = [&](const auto& tree, GasRayWay ray_way, Way way) {
            const auto call = [&, ray_way](const CtxEval& eval, CtxShader& shader,
                                           GeometryRaytraceCtx& ctx) {
                gas_app::call_tree(tree, static_cast<GasRayCall>(query), ray_way, eval, shader,
                                   ctx);
            };
            return tracer.trace(call, way, is_nearest);
        };
        expect_same(trace(binary, GasRayWay::query, Way::one_by_one),
                    trace(wide, GasRayWay::query, Way::one_by_one), "a walk of wide nodes", query);
        const std::vector<History> alone = trace(binary, GasRayWay::stream, Way::one_by_one);
        expect_same(alone, trace(binary, GasRayWay::stream, Way::together), "a stream", query);
        expect_same(alone, trace(wide, GasRayWay::stream, Way::together), "a stream of wide nodes",
                    query);
        expect_same(trace(compressed, GasRayWay::stream, Way::one_by_one),
                    trace(compressed, GasRayWay::stream, Way::together),
                    "a stream of a compressed tree", query);
        // Together the order of calls is the batch's; that they end, and touch nothing else, is all
        // that is asked here.
        trace(wide, GasRayWay::query, Way::together);
        trace(compressed, GasRayWay::query, Way::together);
    }
    return 0;
}
