// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>
#include <vector>

#include <gas/object/gas_object.h>

namespace {

template <typename Base, typename Derived>
constexpr bool comes_before = std::is_base_of_v<Base, Derived> && !std::is_same_v<Base, Derived>;

static_assert(comes_before<CoreBaseType, CoreBaseObject>);
static_assert(comes_before<CoreBaseObject, CoreCustomData>);
static_assert(comes_before<CoreCustomData, EventObject>);
static_assert(comes_before<EventObject, ResourceData>);
static_assert(comes_before<ResourceData, GasObject>);
static_assert(std::is_abstract_v<GasObject>);
static_assert(std::has_virtual_destructor_v<GasObject>);
static_assert(sizeof(GasObject) == sizeof(ResourceData) + 4 * sizeof(void*),
              "an object adds its four callbacks and nothing else");
static_assert(
    std::is_same_v<GasObject::ObjectRayCallback,
                   void (*)(const GasObject*, const CtxEval&, CtxShader&, GeometryRaytraceCtx&)>);

struct Call {
    const char* callback;
    const GasObject* object;
    const CtxEval* eval;
    const CtxShader* shader;
    const GeometryRaytraceCtx* rays;
};

std::vector<Call> calls;

void all_static(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                GeometryRaytraceCtx& rays) {
    calls.push_back({"all static", object, &eval, &shader, &rays});
}
void all_motion(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                GeometryRaytraceCtx& rays) {
    calls.push_back({"all motion", object, &eval, &shader, &rays});
}
void nearest_static(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& rays) {
    calls.push_back({"nearest static", object, &eval, &shader, &rays});
}
void nearest_motion(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& rays) {
    calls.push_back({"nearest motion", object, &eval, &shader, &rays});
}
void other(const GasObject* object, const CtxEval& eval, CtxShader& shader,
           GeometryRaytraceCtx& rays) {
    calls.push_back({"other", object, &eval, &shader, &rays});
}

class BoxObject : public GasObject {
  public:
    GMathBbox3<double> get_bbox() const override { return {{1.0, 2.0, 3.0}, {4.0, 5.0, 6.0}}; }
};

class GasObjectTest : public testing::Test {
  protected:
    GasObjectTest() : batch(3) { calls.clear(); }

    void set_all_callbacks() {
        object.set_raytrace_callbacks(all_static, all_motion, nearest_static, nearest_motion);
    }

    void set_sample_count(unsigned count) {
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, count));
    }

    /// Which callback each of the four ray operations reaches, in their order.
    std::vector<const char*> reached(const GasObject& traced) {
        calls.clear();
        traced.ray_hit_static(eval, shader, batch.get_ctx());
        traced.ray_hit_motion(eval, shader, batch.get_ctx());
        traced.ray_hit_nearest_static(eval, shader, batch.get_ctx());
        traced.ray_hit_nearest_motion(eval, shader, batch.get_ctx());
        std::vector<const char*> names;
        for (const Call& call : calls) {
            EXPECT_EQ(call.object, &traced);
            EXPECT_EQ(call.eval, &eval);
            EXPECT_EQ(call.shader, &shader);
            EXPECT_EQ(call.rays, &batch.get_ctx());
            names.push_back(call.callback);
        }
        return names;
    }

    using Names = std::vector<const char*>;

    BoxObject object;
    CtxEval eval;
    CtxShader shader;
    GeometryRayBatch batch;
};

TEST_F(GasObjectTest, FourCallbacksAreSetOneByOne) {
    set_all_callbacks();
    EXPECT_EQ(reached(object),
              (Names{"all static", "all motion", "nearest static", "nearest motion"}));
    object.set_raytrace_callbacks(nullptr, other, nullptr, nullptr);
    EXPECT_EQ(reached(object), (Names{"all static", "other", "nearest static", "nearest motion"}));
    object.set_raytrace_callbacks(nullptr, nullptr, other, nullptr);
    EXPECT_EQ(reached(object), (Names{"all static", "other", "other", "nearest motion"}));
    object.set_raytrace_callbacks(other, nullptr, nullptr, nullptr);
    object.set_raytrace_callbacks(nullptr, nullptr, nullptr, other);
    EXPECT_EQ(reached(object), (Names{"other", "other", "other", "other"}));
}

TEST_F(GasObjectTest, FourNullCallbacksChangeNothing) {
    set_all_callbacks();
    object.set_raytrace_callbacks(nullptr, nullptr, nullptr, nullptr);
    EXPECT_EQ(reached(object),
              (Names{"all static", "all motion", "nearest static", "nearest motion"}));
}

