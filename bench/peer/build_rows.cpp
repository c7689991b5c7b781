// SPDX-License-Identifier: Apache-2.0
/// Builds, refits, memory and the quality of trees.

#include <algorithm>
#include <memory>

#include <bench/bench_cost.h>
#include <bench/peer/peer_cost.h>
#include <bench/peer/peer_table.h>

namespace gas_peer {

namespace {

using gas_bench::TreeKind;
using gas_bench::Workload;

/// What a build makes beside the tree.
enum class Extent { tree, traceable, motion, traceable_motion };

bool has_samples(Extent extent) {
    return extent == Extent::motion || extent == Extent::traceable_motion;
}

bool is_traceable(Extent extent) {
    return extent == Extent::traceable || extent == Extent::traceable_motion;
}

/// One of the library's builds, and the peer's counterpart.
struct BuildQuestion {
    const char* name;
    Extent extent;
    /// The application's build method setting; negative: the default, which needs no application.
    int method;
    PeerScene::Kind peer_kind;
};

constexpr BuildQuestion build_questions[] = {
    {"build", Extent::tree, -1, PeerScene::Kind::best},
    {"build/traceable", Extent::traceable, -1, PeerScene::Kind::best},
    {"build/motion", Extent::motion, -1, PeerScene::Kind::best},
    {"build/traceable_motion", Extent::traceable_motion, -1, PeerScene::Kind::best},
    {"build/median", Extent::tree, 0, PeerScene::Kind::fast},
    {"build/hybrid", Extent::tree, 1, PeerScene::Kind::best},
    {"build/sah", Extent::tree, 3, PeerScene::Kind::best},
};

/// Each run makes a new tree; the last one is destroyed before the clock starts.
Contender make_gas_build(const Scene& scene, const BuildQuestion& question) {
    struct State {
        std::unique_ptr<GasTree> tree;
        std::unique_ptr<AppBase> app;
        AppProgressBar* bar = nullptr;
    };
    const auto state = std::make_shared<State>();
    if (question.method >= 0) {
        state->app = std::make_unique<AppBase>(nullptr);
        state->app->set_build_method(static_cast<unsigned>(question.method));
        state->bar = state->app->create_progress_bar("build", false);
    }
    const auto build = [state, &scene, extent = question.extent] {
        TreeKind<GasTree>::create(*state->tree, scene.boxes, state->bar);
        if (has_samples(extent))
            gas_bench::add_motion_samples(*state->tree, scene);
        if (is_traceable(extent))
            gas_bench::prepare_for_tracing(*state->tree);
    };
    return {"GasTree", "", [state] { state->tree = std::make_unique<GasTree>(); }, build, nullptr};
}

Contender make_peer_build(const Scene& scene, const PeerDevice& device,
                          const BuildQuestion& question) {
    const auto built = std::make_shared<std::unique_ptr<PeerScene>>();
    const bool may_move = has_samples(question.extent);
    const auto reset = [built, &scene, &device, may_move, kind = question.peer_kind] {
        built->reset();
        *built = std::make_unique<PeerScene>(device, scene, may_move, kind);
    };
    return {device.get_name(), "", reset, [built] { (*built)->build(); }, nullptr};
}

void add_build(const Scene& scene, const PeerDevices& devices, const BuildQuestion& question,
               RowMaker& rows) {
    std::vector<Contender> contenders = {make_gas_build(scene, question)};
    for (const std::unique_ptr<PeerDevice>& device : devices)
        contenders.push_back(make_peer_build(scene, *device, question));
    rows.add_times(question.name, Unit::nanoseconds_per_item, scene.boxes.get_count(), contenders,
                   nullptr, Groups::rows);
}

const char* get_refit_name(bool is_traced) { return is_traced ? "refit/traceable" : "refit"; }

/// Between two sets of boxes in turn, so that every run moves the boxes.
void add_refit(const Scene& scene, const PeerDevices& devices, bool is_traced, RowMaker& rows) {
    GasTree tree;
    TreeKind<GasTree>::create(tree, scene.boxes, nullptr);
    if (is_traced)
        gas_bench::prepare_for_tracing(tree);
    bool is_later = false;
    const auto refit = [&] { tree.refit(is_later ? scene.later_boxes : scene.boxes); };
    std::vector<Contender> contenders = {
        {"GasTree", "", [&is_later] { is_later = !is_later; }, refit, nullptr}};
    for (const std::unique_ptr<PeerDevice>& device : devices) {
        const auto peer =
            std::make_shared<PeerScene>(*device, scene, false, PeerScene::Kind::refits);
        peer->build();
        const auto turn = [peer, peer_is_later = false]() mutable {
            peer_is_later = !peer_is_later;
            peer->set_later(peer_is_later);
        };
        contenders.push_back({device->get_name(), "", turn, [peer] { peer->build(); }, nullptr});
    }
    rows.add_times(get_refit_name(is_traced), Unit::nanoseconds_per_item, scene.boxes.get_count(),
                   contenders, nullptr, Groups::rows);
}

/// The least bytes that a device holds for a scene.
double get_peer_size(const Scene& scene, const PeerDevices& devices, bool may_move) {
    double smallest = 0.0;
    for (const std::unique_ptr<PeerDevice>& device : devices) {
        const std::int64_t before = device->get_byte_count();
        PeerScene peer(*device, scene, may_move, PeerScene::Kind::best);
        peer.build();
        const auto size = static_cast<double>(device->get_byte_count() - before);
        smallest = smallest > 0.0 ? std::min(smallest, size) : size;
    }
    return smallest;
}

void add_memory(const Scene& scene, const PeerDevices& devices, bool may_move, RowMaker& rows) {
    GasTree tree;
    gas_bench::create_traced_tree(tree, scene, may_move);
    const auto size = static_cast<double>(gas_bench::get_traced_size(tree, may_move));
    const double item_count = scene.boxes.get_count();
    rows.add_figures(may_move ? "memory/motion" : "memory/static", "bytes/item",
                     {size / item_count, get_peer_size(scene, devices, may_move) / item_count},
                     Groups::rows);
}

} // namespace

void add_first_build_row(const Scene& scene, const PeerDevices& devices, RowMaker& rows) {
    add_build(scene, devices, build_questions[0], rows);
}

void add_build_rows(Workload& workload, const PeerDevices& devices, RowMaker& rows) {
    const Scene& scene = workload.get_scene();
    for (const BuildQuestion& question : build_questions) {
        if (rows.wants(question.name))
            add_build(scene, devices, question, rows);
    }
    for (const bool is_traced : {false, true}) {
        if (rows.wants(get_refit_name(is_traced)))
            add_refit(scene, devices, is_traced, rows);
    }
    for (const bool may_move : {false, true}) {
        if (rows.wants(may_move ? "memory/motion" : "memory/static"))
            add_memory(scene, devices, may_move, rows);
    }
    if (rows.wants("cost")) {
        GasTree tree;
        TreeKind<GasTree>::create(tree, scene.boxes, nullptr);
        rows.add_figures("cost", "boxes",
                         {gas_bench::get_sah_cost(tree), get_peer_cost(*devices.front(), scene)},
                         Groups::rows);
    }
}

} // namespace gas_peer
