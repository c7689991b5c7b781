// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>
#include <string>
#include <vector>

#include <bench/bench_tracer.h>
#include <bench/peer/contender.h>

namespace gas_peer {

/// The answers of a tracer's last pass over its `ray_count` rays.
template <typename Tree>
Answers get_answers(const gas_bench::Tracer<Tree>& tracer, gas_bench::Query query) {
    const GeometryRayBatch& batch = tracer.get_batch();
    Answers answers(batch.get_ray_count());
    for (unsigned ray = 0; ray < batch.get_ray_count(); ++ray) {
        if (query != gas_bench::Query::nearest)
            answers[ray] = static_cast<float>(tracer.get_ray_hit_count(ray));
        else if (batch.is_hit(ray))
            answers[ray] = static_cast<float>(batch.get_hit_distance(ray));
        else
            answers[ray] = std::numeric_limits<float>::infinity();
    }
    return answers;
}

/// How a tracer hands over its prepared rays.
enum class GasCall { rays, stream, packets };

/// A tracer that was prepared for its rays, and outlives this.
template <typename Tree>
Contender make_tracer_contender(const std::string& name, gas_bench::Tracer<Tree>& tracer,
                                gas_bench::Query query, GasCall call) {
    Contender contender;
    contender.name = name;
    contender.group = name;
    contender.reset = [&tracer] { tracer.forget_hits(); };
    contender.read = [&tracer, query] { return get_answers(tracer, query); };
    switch (call) {
    case GasCall::rays:
        contender.run = [&tracer] { tracer.trace_rays(); };
        break;
    case GasCall::stream:
        contender.run = [&tracer] { tracer.trace_stream(); };
        break;
    case GasCall::packets:
        contender.run = [&tracer] { tracer.trace_packet_rays(); };
        break;
    }
    return contender;
}

} // namespace gas_peer