TEST_F(GasObjectTest, TwoCallbacksAreSetInPairsAndNullLeavesItsPair) {
    set_all_callbacks();
    object.set_raytrace_callbacks(other, nullptr);
    EXPECT_EQ(reached(object), (Names{"other", "other", "nearest static", "nearest motion"}));
    set_all_callbacks();
    object.set_raytrace_callbacks(nullptr, other);
    EXPECT_EQ(reached(object), (Names{"all static", "all motion", "other", "other"}));
    set_all_callbacks();
    object.set_raytrace_callbacks(nullptr, nullptr);
    EXPECT_EQ(reached(object),
              (Names{"all static", "all motion", "nearest static", "nearest motion"}));
}

TEST_F(GasObjectTest, CallbacksFollowTheBaseInTheirOrder) {
    set_all_callbacks();
    GasObject::ObjectRayCallback kept[4];
    const GasObject& base = object;
    std::memcpy(static_cast<void*>(kept),
                reinterpret_cast<const unsigned char*>(&base) + sizeof(ResourceData), sizeof kept);
    EXPECT_EQ(kept[0], all_static);
    EXPECT_EQ(kept[1], all_motion);
    EXPECT_EQ(kept[2], nearest_static);
    EXPECT_EQ(kept[3], nearest_motion);
}

TEST_F(GasObjectTest, CopiesCarryTheCallbacksAndTheBase) {
    int owner_data = 0;
    set_all_callbacks();
    object.set_custom_data(&owner_data);
    const BoxObject copy(object);
    EXPECT_EQ(reached(copy),
              (Names{"all static", "all motion", "nearest static", "nearest motion"}));
    EXPECT_EQ(copy.get_custom_data(), &owner_data);

    BoxObject assigned;
    assigned.set_raytrace_callbacks(other, other);
    BoxObject& result = assigned = object;
    EXPECT_EQ(&result, &assigned);
    EXPECT_EQ(reached(assigned),
              (Names{"all static", "all motion", "nearest static", "nearest motion"}));
    EXPECT_EQ(assigned.get_custom_data(), &owner_data);
}

TEST_F(GasObjectTest, ASourceWithoutCallbacksGivesACopyWithoutCallbacks) {
    BoxObject target;
    target.set_raytrace_callbacks(all_static, nearest_static);
    target = object;
    target.set_raytrace_callbacks(other, nullptr);
    GasObject::ObjectRayCallback kept[4];
    const GasObject& base = target;
    std::memcpy(static_cast<void*>(kept),
                reinterpret_cast<const unsigned char*>(&base) + sizeof(ResourceData), sizeof kept);
    EXPECT_EQ(kept[0], other);
    EXPECT_EQ(kept[1], other);
    EXPECT_EQ(kept[2], nullptr);
    EXPECT_EQ(kept[3], nullptr);
}

TEST_F(GasObjectTest, TwoSamplesTakeTheMotionPath) {
    set_all_callbacks();
    for (const unsigned count : {0u, 1u, 2u, 3u}) {
        set_sample_count(count);
        calls.clear();
        object.ray_hit(eval, shader, batch.get_data());
        object.ray_hit_nearest(eval, shader, batch.get_data());
        ASSERT_EQ(calls.size(), 2u);
        EXPECT_STREQ(calls[0].callback, count < 2 ? "all static" : "all motion") << count;
        EXPECT_STREQ(calls[1].callback, count < 2 ? "nearest static" : "nearest motion") << count;
        for (const Call& call : calls) {
            EXPECT_EQ(call.object, &object);
            EXPECT_EQ(call.eval, &eval);
            EXPECT_EQ(call.shader, &shader);
            EXPECT_EQ(call.rays, &batch.get_ctx());
        }
    }
}

/// What a callback finds in the batch.
struct Seen {
    bool has_map;
    std::vector<bool> flags;
    std::vector<double> distances;
    std::vector<unsigned> items;
    unsigned intersection_flags;
    float intersection_bias;
};

Seen seen;

void look(const GasObject*, const CtxEval&, CtxShader&, GeometryRaytraceCtx& rays) {
    GeometryRaytraceData& data = rays.get_data();
    seen = Seen();
    const GeometryIntersectionMap* map = data.get_intersection_map();
    seen.has_map = map != nullptr;
    for (unsigned ray = 0; ray < data.get_ray_count(); ++ray) {
        seen.flags.push_back(rays.is_hit(ray));
        if (map) {
            seen.distances.push_back(map->get_path(ray).get_hit_distance());
            seen.items.push_back(map->get_path(ray).get_item());
        }
    }
    if (map) {
        seen.intersection_flags = map->intersection_flags;
        seen.intersection_bias = map->intersection_bias;
    }
}

