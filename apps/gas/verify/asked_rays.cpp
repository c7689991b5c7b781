// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/asked_rays.h>

#include <utility>

namespace gas_app {

namespace {

constexpr const char* way_names[] = {"one by one", "batch", "stream", "stream"};

const char* get_name(AskedWay way) { return way_names[static_cast<unsigned>(way)]; }

constexpr AskedWay checked_ways[] = {AskedWay::one_by_one, AskedWay::batch, AskedWay::stream};

} // namespace

AskedRays::AskedRays(VerifiedTrees& trees, OwningVerification& owning, VerifiedRays& rays,
                     const Question& question, std::string where, Comparison& comparison)
    : m_trees(trees), m_owning(owning), m_rays(rays), m_question(question),
      m_where(std::move(where)), m_comparison(comparison), m_reference(trees) {}

std::string AskedRays::describe(unsigned method) const {
    return m_where + ", " + m_question.describe() + ", built by " +
           std::string(build_method_names[method]);
}

std::vector<RayRecord> AskedRays::trace(const Key& key) {
    using Way = VerifiedRays::Way;
    const bool is_stream = key.way == AskedWay::stream || key.way == AskedWay::stream_alone;
    const GasRayWay ray_way = is_stream ? GasRayWay::stream : GasRayWay::query;
    const Way way = key.way == AskedWay::one_by_one     ? Way::one_by_one
                    : key.way == AskedWay::stream_alone ? Way::each_alone
                                                        : Way::together;
    const VerifiedKind& kind = verified_kinds[key.kind];
    if (kind.origin != TreeOrigin::built_anew)
        return m_rays.trace(get_trace(m_trees.get(key.method, key.kind), m_question, ray_way), way,
                            m_question);
    const VerifiedTree fresh(m_trees.get_scene(), key.method, kind);
    return m_rays.trace(get_trace(fresh.get(), m_question, ray_way), way, m_question);
}

const std::vector<RayRecord>& AskedRays::find(const Key& key) {
    const auto place = m_found.find(key);
    return place != m_found.end() ? place->second : m_found.emplace(key, trace(key)).first->second;
}

const std::vector<RayRecord>& AskedRays::find_expected(unsigned method) {
    if (m_reference.is_brute_force()) {
        if (m_expected.empty())
            m_expected = m_reference.find(m_rays, m_question, method);
        return m_expected;
    }
    const Key plain = {method, 0, AskedWay::one_by_one};
    const bool is_new = !m_found.contains(plain);
    const std::vector<RayRecord>& found = find(plain);
    if (is_new)
        m_comparison.compare_rays({verified_kinds[0].name, get_name(plain.way), "brute force"},
                                  describe(method),
                                  m_rays.trace_by_brute_force(m_question, Reference::sample_step),
                                  found, Agreement::results, &m_rays, Reference::sample_step);
    return found;
}

void AskedRays::check(unsigned method, unsigned kind) {
    const VerifiedKind& asked = verified_kinds[kind];
    const std::string where = describe(method);
    const auto compare = [&](AskedWay way, const char* against,
                             const std::vector<RayRecord>& expected, Agreement agreement) {
        m_comparison.compare_rays({asked.name, get_name(way), against}, where, expected,
                                  find({method, kind, way}), agreement, &m_rays);
    };
    for (const AskedWay way : checked_ways) {
        m_checked.push_back({method, kind, way});
        const bool is_reference =
            kind == 0 && way == AskedWay::one_by_one && !m_reference.is_brute_force();
        if (m_question.has_one_result() && is_reference)
            find_expected(method);
        else if (m_question.has_one_result())
            compare(way, m_reference.get_name(), find_expected(method), Agreement::results);
        if (asked.like != VerifiedKind::none)
            compare(way, verified_kinds[asked.like].name, find({method, asked.like, way}),
                    Agreement::histories);
    }
    // Whatever else is in the batch, a ray of a stream makes its own calls.
    if (!asked.is_copy())
        compare(AskedWay::stream, "each ray alone", find({method, kind, AskedWay::stream_alone}),
                Agreement::histories);
}

void AskedRays::check_owning(unsigned method, unsigned kind) {
    m_checked_owning.push_back({method, kind});
    m_owning.check(method, kind, m_rays, m_question, find_expected(method), describe(method),
                   m_comparison);
}

void AskedRays::check_again(const std::string& instruction_set) {
    for (const Key& key : m_checked) {
        const VerifiedKind& kind = verified_kinds[key.kind];
        if (kind.origin == TreeOrigin::built_anew)
            continue; // what its cells' trees are is asked of the other grid
        m_comparison.compare_rays(
            {kind.name, std::string(get_name(key.way)) + ", " + instruction_set, "baseline"},
            describe(key.method), find(key), trace(key), Agreement::histories, &m_rays);
    }
    for (const auto& [method, kind] : m_checked_owning)
        m_owning.check(method, kind, m_rays, m_question, find_expected(method), describe(method),
                       m_comparison);
}

} // namespace gas_app
