// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/scene.h>

#include <gtest/gtest.h>

#include <apps/gas/mesh/procedural_mesh.h>
#include <apps/gas/scene/mesh_shape.h>
#include <apps/gas/scene/sphere_shape.h>

#include <tests/support/sanitizers.h>
#include <tests/support/seeded_random.h>

namespace {

using namespace gas_app;

/// Enough for streams in the instances.
constexpr unsigned batch_size = 40;
constexpr Vec3 upward{0.0, 1.0, 0.0};

Vec3 get_random_point(support::SeededRandom& random, double size) {
    return {size * (random.uniform_double() - 0.5), size * (random.uniform_double() - 0.5),
            size * (random.uniform_double() - 0.5)};
}

TriangleMesh multiply_mesh(TriangleMesh mesh, double size) {
    for (Vec3& vertex : mesh.vertices)
        vertex = vertex * size;
    return mesh;
}

/// Meshes and spheres of very different sizes, some of them exactly in one place. All lengths are
/// multiplied by `unit`, a power of two.
std::unique_ptr<Scene> make_scene(unsigned sample_count, double unit = 1.0) {
    auto scene = std::make_unique<Scene>(sample_count);
    const Shape& ball =
        scene->add_shape(std::make_unique<MeshShape>("ball", multiply_mesh(make_ball(2), unit)));
    const Shape& gear = scene->add_shape(
        std::make_unique<MeshShape>("gear", multiply_mesh(make_gear(8, 0.3), unit)));
    support::SeededRandom random(21);
    for (unsigned index = 0; index < 40; ++index) {
        const double size = std::pow(10.0, -2.0 * random.uniform_double());
        Instance instance{index % 3 ? &ball : &gear, {}, {}};
        const Transform place = translate(get_random_point(random, 6.0) * unit) *
                                rotate(normalized(get_random_point(random, 1.0)), 1.0) *
                                scale(size, size, size * (index % 5 ? 1.0 : 0.3));
        // The turn is the instance's own; every other one stands still.
        const unsigned placements = index % 2 ? sample_count : 1;
        for (unsigned sample = 0; sample < placements; ++sample)
            instance.placements.push_back(translate(upward * (0.1 * sample * unit)) * place *
                                          rotate(upward, 0.3 * sample));
        scene->add_instance(instance);
        if (index % 4 == 0)
            scene->add_instance(instance);
    }

    std::vector<std::vector<Sphere>> spheres(sample_count);
    for (unsigned index = 0; index < 60; ++index) {
        const Vec3 center = get_random_point(random, 6.0);
        const Vec3 step = get_random_point(random, 0.5);
        for (unsigned sample = 0; sample < sample_count; ++sample)
            for (unsigned copy = 0; copy < 1 + index % 2; ++copy)
                spheres[sample].push_back({(center + step * sample) * unit,
                                           (0.02 + 0.01 * (index % 9)) * unit,
                                           {1.0, 1.0, 1.0}});
    }
    const Shape& swarm = scene->add_shape(std::make_unique<SphereShape>("swarm", spheres));
    scene->add_instance({&swarm, {Transform()}, {}});

    std::vector<std::vector<Vec3>> waves;
    const TriangleMesh disc = multiply_mesh(make_disc(6, 16), unit);
    for (unsigned sample = 0; sample < sample_count; ++sample) {
        waves.push_back(disc.vertices);
        for (Vec3& vertex : waves.back())
            vertex.y = 0.1 * std::sin(9.0 * vertex.x / unit + sample) * unit;
    }
    const Shape& water = scene->add_shape(std::make_unique<MeshShape>("water", disc, waves));
    scene->add_instance({&water, {scale(3.0)}, {}});
    return scene;
}

constexpr TreeKind all_kinds[] = {TreeKind::plain, TreeKind::compressed, TreeKind::grid};

/// Of grids: several cells even of small shapes, built by the method that is set.
TreeSettings get_settings(TreeKind kind) {
    TreeSettings settings;
    settings.kind = kind;
    settings.cell_count = 12;
    settings.has_cell_bars = true;
    return settings;
}

struct Answer {
    SceneHit hit;
    double distance;
    bool any_hit;
    bool any_hit_near;

