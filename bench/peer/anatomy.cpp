// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/anatomy.h>

#include <array>
#include <cstdio>
#include <iterator>
#include <utility>
#include <vector>

#include <bench/bench_ray_bins.h>
#include <bench/peer/anatomy_direct.h>
#include <bench/peer/anatomy_fit.h>
#include <bench/peer/anatomy_stage.h>

namespace gas_peer {

namespace {

using gas_bench::RayKind;
using gas_bench::Workload;

constexpr AnatomyQuery anatomy_queries[] = {{"nearest", Query::nearest, GasCall::rays},
                                            {"any", Query::any, GasCall::rays},
                                            {"all", Query::all, GasCall::rays},
                                            {"stream/nearest", Query::nearest, GasCall::stream},
                                            {"stream/any", Query::any, GasCall::stream},
                                            {"stream/all", Query::all, GasCall::stream}};

/// A scene with rays of many depths. Most lie in the caches; how many leaves a ray calls for its
/// nodes differs from scene to scene.
struct AnatomyScene {
    const char* name;
    unsigned item_count;
};

constexpr AnatomyScene anatomy_scenes[] = {
    {"uniform", 1000},    {"uniform", 30000},    {"clustered", 30000},
    {"long_thin", 30000}, {"coincident", 30000}, {"surface", 3000},
    {"surface", 60000},   {"rooms", 60000},      {"subdivided", 60000}};

constexpr unsigned quick_item_count = 300;

/// By nodes and by leaf calls.
constexpr unsigned bins_a_side = 3;

/// By query.
using AllGroups = std::array<std::vector<GroupCosts>, std::size(anatomy_queries)>;

std::vector<RayKind> list_kinds(Query query) {
    const RayKind first = query == Query::any ? RayKind::shadow : RayKind::camera;
    return {first, RayKind::bounce, RayKind::miss};
}

/// A group for each bin of the rays; those that miss are all alike.
std::vector<std::vector<Ray>> make_groups(AnatomyStage& stage, const std::vector<Ray>& rays,
                                          Query query, RayKind kind) {
    if (kind == RayKind::miss)
        return {rays};
    std::vector<std::vector<Ray>> groups;
    for (const gas_bench::RayBin& bin :
         gas_bench::make_ray_bins(stage.count(rays, query), bins_a_side)) {
        groups.emplace_back();
        for (const unsigned ray : bin)
            groups.back().push_back(rays[ray]);
    }
    return groups;
}

void measure_groups(Workload& workload, AnatomyStage& stage, AllGroups& all_groups) {
    for (std::size_t i = 0; i < std::size(anatomy_queries); ++i) {
        const AnatomyQuery& query = anatomy_queries[i];
        for (const RayKind kind : list_kinds(query.query)) {
            for (const std::vector<Ray>& rays :
                 make_groups(stage, workload.get_rays(kind), query.query, kind))
                all_groups[i].push_back(stage.measure(rays, query));
        }
    }
}

/// All groups of all scenes.
AllGroups measure_scenes(const PeerDevices& devices, const MeasureSettings& settings, bool is_quick,
                         unsigned& unexplained_count) {
    AllGroups all_groups;
    for (const AnatomyScene& scene : anatomy_scenes) {
        const unsigned item_count = is_quick ? quick_item_count : scene.item_count;
        Workload workload(
            scene.name,
            [&scene, item_count] { return gas_bench::make_scene(scene.name, item_count); },
            settings.ray_count, false);
        Section section = {scene.name, workload.get_item_count(), {}};
        std::fprintf(stderr, "%s: anatomy\n", get_label(section).c_str());
        RowMaker rows(settings, section, unexplained_count);
        for (const auto leaves : {PeerScene::Leaves::intersected, PeerScene::Leaves::empty}) {
            AnatomyStage stage(workload, devices, leaves, rows);
            measure_groups(workload, stage, all_groups);
        }
    }
    return all_groups;
}

/// What the reference job takes at the machine's usual speed.
double get_usual_reference(const AllGroups& all_groups) {
    std::vector<double> seconds;
    for (const std::vector<GroupCosts>& groups : all_groups) {
        for (const GroupCosts& group : groups)
            seconds.push_back(group.reference_seconds);
    }
    return get_median(std::move(seconds));
}

} // namespace

void measure_anatomy(const PeerDevices& devices, const MeasureSettings& settings, bool is_quick,
                     Table& table, unsigned& unexplained_count) {
    AllGroups all_groups = measure_scenes(devices, settings, is_quick, unexplained_count);
    const double reference_seconds = get_usual_reference(all_groups);
    for (std::size_t i = 0; i < std::size(anatomy_queries); ++i) {
        AnatomyFit fit;
        for (GroupCosts& group : all_groups[i]) {
            group.scale_to(reference_seconds);
            fit.add(group);
        }
        Section section = {anatomy_queries[i].name, 0, {}};
        fit.add_rows(section);
        add_direct_rows(anatomy_queries[i], fit.get_peer(), devices, settings, reference_seconds,
                        section);
        print_section(stdout, table, section);
        table.sections.push_back(std::move(section));
    }
}

} // namespace gas_peer
