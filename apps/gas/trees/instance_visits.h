// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

namespace gas_app {

/// The instances that the rays of a stream reach, and the order in which they are traced, in
/// rounds: in each round every ray is at its next instance, and all rays at the same instance are
/// traced together.
class InstanceVisits {
  public:
    /// Clears all visits, for rays 0 to `ray_count` - 1.
    void start(unsigned ray_count, unsigned instance_count) {
        m_visits.clear();
        m_next_visits.assign(ray_count, none);
        m_last_visits.assign(ray_count, none);
        m_next_rays.resize(ray_count);
        m_rays.clear();
        m_first_rays.resize(instance_count, none);
    }

    /// Adds an instance that a ray reaches after those already added for the ray.
    void add(unsigned ray, unsigned instance) {
        const unsigned visit = static_cast<unsigned>(m_visits.size());
        m_visits.push_back({instance, none});
        if (m_last_visits[ray] == none) {
            m_rays.push_back(ray);
            m_next_visits[ray] = visit;
        } else {
            m_visits[m_last_visits[ray]].next = visit;
        }
        m_last_visits[ray] = visit;
    }

    /// A round. Each ray moves on to its next instance for which `is_wanted(ray, instance)`; then
    /// `trace(instance, rays)` is called once for each instance. False: no instance was left.
    template <typename IsWanted, typename Trace>
    bool trace_round(const IsWanted& is_wanted, const Trace& trace) {
        sort_rays(is_wanted);
        for (const unsigned instance : m_instances) {
            m_group.clear();
            for (unsigned ray = m_first_rays[instance]; ray != none; ray = m_next_rays[ray])
                m_group.push_back(ray);
            m_first_rays[instance] = none;
            trace(instance, m_group);
        }
        return !m_instances.empty();
    }

  private:
    static constexpr unsigned none = 0xFFFFFFFFu;

    struct Visit {
        unsigned instance;
        /// The same ray's, or none.
        unsigned next;
    };

    /// Lists for each instance the rays that are at it; other rays are done.
    template <typename IsWanted> void sort_rays(const IsWanted& is_wanted) {
        m_instances.clear();
        unsigned left = 0;
        for (const unsigned ray : m_rays) {
            unsigned visit = m_next_visits[ray];
            while (visit != none && !is_wanted(ray, m_visits[visit].instance))
                visit = m_visits[visit].next;
            if (visit == none)
                continue;
            m_rays[left++] = ray;
            const Visit& next = m_visits[visit];
            m_next_visits[ray] = next.next;
            unsigned& first_ray = m_first_rays[next.instance];
            if (first_ray == none)
                m_instances.push_back(next.instance);
            m_next_rays[ray] = first_ray;
            first_ray = ray;
        }
        m_rays.resize(left);
    }

    std::vector<Visit> m_visits;
    // Per ray: the visits that are next and last; and the ray that follows at the same instance.
    std::vector<unsigned> m_next_visits;
    std::vector<unsigned> m_last_visits;
    std::vector<unsigned> m_next_rays;
    /// The first ray at each instance, while a round is sorted and traced.
    std::vector<unsigned> m_first_rays;
    /// Rays that may have an instance left.
    std::vector<unsigned> m_rays;
    /// Those of a round.
    std::vector<unsigned> m_instances;
    std::vector<unsigned> m_group;
};

} // namespace gas_app