TEST_F(GasObjectTest, AllHitsDropsTheMapAndClearsTheFlagsOfTheWholeBatch) {
    object.set_raytrace_callbacks(look, other);
    for (unsigned ray = 0; ray < 3; ++ray) {
        batch.set_ray(ray, {0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, 0.0, 10.0);
        batch.get_data().get_arrays().hit_flags[ray] = 0xff;
    }
    batch.get_data().set_range(1, 1);
    object.ray_hit(eval, shader, batch.get_data());
    EXPECT_FALSE(seen.has_map);
    EXPECT_EQ(seen.flags, (std::vector<bool>{false, false, false}));
    EXPECT_EQ(batch.get_data().get_intersection_map(), nullptr);
    EXPECT_EQ(batch.get_data().get_first_ray(), 1);
    EXPECT_EQ(batch.get_data().get_last_ray(), 1);
}

TEST_F(GasObjectTest, NearestPreparesMapAndFlagsOfTheWholeBatch) {
    object.set_raytrace_callbacks(other, look);
    for (unsigned ray = 0; ray < 3; ++ray)
        batch.set_ray(ray, {0.0, 0.0, 0.0}, {1.0, 0.0, 0.0}, 0.0, 10.0 + ray);
    // What an earlier query left: a shortened ray, a recorded hit, and no map.
    batch.get_ctx().set_tfar(1, 0.1);
    batch.get_ctx().record_nearest_hit(2, 3.0, 77);
    batch.get_data().use_intersection_map(false);
    batch.get_data().get_arrays().hit_flags[0] = 0xff;
    batch.get_data().set_range(2, 2);
    shader.intersection_flags = 0x80000003u;
    shader.intersection_bias = 0.1;

    object.ray_hit_nearest(eval, shader, batch.get_data());
    EXPECT_TRUE(seen.has_map);
    EXPECT_EQ(seen.flags, (std::vector<bool>{false, false, false}));
    EXPECT_EQ(seen.distances, (std::vector<double>{10.0, 0.1, 12.0}));
    EXPECT_EQ(seen.items, std::vector<unsigned>(3, GeometryIntersectionPath::no_item));
    EXPECT_EQ(seen.intersection_flags, 0x80000003u);
    EXPECT_EQ(seen.intersection_bias, 0.1f);
}

TEST_F(GasObjectTest, SettingsTravelAtEveryQueryAndNarrowToTheNearestFloat) {
    object.set_raytrace_callbacks(other, look);
    const double just_above_half_a_step = 1.0 + 0x1.000002p-24;
    for (const double bias : {0.0, -0.75, 1e-3, just_above_half_a_step}) {
        shader.intersection_bias = bias;
        ++shader.intersection_flags;
        object.ray_hit_nearest(eval, shader, batch.get_data());
        EXPECT_EQ(seen.intersection_bias, static_cast<float>(bias));
        EXPECT_EQ(seen.intersection_flags, shader.intersection_flags);
    }
    EXPECT_EQ(seen.intersection_bias, 1.0f + std::numeric_limits<float>::epsilon());
}

TEST_F(GasObjectTest, ABatchWithoutRaysStillReachesItsCallback) {
    set_all_callbacks();
    GeometryRayBatch empty;
    object.ray_hit(eval, shader, empty.get_data());
    object.ray_hit_nearest(eval, shader, empty.get_data());
    EXPECT_EQ(calls.size(), 2u);
}

#ifdef NDEBUG
TEST_F(GasObjectTest, MissingCallbacksDoNothing) {
    EXPECT_TRUE(reached(object).empty());
    object.ray_hit(eval, shader, batch.get_data());
    object.ray_hit_nearest(eval, shader, batch.get_data());
    EXPECT_TRUE(calls.empty());
}
#else
TEST_F(GasObjectTest, MissingCallbacksAssert) {
    EXPECT_DEATH(object.ray_hit_static(eval, shader, batch.get_ctx()), "callbacks must be set");
    EXPECT_DEATH(object.ray_hit_motion(eval, shader, batch.get_ctx()), "callbacks must be set");
    EXPECT_DEATH(object.ray_hit_nearest_static(eval, shader, batch.get_ctx()),
                 "callbacks must be set");
    EXPECT_DEATH(object.ray_hit_nearest_motion(eval, shader, batch.get_ctx()),
                 "callbacks must be set");
    EXPECT_DEATH(object.ray_hit(eval, shader, batch.get_data()), "callbacks must be set");
    EXPECT_DEATH(object.ray_hit_nearest(eval, shader, batch.get_data()), "callbacks must be set");
}
#endif

} // namespace
