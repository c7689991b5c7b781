// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/verification.h>

#include <gmock/gmock.h>

namespace {

using gas_app::Agreement;
using gas_app::Behaviour;
using gas_app::RayComparison;
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

TEST(RayComparison, CountsRaysAndDifferences) {
    RayComparison comparison;
    const std::vector<RayRecord> expected = make_records(5);
    comparison.compare("same", expected, expected, Agreement::histories);
    EXPECT_EQ(comparison.get_count(), 5u);
    EXPECT_EQ(comparison.get_difference_count(), 0u);

    std::vector<RayRecord> found = expected;
    found[1].history = 0;
    comparison.compare("results", expected, found, Agreement::results);
    EXPECT_EQ(comparison.get_difference_count(), 0u);
    comparison.compare("histories", expected, found, Agreement::histories);
    EXPECT_EQ(comparison.get_difference_count(), 1u);
    ASSERT_EQ(comparison.get_descriptions().size(), 1u);
    EXPECT_THAT(comparison.get_descriptions()[0], HasSubstr("histories, ray 1"));

    found = expected;
    found[0].is_hit = false;
    found[2].bound += 1e-12;
    found[4].collected = 0;
    comparison.compare("results", expected, found, Agreement::results);
    EXPECT_EQ(comparison.get_difference_count(), 4u);
    EXPECT_EQ(comparison.get_count(), 20u);
}

TEST(RayComparison, DescribesTheFirstDifferencesOnly) {
    RayComparison comparison;
    const std::vector<RayRecord> expected = make_records(50);
    comparison.compare("none", expected, std::vector<RayRecord>(50), Agreement::histories);
    EXPECT_EQ(comparison.get_difference_count(), 50u);
    EXPECT_EQ(comparison.get_descriptions().size(), RayComparison::most_described);
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
        return scene.find_entry(0, {origin, direction, 0.0, far_distance, 0.0f}, far_distance,
                                false);
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
    const auto trace = [&](bool forwards, unsigned left_out, Behaviour behaviour) {
        return rays.trace(call(forwards, left_out), VerifiedRays::Way::one_by_one, behaviour, true,
                          false);
    };
    const std::vector<RayRecord> expected =
        rays.trace_by_brute_force(Behaviour::accept, true, false);
    RayComparison comparison;
    comparison.compare("", expected, trace(true, 1000, Behaviour::accept), Agreement::histories);
    comparison.compare("", expected, trace(false, 1000, Behaviour::accept), Agreement::results);
    EXPECT_EQ(comparison.get_difference_count(), 0u);
    comparison.compare("", expected, trace(false, 1000, Behaviour::accept), Agreement::histories);
    EXPECT_GT(comparison.get_difference_count(), 50u);

    // An item that a ray meets first is missed by that ray.
    std::uint64_t hit_count = 0;
    for (const RayRecord& record : expected)
        hit_count += record.is_hit;
    EXPECT_GT(hit_count, 50u);
    RayComparison left_out;
    for (unsigned item = 0; item < scene.get_item_count(); ++item)
        left_out.compare("", expected, trace(true, item, Behaviour::accept), Agreement::results);
    // A ray that starts in two items misses neither.
    EXPECT_LE(left_out.get_difference_count(), hit_count);
    EXPECT_GT(left_out.get_difference_count() + 5, hit_count);
}

} // namespace
