// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <numeric>

#include <gas/isa/gas_instruction_set.h>

#include <apps/common/instruction_set.h>
#include <apps/gas/page/report_maker.h>

namespace gas_app {

namespace {

constexpr unsigned measured_packet = 64;

/// Sets an instruction set, and at its end the one that was in use.
class UsedInstructionSet {
  public:
    explicit UsedInstructionSet(GasInstructionSet set) { gas_set_instruction_set(set); }
    UsedInstructionSet(const UsedInstructionSet&) = delete;
    UsedInstructionSet& operator=(const UsedInstructionSet&) = delete;
    ~UsedInstructionSet() { gas_set_instruction_set(m_before); }

  private:
    GasInstructionSet m_before = gas_get_instruction_set();
};

} // namespace

RenderSettings ReportMaker::get_measured_rays() const {
    RenderSettings settings = m_settings.render;
    settings.width = m_settings.get_measured_width();
    settings.height = m_settings.get_measured_height();
    settings.samples = 1;
    settings.packet_size = 1;
    return settings;
}

/// By rays one by one; grids build cells meanwhile.
void ReportMaker::count_visits(ReportRow& row) {
    RenderSettings settings = get_measured_rays();
    settings.counts_walks = true;
    AppProgressBar unseen(m_application, "Counting", false, nullptr);
    std::vector<PixelCost> costs;
    const RenderResult result = render_costs(m_stage, settings, unseen, costs);
    const auto rays = static_cast<double>(result.ray_counts.camera);
    row.nodes_per_ray = static_cast<double>(result.walk_counts.visited_nodes) / rays;
    row.leaf_calls_per_ray = static_cast<double>(result.walk_counts.leaf_calls) / rays;
}

void ReportMaker::measure_rates(ReportRow& row) {
    RenderSettings single = get_measured_rays();
    single.timed = RenderSettings::Timed::tiles;
    single.threads = 1;
    RenderSettings packets = single;
    packets.packet_size = measured_packet;
    RenderSettings streams = single;
    streams.camera_walk = Walk::stream;
    RenderSettings picture = get_measured_rays();
    picture.packet_size = measured_packet;
    picture.walk = Walk::stream;
    for (const GasInstructionSet set : {GasInstructionSet::baseline, GasInstructionSet::avx2}) {
        if (!gas_has_instruction_set(set))
            continue;
        const UsedInstructionSet used(set);
        row.rates.push_back({get_instruction_set_name(), measure_tracing(single),
                             measure_tracing(packets), measure_tracing(streams),
                             measure_picture(picture)});
    }
}

/// Million camera rays a second on one thread: the least time of each tile counts.
double ReportMaker::measure_tracing(const RenderSettings& settings) const {
    std::vector<double> seconds;
    for (unsigned round = 0; round < m_settings.rounds; ++round) {
        AppProgressBar unseen(m_application, "Measuring", false, nullptr);
        std::vector<PixelCost> costs;
        render_costs(m_stage, settings, unseen, costs);
        seconds.resize(costs.size(), 1e300);
        for (std::size_t pixel = 0; pixel < costs.size(); ++pixel)
            seconds[pixel] = std::min(seconds[pixel], costs[pixel].seconds);
    }
    const double sum = std::accumulate(seconds.begin(), seconds.end(), 0.0);
    return 1e-6 * static_cast<double>(seconds.size()) / std::max(sum, 1e-12);
}

/// Million rays a second of a whole picture.
double ReportMaker::measure_picture(const RenderSettings& settings) const {
    double best = 0.0;
    for (unsigned round = 0; round < m_settings.rounds; ++round) {
        AppProgressBar unseen(m_application, "Measuring", false, nullptr);
        Picture picture(settings.width, settings.height);
        const RenderResult result = render_picture(m_stage, settings, unseen, picture);
        const auto rays = static_cast<double>(result.ray_counts.get_total());
        best = std::max(best, 1e-6 * rays / std::max(result.seconds, 1e-9));
    }
    return best;
}

} // namespace gas_app
