// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <bench/bench_workload.h>
#include <bench/peer/gas_contender.h>
#include <bench/peer/peer_rays.h>
#include <bench/peer/reference_job.h>
#include <bench/peer/row_maker.h>

namespace gas_peer {

/// A query, and the way that the library takes.
struct AnatomyQuery {
    const char* name;
    Query query;
    /// Not in packets.
    GasCall call;
};

/// What one contender takes for a ray.
struct RayCost {
    std::string who;
    double nanoseconds;
};

/// A group of rays: the library's work for a ray of it, and what a ray costs.
struct GroupCosts {
    double nodes;
    double leaf_calls;
    /// Leaf calls that are not empty.
    double intersections;
    /// The library's first, then the peer's by device and call.
    std::vector<RayCost> costs;
    /// Seconds that the reference job took in turn with them.
    double reference_seconds;

    /// Scales all costs to the speed of the machine at which the reference job takes `seconds`.
    void scale_to(double seconds) {
        for (RayCost& cost : costs)
            cost.nanoseconds *= seconds / reference_seconds;
        reference_seconds = seconds;
    }
};

/// Trees of both sides over one scene, whose leaf callbacks intersect items or are all empty.
class AnatomyStage {
  public:
    /// All arguments outlive this.
    AnatomyStage(gas_bench::Workload& workload, const PeerDevices& devices,
                 PeerScene::Leaves leaves, RowMaker& rows);
    AnatomyStage(const AnatomyStage&) = delete;
    AnatomyStage& operator=(const AnatomyStage&) = delete;
    ~AnatomyStage();

    /// The library's nodes and leaf calls for each ray by itself.
    std::vector<GasWalkCounts> count(const std::vector<Ray>& rays, Query query);
    GroupCosts measure(const std::vector<Ray>& rays, const AnatomyQuery& query);

  private:
    std::vector<Contender> make_contenders(const std::vector<Ray>& rays, const AnatomyQuery& query);

    gas_bench::Workload& m_workload;
    const PeerDevices& m_devices;
    bool m_is_empty;
    RowMaker& m_rows;
    ReferenceJob m_reference;
    gas_bench::Tracer<GasTree>& m_tracer;
    std::vector<std::unique_ptr<PeerScene>> m_scenes;
};

} // namespace gas_peer