    bool operator==(const Answer& other) const {
        return hit.instance == other.hit.instance && hit.item == other.hit.item &&
               hit.u == other.hit.u && hit.v == other.hit.v && distance == other.distance &&
               any_hit == other.any_hit && any_hit_near == other.any_hit_near;
    }
};

/// Traces the same random rays in every way, in batches. Their lengths are multiplied by `unit`,
/// so that distances are not.
std::vector<Answer> trace(const Scene& scene, Walk walk, unsigned ray_count, double unit = 1.0,
                          bool is_counted = false) {
    TraceState state(batch_size);
    state.walk = walk;
    state.counts_walks = is_counted;
    ShaderHolder holder(scene.get_motion_blur());
    GeometryRayBatch batch(batch_size);
    support::SeededRandom random(99);
    std::vector<Answer> answers;
    for (unsigned first = 0; first < ray_count; first += batch_size) {
        Vec3 origins[batch_size];
        Vec3 directions[batch_size];
        float times[batch_size];
        for (unsigned ray = 0; ray < batch_size; ++ray) {
            origins[ray] = get_random_point(random, 10.0);
            directions[ray] = get_random_point(random, 5.0) - origins[ray];
            if ((first + ray) % 7 == 0)
                directions[ray][first % 3] = 0.0;
            times[ray] = random.uniform();
        }
        const auto set_rays = [&](double far_distance) {
            for (unsigned ray = 0; ray < batch_size; ++ray) {
                batch.set_ray(ray, origins[ray] * unit, directions[ray] * unit, 0.0, far_distance,
                              times[ray]);
                state.hits[ray] = SceneHit();
            }
        };
        Answer batch_answers[batch_size];
        set_rays(1e30);
        scene.ray_hit(state.eval, holder.shader, batch.get_data());
        for (unsigned ray = 0; ray < batch_size; ++ray)
            batch_answers[ray].any_hit = batch.is_hit(ray);
        set_rays(0.4);
        scene.ray_hit(state.eval, holder.shader, batch.get_data());
        for (unsigned ray = 0; ray < batch_size; ++ray)
            batch_answers[ray].any_hit_near = batch.is_hit(ray);
        set_rays(1e30);
        scene.ray_hit_nearest(state.eval, holder.shader, batch.get_data());
        for (unsigned ray = 0; ray < batch_size; ++ray) {
            batch_answers[ray].hit = state.hits[ray];
            batch_answers[ray].distance = batch.get_hit_distance(ray);
            answers.push_back(batch_answers[ray]);
        }
    }
    return answers;
}

class SceneWalks : public testing::TestWithParam<unsigned> {};

INSTANTIATE_TEST_SUITE_P(Samples, SceneWalks, testing::Values(1u, 2u, 4u));

TEST_P(SceneWalks, FindWhatBruteForceFinds) {
    constexpr unsigned ray_count = support::scale(support::scale_when_whole(600, 300), 100);
    std::vector<Answer> expected;
    for (const TreeKind kind : all_kinds)
        for (unsigned method = 0; method < 4; ++method) {
            const auto scene = make_scene(GetParam());
            AppBase application(nullptr);
            application.set_build_method(method);
            scene->build({5.0, 5.0, 5.0}, *application.create_progress_bar("", false),
                         get_settings(kind));
            if (expected.empty())
                expected = trace(*scene, Walk::brute_force, ray_count);
            for (const Walk walk : {Walk::engine, Walk::stream})
                for (const bool is_counted : {false, true})
                    EXPECT_TRUE(trace(*scene, walk, ray_count, 1.0, is_counted) == expected)
                        << method << ", " << get_name(kind)
                        << (walk == Walk::stream ? ", stream" : "")
                        << (is_counted ? ", counted" : "");
        }
    unsigned hit_count = 0;
    for (const Answer& answer : expected) {
        hit_count += answer.hit.is_hit() ? 1 : 0;
        EXPECT_EQ(answer.hit.is_hit(), answer.any_hit);
        EXPECT_EQ(answer.hit.is_hit() && answer.distance < 0.4, answer.any_hit_near);
    }
    EXPECT_GT(hit_count, ray_count / 4);
    EXPECT_LT(hit_count, ray_count);
}

TEST_P(SceneWalks, FindTheSameInScenesOfAllSizes) {
    constexpr unsigned ray_count = support::scale(support::scale_when_whole(600, 300), 100);
    const auto trace_scene = [&](TreeKind kind, Walk walk, double unit) {
        const auto scene = make_scene(GetParam(), unit);
        AppBase application(nullptr);
        scene->build(Vec3{5.0, 5.0, 5.0} * unit, *application.create_progress_bar("", false),
                     get_settings(kind));
        return trace(*scene, walk, ray_count, unit);
    };
    const std::vector<Answer> expected = trace_scene(TreeKind::plain, Walk::brute_force, 1.0);
    for (const int exponent : {-40, -12, -3, 0, 3, 12, 40})
        for (const TreeKind kind : all_kinds)
            for (const Walk walk : {Walk::engine, Walk::stream})
                EXPECT_TRUE(trace_scene(kind, walk, std::ldexp(1.0, exponent)) == expected)
                    << exponent << ", " << get_name(kind)
                    << (walk == Walk::stream ? ", stream" : "");
}

TEST(Scene, ScalesItsTreesUnlessTheyArePlain) {
    for (const TreeKind kind : all_kinds) {
        constexpr double unit = 4096.0;
        const auto scene = make_scene(1, unit);
        AppBase application(nullptr);
        scene->build({0.0, 0.0, 0.0}, *application.create_progress_bar("", false),
                     get_settings(kind));
        const bool scales = kind != TreeKind::plain;
        // Where shapes have grids, instances have a plain tree.
        const TreeKind instance_kind = kind == TreeKind::grid ? TreeKind::plain : kind;
        EXPECT_EQ(scene->get_tree().get_kind(), instance_kind);
        EXPECT_EQ(scene->get_tree().get_scale() < 1.0, instance_kind != TreeKind::plain);
        for (const auto& shape : scene->get_shapes()) {
            EXPECT_EQ(shape->get_tree().get_kind(), kind);
            EXPECT_EQ(shape->get_tree().get_scale() < 1.0, scales) << shape->get_name();
            const Box box = shape->get_tree().get_box(0);
            const Box exact = shape->get_exact_box(0);
            const double slack = 2.0 * shape->get_tree().get_padding();
            for (unsigned axis = 0; axis < 3; ++axis) {
                EXPECT_NEAR(box.min[axis], exact.min[axis], slack);
                EXPECT_NEAR(box.max[axis], exact.max[axis], slack);
            }
        }
    }
}

TEST(Scene, PrefersTheFirstInstanceAtEqualDistance) {
    Scene scene(1);
    const Shape& ball = scene.add_shape(std::make_unique<MeshShape>("ball", make_ball(1)));
    for (unsigned copy = 0; copy < 9; ++copy)
        scene.add_instance({&ball, {Transform()}, {}});
    AppBase application(nullptr);
    scene.build({0.0, 0.0, 5.0}, *application.create_progress_bar("", false));
    for (const Answer& answer : trace(scene, Walk::engine, 200))
        EXPECT_TRUE(!answer.hit.is_hit() || answer.hit.instance == 0);
}

TEST(Scene, GivesSurfacesThatFaceTheRay) {
    Scene scene(1);
    const Shape& ball = scene.add_shape(std::make_unique<MeshShape>("ball", make_ball(4)));
    scene.add_instance({&ball,
                        {translate({1.0, 0.0, 0.0}) * scale(1.0, 2.0, 0.5)},
                        {{0.5, 0.25, 1.0}, 0.0, false}});
    AppBase application(nullptr);
    scene.build({1.0, 0.0, 9.0}, *application.create_progress_bar("", false));
    TraceState state(1);
    ShaderHolder holder(scene.get_motion_blur());
    GeometryRayBatch batch(1);
    const Vec3 origin{1.01, 0.02, 9.0};
    const Vec3 direction{0.0, 0.0, -3.0};
    batch.set_ray(0, origin, direction, 0.0, 1e30);
    scene.ray_hit_nearest(state.eval, holder.shader, batch.get_data());
    ASSERT_TRUE(state.hits[0].is_hit());
    const double distance = batch.get_hit_distance(0);
    EXPECT_NEAR(distance, 8.5 / 3.0, 1e-3) << "in units of the direction's length";
    const Surface surface = scene.get_surface(state.hits[0], origin, direction, distance, 0.0f);
    EXPECT_NEAR(surface.point.z, 0.5, 1e-3);
    EXPECT_GT(surface.geometric_normal.z, 0.99);
    EXPECT_GT(surface.shading_normal.z, 0.99);
    EXPECT_EQ(surface.color, (Vec3{0.5, 0.25, 1.0}));
}

TEST(Scene, RefusesMotionThatItsBoxesWouldNotHold) {
    Scene scene(3);
    const TriangleMesh ball = make_ball(0);
    const Shape& still = scene.add_shape(std::make_unique<MeshShape>("still", ball));
    const Shape& moving = scene.add_shape(std::make_unique<MeshShape>(
        "moving", ball, std::vector<std::vector<Vec3>>(3, ball.vertices)));
    const Shape& other = scene.add_shape(std::make_unique<MeshShape>(
        "other", ball, std::vector<std::vector<Vec3>>(2, ball.vertices)));
    const std::vector<Transform> one(1);
    const std::vector<Transform> three(3);
    EXPECT_NO_THROW(scene.add_instance({&still, one, {}}));
    EXPECT_NO_THROW(scene.add_instance({&still, three, {}}));
    EXPECT_NO_THROW(scene.add_instance({&moving, one, {}}));
    EXPECT_THROW(scene.add_instance({&moving, three, {}}), std::logic_error);
    EXPECT_THROW(scene.add_instance({&still, std::vector<Transform>(2), {}}), std::logic_error);
    EXPECT_THROW(scene.add_instance({&other, one, {}}), std::logic_error);
    EXPECT_THROW(scene.add_instance({&still, {}, {}}), std::logic_error);
}

} // namespace
