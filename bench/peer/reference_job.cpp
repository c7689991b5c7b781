// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/reference_job.h>

#include <bench/bench_scene.h>
#include <tests/support/seeded_random.h>

namespace gas_peer {

ReferenceJob::ReferenceJob() : m_triangles(gas_bench::make_scene("uniform", 256).triangles) {
    support::SeededRandom random(15);
    for (unsigned i = 0; i < 24; ++i) {
        const GMathVec3<float> origin = {random.between(0.0f, 64.0f), random.between(0.0f, 64.0f),
                                         -10.0f};
        const GMathVec3<float> direction = {random.between(-0.2f, 0.2f),
                                            random.between(-0.2f, 0.2f), 1.0f};
        m_rays.push_back({origin, direction, 0.0f, 1e30f, 0.0f});
    }
}

Contender ReferenceJob::make_contender() {
    return {"reference", "", nullptr, [this] { run(); }, nullptr};
}

void ReferenceJob::run() {
    unsigned hit_count = 0;
    for (const gas_bench::Ray& ray : m_rays) {
        for (const gas_bench::Triangle& triangle : m_triangles) {
            float distance;
            if (intersect(triangle, ray.origin, ray.direction, ray.near_distance, ray.far_distance,
                          distance))
                ++hit_count;
        }
    }
    m_hit_count = hit_count;
}

} // namespace gas_peer
