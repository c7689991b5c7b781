// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/anatomy_stage.h>

namespace gas_peer {

AnatomyStage::AnatomyStage(gas_bench::Workload& workload, const PeerDevices& devices,
                           PeerScene::Leaves leaves, RowMaker& rows)
    : m_workload(workload), m_devices(devices), m_is_empty(leaves == PeerScene::Leaves::empty),
      m_rows(rows), m_tracer(workload.get_tracer<GasTree>()) {
    m_tracer.set_empty_leaves(m_is_empty);
    for (const std::unique_ptr<PeerDevice>& device : devices) {
        m_scenes.push_back(std::make_unique<PeerScene>(*device, workload.get_scene(), false,
                                                       PeerScene::Kind::best, leaves));
        m_scenes.back()->build();
    }
}

AnatomyStage::~AnatomyStage() { m_tracer.set_empty_leaves(false); }

std::vector<GasWalkCounts> AnatomyStage::count(const std::vector<Ray>& rays, Query query) {
    m_tracer.prepare(rays, query, false);
    return m_tracer.trace_counted_by_ray();
}

/// The library, then the peer by a call per ray and, for streams, by one call for all.
std::vector<Contender> AnatomyStage::make_contenders(const std::vector<Ray>& rays,
                                                     const AnatomyQuery& query) {
    std::vector<PeerCall> calls = {single_call};
    if (query.call == GasCall::stream)
        calls.push_back(batch_calls[0]);
    std::vector<Contender> contenders = {
        make_tracer_contender("GasTree", m_tracer, query.query, query.call)};
    for (const PeerCall& call : calls) {
        for (std::size_t i = 0; i < m_devices.size(); ++i) {
            if (can_call(*m_devices[i], call, query.query))
                contenders.push_back(
                    make_peer_contender(*m_devices[i], *m_scenes[i], rays, query.query, call, ""));
        }
    }
    return contenders;
}

GroupCosts AnatomyStage::measure(const std::vector<Ray>& rays, const AnatomyQuery& query) {
    m_tracer.prepare(rays, query.query, false);
    const GasWalkCounts counts =
        query.call == GasCall::stream ? m_tracer.trace_stream_counted() : m_tracer.trace_counted();
    std::vector<Contender> contenders = make_contenders(rays, query);
    contenders.push_back(m_reference.make_contender());
    const AnswerCheck check(m_workload.get_scene(), rays, query.query, false);
    const std::vector<double> seconds =
        m_rows.measure_times(query.name, contenders, m_is_empty ? nullptr : &check);

    const auto ray_count = static_cast<double>(rays.size());
    GroupCosts group = {static_cast<double>(counts.visited_nodes) / ray_count,
                        static_cast<double>(counts.leaf_calls) / ray_count,
                        0.0,
                        {},
                        seconds.back()};
    if (!m_is_empty)
        group.intersections = group.leaf_calls;
    for (std::size_t i = 0; i + 1 < contenders.size(); ++i)
        group.costs.push_back({contenders[i].name, 1e9 * seconds[i] / ray_count});
    return group;
}

} // namespace gas_peer
