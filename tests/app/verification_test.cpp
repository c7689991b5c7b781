// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verification.h>

#include <gmock/gmock.h>

namespace {

using gas_app::Agreement;
using gas_app::Behaviour;
using gas_app::ComparedPair;
using gas_app::Comparison;
using gas_app::Question;
using gas_app::RayRecord;
using gas_app::TriangleMesh;
using gas_app::Vec3;
using gas_app::VerifiedRays;
using gas_app::VerifiedScene;
using testing::HasSubstr;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// Of a scene whose boxes are spread.
constexpr std::uint64_t spread_seed = 11;

std::vector<RayRecord> make_records(unsigned count) {
    std::vector<RayRecord> records(count);
    for (unsigned i = 0; i < count; ++i)
        records[i] = {i + 10u, i + 20u, 0.5 * i, i % 2 == 0};
    return records;
}

const ComparedPair some_pair = {"tree", "stream", "brute force"};

TEST(Comparison, CountsRaysAndDifferences) {
    Comparison comparison;
    const std::vector<RayRecord> expected = make_records(5);
    const auto compare = [&](const std::vector<RayRecord>& found, Agreement agreement) {
        comparison.compare_rays(some_pair, "scene 1", expected, found, agreement);
    };
    compare(expected, Agreement::histories);
    EXPECT_EQ(comparison.get_total().comparisons, 5u);
    EXPECT_EQ(comparison.get_total().differences, 0u);

    std::vector<RayRecord> found = expected;
    found[1].history = 0;
    compare(found, Agreement::results);
    EXPECT_EQ(comparison.get_total().differences, 0u);
    compare(found, Agreement::histories);
    EXPECT_EQ(comparison.get_total().differences, 1u);
    ASSERT_EQ(comparison.get_descriptions().size(), 1u);
    EXPECT_THAT(comparison.get_descriptions()[0],
                HasSubstr("tree, stream against brute force: scene 1, ray 1: expected"));

    found = expected;
    found[0].is_hit = false;
    found[2].bound += 1e-12;
    found[4].collected = 0;
    compare(found, Agreement::results);
    EXPECT_EQ(comparison.get_total().differences, 4u);
    EXPECT_EQ(comparison.get_total().comparisons, 20u);
}

TEST(Comparison, ExpectsOfSomeRaysOnly) {
    Comparison comparison;
    const std::vector<RayRecord> found = make_records(9);
    std::vector<RayRecord> expected = {found[0], found[4], found[8]};
    comparison.compare_rays(some_pair, "", expected, found, Agreement::histories, nullptr, 4);
    EXPECT_EQ(comparison.get_total().differences, 0u);
    expected[1] = found[5];
    comparison.compare_rays(some_pair, "", expected, found, Agreement::histories, nullptr, 4);
    EXPECT_EQ(comparison.get_total().differences, 1u);
    EXPECT_THAT(comparison.get_descriptions()[0], HasSubstr("ray 4"));
}

TEST(Comparison, DescribesTheFirstDifferencesOnly) {
    Comparison comparison;
    comparison.compare_rays(some_pair, "", make_records(50), std::vector<RayRecord>(50),
                            Agreement::histories);
    EXPECT_EQ(comparison.get_total().differences, 50u);
    EXPECT_EQ(comparison.get_descriptions().size(), Comparison::most_described);
}

TEST(Comparison, AddsUpByRows) {
    const ComparedPair other_pair = {"tree", "batch", "brute force"};
    Comparison parts[2];
    parts[0].compare_rays(some_pair, "", make_records(3), make_records(3), Agreement::histories);
    parts[1].compare(some_pair, false, [] { return "a point"; });
    parts[1].compare(other_pair, true, [] { return "nothing"; });
    Comparison total;
    for (const Comparison& part : parts)
        total.add(part);
    ASSERT_EQ(total.get_rows().size(), 2u);
    EXPECT_EQ(total.get_rows().at(some_pair).comparisons, 4u);
    EXPECT_EQ(total.get_rows().at(some_pair).differences, 1u);
    EXPECT_EQ(total.get_rows().at(other_pair).comparisons, 1u);
    EXPECT_THAT(total.get_descriptions(),
                testing::ElementsAre("tree, stream against brute force: a point"));
}

TEST(VerifiedScene, MeetsItemsWhereARayEntersTheirBoxes) {
    TriangleMesh mesh;
    mesh.vertices = {{32.0, 0.0, 0.0}, {34.0, 2.0, 0.0}, {34.0, 0.0, 2.0}};
    mesh.triangles = {{0, 1, 2}};
    const VerifiedScene scene(mesh, 1);
    const gas_app::TreeItems::Description items = scene.describe();
    ASSERT_EQ(items.item_count, 1u);
    // Where the trees are built, the last of the two samples, the box is as it was but for a scale.
    const gas_app::Box box = items.get_box(0, 1);
    EXPECT_EQ(box.max.x / box.min.x, 34.0 / 32.0);
    const Vec3 middle = gas_app::get_center(box);
    const auto find = [&](const Vec3& origin, const Vec3& direction, double far_distance) {
        const VerifiedScene::Ray ray = {origin, direction, 0.0, far_distance, 0.0f};
        return scene.find_entry(0, ray, far_distance, false);
    };
    const Vec3 before = {box.min.x - 4.0, middle.y, middle.z};
    EXPECT_EQ(find(before, {2.0, 0.0, 0.0}, 100.0), 2.0);
    EXPECT_EQ(find(before, {2.0, 0.0, 0.0}, 1.5), infinity);
    EXPECT_EQ(find(before, {-2.0, 0.0, 0.0}, 100.0), infinity);
    EXPECT_EQ(find(before, {0.0, 1.0, 0.0}, 100.0), infinity);
    EXPECT_EQ(find(middle, {0.0, 1.0, 0.0}, 100.0), 0.0);
}

TEST(VerifiedRays, SeeWhenItemsAreLeftOutOrCalledInAnotherOrder) {
    const VerifiedScene scene(300, spread_seed);
    VerifiedRays rays(scene, 0, 100);
    const auto call = [&](bool forwards, unsigned left_out) {
        return [&rays, &scene, forwards, left_out](const CtxEval& eval, CtxShader& shader,
                                                   GeometryRaytraceCtx& ctx) {
            for (unsigned i = 0; i < scene.get_item_count(); ++i) {
                const unsigned item = forwards ? i : scene.get_item_count() - 1 - i;
                if (item != left_out)
                    VerifiedRays::call_item(&rays, item, eval, shader, ctx);
            }
        };
    };
    const Question nearest = {Behaviour::accept, true, false};
    const auto trace = [&](bool forwards, unsigned left_out) {
        return rays.trace(call(forwards, left_out), VerifiedRays::Way::one_by_one, nearest);
    };
    constexpr unsigned none = 1000;
    const std::vector<RayRecord> expected = rays.trace_by_brute_force(nearest);
    const std::vector<RayRecord> forwards = trace(true, none);
    Comparison comparison;
    comparison.compare_rays(some_pair, "", expected, forwards, Agreement::results);
    comparison.compare_rays(some_pair, "", expected, trace(false, none), Agreement::results);
    EXPECT_EQ(comparison.get_total().differences, 0u);
    comparison.compare_rays(some_pair, "", forwards, trace(false, none), Agreement::histories,
                            &rays);
    EXPECT_GT(comparison.get_total().differences, 50u);
    EXPECT_THAT(comparison.get_descriptions()[0], HasSubstr(" from ("));

    // An item that a ray meets first is missed by that ray.
    std::uint64_t hit_count = 0;
    for (const RayRecord& record : expected)
        hit_count += record.is_hit;
    EXPECT_GT(hit_count, 50u);
    Comparison left_out;
    for (unsigned item = 0; item < scene.get_item_count(); ++item)
        left_out.compare_rays(some_pair, "", expected, trace(true, item), Agreement::results);
    // A ray that starts in two items misses neither.
    EXPECT_LE(left_out.get_total().differences, hit_count);
    EXPECT_GT(left_out.get_total().differences + 5, hit_count);
}

TEST(VerifiedScene, FramesTheRaysOfATile) {
    const VerifiedScene scene(300, spread_seed);
    const VerifiedScene::Tile tile = scene.make_tile(7, 90);
    ASSERT_EQ(tile.rays.size(), 90u);
    ASSERT_GE(tile.frustum.get_plane_count(), 4u);
    for (const VerifiedScene::Ray& ray : tile.rays) {
        for (unsigned plane = 0; plane < tile.frustum.get_plane_count(); ++plane) {
            const GMathFrustum::Plane& side = tile.frustum.get_plane(plane);
            EXPECT_GE(gas_app::dot(side.normal, ray.origin + ray.direction) + side.offset, 0.0);
        }
    }
}

} // namespace
