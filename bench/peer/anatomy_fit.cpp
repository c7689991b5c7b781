// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/anatomy_fit.h>

#include <cmath>
#include <limits>

namespace gas_peer {

namespace {

using gas_bench::Fit;
using gas_bench::FitSample;

constexpr double not_known = std::numeric_limits<double>::quiet_NaN();

/// In the order of a sample's amounts.
constexpr const char* part_names[] = {"fixed", "a node", "a leaf call", "its intersection"};

double get_part(const Fit& fit, std::size_t part) {
    return fit.coefficients.empty() ? not_known : fit.coefficients[part];
}

Row make_plain_row(const std::string& name, const std::string& unit, double ours, double peers) {
    return {name, unit, {{ours, not_known, ""}, {peers, not_known, ""}}};
}

} // namespace

Row make_anatomy_row(const std::string& name, const std::string& unit, double ours, double peers,
                     const std::string& who) {
    // Less than that is within the errors of a fit and compares with nothing.
    constexpr double least = 1.0;
    const double ratio = ours >= least && peers >= least ? peers / ours : not_known;
    return {name, unit, {{ours, not_known, ""}, {peers, ratio, who}}};
}

void AnatomyFit::add(const GroupCosts& group) {
    const std::vector<double> amounts = {1.0, group.nodes, group.leaf_calls, group.intersections};
    for (std::size_t i = 0; i < group.costs.size(); ++i) {
        if (i == m_contenders.size()) {
            m_contenders.push_back(group.costs[i].who);
            m_samples.emplace_back();
        }
        m_samples[i].push_back({amounts, group.costs[i].nanoseconds});
    }
}

std::size_t AnatomyFit::find_peer() const {
    std::size_t best = 0;
    double least = 0.0;
    for (std::size_t i = 1; i < m_samples.size(); ++i) {
        double sum = 0.0;
        for (const FitSample& sample : m_samples[i])
            sum += std::log(sample.value);
        if (best == 0 || sum < least) {
            best = i;
            least = sum;
        }
    }
    return best;
}

void AnatomyFit::add_rows(Section& section) const {
    const std::size_t peer = find_peer();
    const Fit ours = gas_bench::fit_least_squares(m_samples[0]);
    const Fit peers = gas_bench::fit_least_squares(m_samples[peer]);
    for (std::size_t part = 0; part < std::size(part_names); ++part)
        section.rows.push_back(make_anatomy_row(part_names[part], "ns", get_part(ours, part),
                                                get_part(peers, part), m_contenders[peer]));
    section.rows.push_back(make_plain_row("error of the fit", "%", 100.0 * ours.relative_error,
                                          100.0 * peers.relative_error));
    section.rows.push_back(make_plain_row("R^2 of the fit", "", ours.r_squared, peers.r_squared));
    const auto count = static_cast<double>(m_samples[0].size());
    section.rows.push_back(make_plain_row("groups of rays", "", count, count));
}

} // namespace gas_peer
