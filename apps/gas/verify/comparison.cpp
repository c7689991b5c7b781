// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/comparison.h>

#include <cstdio>

namespace gas_app {

namespace {

std::string describe(const RayRecord& record) {
    char bound[40];
    std::snprintf(bound, sizeof bound, "%a", record.bound);
    std::string text = record.is_hit ? "hit" : "no hit";
    if (record.item != GeometryIntersectionPath::no_item)
        text.append(" of item ").append(std::to_string(record.item));
    text.append(", bound ").append(bound);
    text.append(", collected ").append(std::to_string(record.collected));
    return text.append(", calls ").append(std::to_string(record.history));
}

} // namespace

void Comparison::compare_rays(const ComparedPair& pair, const std::string& where,
                              const std::vector<RayRecord>& expected,
                              const std::vector<RayRecord>& found, Agreement agreement,
                              const VerifiedRays* rays, unsigned step) {
    Counts counts;
    for (std::size_t i = 0; i < expected.size(); ++i) {
        const std::size_t ray = i * step;
        ++counts.comparisons;
        const bool is_same = agreement == Agreement::histories
                                 ? found[ray] == expected[i]
                                 : found[ray].has_result_of(expected[i]);
        if (is_same)
            continue;
        if (counts.differences++ >= most_described)
            continue;
        std::string what = where;
        what.append(", ray ").append(std::to_string(ray));
        if (rays)
            what.append(" ").append(rays->describe(static_cast<unsigned>(ray)));
        what.append(": expected ").append(describe(expected[i]));
        what.append("; found ").append(describe(found[ray]));
        tell(pair, what);
    }
    count(pair, counts);
}

void Comparison::add(const Comparison& other) {
    for (const auto& [pair, counts] : other.m_rows)
        count(pair, counts);
    for (const std::string& description : other.m_descriptions) {
        if (m_descriptions.size() < most_described)
            m_descriptions.push_back(description);
    }
}

Comparison::Counts Comparison::get_total() const {
    Counts total;
    for (const auto& [pair, counts] : m_rows)
        total.add(counts);
    return total;
}

void Comparison::tell(const ComparedPair& pair, const std::string& what) {
    if (m_descriptions.size() < most_described)
        m_descriptions.push_back(pair.tree + ", " + pair.way + " against " + pair.against + ": " +
                                 what);
}

} // namespace gas_app
