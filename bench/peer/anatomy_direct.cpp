// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/anatomy_direct.h>

#include <functional>
#include <stdexcept>
#include <vector>

#include <bench/peer/anatomy_fit.h>
#include <tests/support/seeded_random.h>

namespace gas_peer {

namespace {

using gas_bench::Triangle;

using Point = GMathVec3<float>;

constexpr unsigned level_count = 256;
/// Between levels; levels are 2 wide.
constexpr float level_distance = 4.0f;

/// Four specks at the corners of each level: rays down the middle enter the levels and meet none.
std::vector<Triangle> make_frames() {
    constexpr float size = 0.01f;
    std::vector<Triangle> triangles;
    for (unsigned i = 0; i < 4 * level_count; ++i) {
        const Point corner = {(i & 1) != 0 ? 1.0f : -1.0f, (i & 2) != 0 ? 1.0f : -1.0f,
                              level_distance * static_cast<float>(i / 4)};
        triangles.push_back(
            {{corner, corner + Point{size, 0.0f, size}, corner + Point{0.0f, size, 0.0f}}});
    }
    return triangles;
}

/// A large triangle at each level, whose box all rays down the middle meet.
std::vector<Triangle> make_floors() {
    std::vector<Triangle> triangles;
    for (unsigned i = 0; i < level_count; ++i) {
        const Point middle = {0.0f, 0.0f, level_distance * static_cast<float>(i)};
        triangles.push_back(
            {{middle + Point{-1.0f, -1.0f, -0.1f}, middle + Point{1.0f, -1.0f, 0.1f},
              middle + Point{-1.0f, 1.0f, 0.0f}}});
    }
    return triangles;
}

/// Along the third axis, down the middle.
std::vector<Ray> make_rays_through(const Scene& scene, unsigned count) {
    support::SeededRandom random(14);
    const Point extent = scene.bounds.max - scene.bounds.min;
    const Point middle = (scene.bounds.min + scene.bounds.max) * 0.5f;
    std::vector<Ray> rays;
    for (unsigned i = 0; i < count; ++i) {
        const Point offset = {random.between(-0.2f, 0.2f) * extent.x,
                              random.between(-0.2f, 0.2f) * extent.y, -extent.z};
        const Point direction = {random.between(-0.1f, 0.1f) * extent.x / extent.z,
                                 random.between(-0.1f, 0.1f) * extent.y / extent.z, 1.0f};
        rays.push_back({middle + offset, direction, 0.0f, 1e30f, 0.0f});
    }
    return rays;
}

/// One scene of empty leaves.
class DirectScene {
  public:
    DirectScene(std::vector<Triangle> (*make)(), const PeerDevices& devices,
                const MeasureSettings& settings)
        : m_workload(
              "direct", [make] { return gas_bench::finish_scene(make(), false); },
              settings.ray_count, false),
          m_rows(settings, m_section, m_unexplained_count),
          m_stage(m_workload, devices, PeerScene::Leaves::empty, m_rows) {}

    GroupCosts measure_misses(const AnatomyQuery& query) {
        return m_stage.measure(m_workload.get_rays(gas_bench::RayKind::miss), query);
    }
    /// With fewer rays, which all visit hundreds of nodes.
    GroupCosts measure_through(const AnatomyQuery& query) {
        const unsigned count = m_rows.get_settings().ray_count / 16 + 1;
        return m_stage.measure(make_rays_through(m_workload.get_scene(), count), query);
    }

  private:
    gas_bench::Workload m_workload;
    Section m_section = {"direct", 0, {}};
    unsigned m_unexplained_count = 0;
    RowMaker m_rows;
    AnatomyStage m_stage;
};

double get_cost(const GroupCosts& group, const std::string& who) {
    for (const RayCost& cost : group.costs) {
        if (cost.who == who)
            return cost.nanoseconds;
    }
    return 0.0;
}

} // namespace

void add_direct_rows(const AnatomyQuery& query, const std::string& peer, const PeerDevices& devices,
                     const MeasureSettings& settings, double reference_seconds, Section& section) {
    // Single figures, unlike samples of a fit, have no others to outweigh a slow moment.
    MeasureSettings patient = settings;
    patient.repetition_count *= 5;
    DirectScene frames(make_frames, devices, patient);
    DirectScene floors(make_floors, devices, patient);
    GroupCosts misses = frames.measure_misses(query);
    GroupCosts nodes = frames.measure_through(query);
    GroupCosts leaves = floors.measure_through(query);
    for (GroupCosts* const group : {&misses, &nodes, &leaves})
        group->scale_to(reference_seconds);

    if (nodes.leaf_calls != 0.0 || leaves.leaf_calls < level_count)
        throw std::runtime_error("rays do not go through the scenes of the direct rows as meant");

    // A miss visits the root.
    const auto get_node = [&](const std::string& who) {
        return (get_cost(nodes, who) - get_cost(misses, who)) / (nodes.nodes - misses.nodes);
    };
    const auto get_leaf = [&](const std::string& who) {
        const double walk = get_cost(misses, who) + get_node(who) * (leaves.nodes - misses.nodes);
        return (get_cost(leaves, who) - walk) / leaves.leaf_calls;
    };
    const std::string& us = misses.costs[0].who;
    const auto add = [&](const char* name, double ours, double peers) {
        section.rows.push_back(make_anatomy_row(name, "ns", ours, peers, peer));
    };
    add("direct: a ray that misses", get_cost(misses, us), get_cost(misses, peer));
    add("direct: a node step", get_node(us), get_node(peer));
    add("direct: an empty leaf call", get_leaf(us), get_leaf(peer));
}

} // namespace gas_peer
