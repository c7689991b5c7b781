// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <numeric>

#include <apps/common/instruction_set.h>
#include <apps/gas/image/heat_map.h>
#include <apps/gas/page/report_maker.h>

namespace gas_app {

namespace {

/// The tiles' costs are measured so many times; of each pixel the least time counts.
constexpr unsigned timed_rounds = 3;
constexpr unsigned most_map_samples = 4;

} // namespace

/// The trees are those of the settings' kind and method from here on.
void ReportMaker::draw_pictures(AppProgressBar& bar) {
    AppProgressBar building(bar, 0.05f);
    build({m_settings.tree, m_settings.build_method}, building);
    building.set_value(1.0f);

    RenderSettings settings = m_settings.render;
    settings.packet_size = 64;
    settings.walk = Walk::stream;
    AppProgressBar drawing(bar, 0.2f);
    Picture picture(settings.width, settings.height);
    render_picture(m_stage, settings, drawing, picture);
    m_subject.picture = {settings.width, settings.height, encode_png(picture)};
    drawing.set_value(1.0f);
    draw_maps(bar);
}

void ReportMaker::draw_maps(AppProgressBar& bar) {
    RenderSettings settings = m_settings.render;
    settings.samples = std::min(settings.samples, most_map_samples);
    settings.packet_size = 1;
    settings.counts_walks = true;
    AppProgressBar counting(bar, 0.05f);
    std::vector<PixelCost> costs;
    render_costs(m_stage, settings, counting, costs);
    std::vector<double> nodes;
    std::vector<double> calls;
    for (const PixelCost& cost : costs) {
        nodes.push_back(cost.visits - cost.leaf_calls);
        calls.push_back(cost.leaf_calls);
    }
    const std::string tree = name_build(m_settings.tree.kind, m_settings.build_method);
    const std::string counted =
        tree + "; camera rays one by one, " + get_counted_instruction_set_name();
    add_map("Nodes visited", "nodes per ray", counted, nodes);
    add_map("Leaf calls", "leaf calls per ray", counted, calls);

    settings.counts_walks = false;
    settings.timed = RenderSettings::Timed::batches;
    std::vector<double> times(costs.size(), 1e300);
    for (unsigned round = 0; round < timed_rounds; ++round) {
        AppProgressBar timing(bar, 0.1f / timed_rounds);
        render_costs(m_stage, settings, timing, costs);
        for (std::size_t pixel = 0; pixel < costs.size(); ++pixel)
            times[pixel] = std::min(times[pixel], 1e9 * costs[pixel].seconds);
    }
    add_map("Time per pixel", "ns per ray",
            tree + "; camera rays one by one, " + get_instruction_set_name() + ", the best of " +
                std::to_string(timed_rounds) + " rounds",
            times);
}

void ReportMaker::add_map(const char* title, const char* unit, const std::string& note,
                          const std::vector<double>& values) {
    const RenderSettings& settings = m_settings.render;
    ReportMap map;
    map.title = title;
    map.unit = unit;
    map.note = note;
    map.scale_end = get_scale_end(values);
    map.mean =
        std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(values.size());
    map.largest = *std::max_element(values.begin(), values.end());
    std::vector<Color8> colors;
    for (unsigned step = 0; step <= ReportMap::step_count; ++step)
        colors.push_back(get_heat_color(static_cast<double>(step) / ReportMap::step_count));
    std::vector<std::uint8_t> pixels;
    for (const double value : values) {
        const double part = std::clamp(value / map.scale_end, 0.0, 1.0);
        pixels.push_back(static_cast<std::uint8_t>(std::lround(part * ReportMap::step_count)));
    }
    map.picture = {settings.width, settings.height,
                   encode_png(settings.width, settings.height, pixels, colors)};
    m_subject.maps.push_back(std::move(map));
}

} // namespace gas_app
