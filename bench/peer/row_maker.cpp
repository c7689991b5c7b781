// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/row_maker.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <stdexcept>

namespace gas_peer {

namespace {

constexpr double no_ratio = std::numeric_limits<double>::quiet_NaN();

const char* get_name(Unit unit) {
    switch (unit) {
    case Unit::nanoseconds_per_item:
        return "ns/item";
    case Unit::million_rays_per_second:
        return "Mrays/s";
    case Unit::nanoseconds_per_ray:
        return "ns/ray";
    default:
        return "ms";
    }
}

double convert(Unit unit, double seconds, double amount) {
    switch (unit) {
    case Unit::nanoseconds_per_item:
    case Unit::nanoseconds_per_ray:
        return 1e9 * seconds / amount;
    case Unit::million_rays_per_second:
        return 1e-6 * amount / seconds;
    default:
        return 1e3 * seconds;
    }
}

/// The groups of the contenders but the first, each once.
std::vector<std::string> list_groups(const std::vector<Contender>& contenders) {
    std::vector<std::string> groups;
    for (std::size_t i = 1; i < contenders.size(); ++i) {
        if (std::find(groups.begin(), groups.end(), contenders[i].group) == groups.end())
            groups.push_back(contenders[i].group);
    }
    return groups;
}

} // namespace

bool RowMaker::wants(const std::string& operation) const {
    const std::vector<std::string>& parts = m_settings.operations;
    return parts.empty() ||
           std::any_of(parts.begin(), parts.end(), [&operation](const std::string& part) {
               return operation.find(part) != std::string::npos;
           });
}

void RowMaker::report(const std::string& operation, const Contender& contender,
                      const Differences& differences) {
    if (differences.ray_count == 0)
        return;
    m_unexplained_count += differences.unexplained_count;
    std::fprintf(stderr, "%s, %s, %s: %u rays answered differently, %u of them for no good reason",
                 get_label(m_section).c_str(), operation.c_str(), contender.name.c_str(),
                 differences.ray_count, differences.unexplained_count);
    if (!differences.example.empty())
        std::fprintf(stderr, " (%s)", differences.example.c_str());
    std::fprintf(stderr, "\n");
}

std::vector<double> RowMaker::measure_times(const std::string& operation,
                                            const std::vector<Contender>& contenders,
                                            const AnswerCheck* check) {
    Answers first;
    const auto compare = [&](const Contender& contender, const Answers& answers) {
        if (!check)
            return;
        if (&contender == &contenders[0])
            first = answers;
        else
            report(operation, contender, check->compare(first, answers));
    };
    return measure(contenders, m_settings.repetition_count, compare);
}

void RowMaker::add_times(const std::string& operation, Unit unit, double amount,
                         const std::vector<Contender>& contenders, const AnswerCheck* check,
                         Groups groups) {
    if (contenders.size() < 2)
        throw std::runtime_error("the peer has no call for " + operation);
    std::fprintf(stderr, "%s: %s\n", get_label(m_section).c_str(), operation.c_str());
    const std::vector<double> times = measure_times(operation, contenders, check);
    add_groups(operation, unit, amount, contenders, times, groups);
}

void RowMaker::add_groups(const std::string& operation, Unit unit, double amount,
                          const std::vector<Contender>& contenders,
                          const std::vector<double>& times, Groups groups) {
    const Entry base = {convert(unit, times[0], amount), no_ratio, ""};
    Row row = {operation, get_name(unit), {base}};
    for (const std::string& group : list_groups(contenders)) {
        std::size_t best = 0;
        for (std::size_t i = 1; i < contenders.size(); ++i) {
            if (contenders[i].group == group && (best == 0 || times[i] < times[best]))
                best = i;
        }
        // Above 1: in rows the first contender is the faster one, in columns the other.
        const bool in_rows = groups == Groups::rows;
        const double ratio = in_rows ? times[best] / times[0] : times[0] / times[best];
        const Entry entry = {convert(unit, times[best], amount), ratio,
                             in_rows ? contenders[best].name : ""};
        if (in_rows) {
            std::string name = operation;
            if (!group.empty())
                name.append(" (").append(group).append(")");
            m_section.rows.push_back({name, row.unit, {base, entry}});
        } else {
            row.entries.push_back(entry);
        }
    }
    if (groups == Groups::columns)
        m_section.rows.push_back(row);
}

void RowMaker::add_figures(const std::string& operation, const std::string& unit,
                           const std::vector<double>& figures, Groups groups) {
    Row row = {operation, unit, {{figures[0], no_ratio, ""}}};
    for (std::size_t i = 1; i < figures.size(); ++i) {
        const double ratio = figures[i] / figures[0];
        row.entries.push_back({figures[i], groups == Groups::rows ? ratio : 1.0 / ratio, ""});
    }
    m_section.rows.push_back(row);
}

void RowMaker::add_last_by_depth() {
    Row row = m_section.rows.back();
    row.operation += " / log2";
    for (Entry& entry : row.entries) {
        entry.value /= std::log2(static_cast<double>(m_section.item_count));
        entry.ratio = no_ratio;
        entry.who = "";
    }
    m_section.rows.push_back(row);
}

} // namespace gas_peer
