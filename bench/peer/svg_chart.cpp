// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <cstdio>

#include <bench/peer/report.h>

namespace gas_peer {

namespace {

// In the chart's own units; what shows it scales it.
constexpr int width = 720;
constexpr int row_height = 22;
constexpr int top = 58;
constexpr int bars_left = 250;
constexpr int bars_right = 668;
constexpr int bottom = 44;

constexpr const char* style = R"(<style>
text { font: 12px system-ui, sans-serif; fill: #24292f }
.title { font-size: 15px; font-weight: 600 }
.small { font-size: 11px; fill: #57606a }
.page { fill: #ffffff; stroke: #d0d7de }
.value { paint-order: stroke; stroke: #ffffff; stroke-width: 3 }
.line { stroke: #d0d7de }
.even { stroke: #57606a; stroke-dasharray: 4 3 }
.ahead { fill: #1a7f5a }
.behind { fill: #b35900 }
.floor { stroke: #24292f; stroke-width: 2 }
@media (prefers-color-scheme: dark) {
text { fill: #e6edf3 }
.small { fill: #9aa4af }
.page { fill: #0d1117; stroke: #30363d }
.value { stroke: #0d1117 }
.line { stroke: #30363d }
.even { stroke: #9aa4af }
.ahead { fill: #3fb68b }
.behind { fill: #e08a3c }
.floor { stroke: #e6edf3 }
}
</style>
)";

std::string escape(const std::string& text) {
    std::string escaped;
    for (const char letter : text) {
        switch (letter) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        default:
            escaped += letter;
        }
    }
    return escaped;
}

std::string format(double value, int digits) {
    char text[32];
    std::snprintf(text, sizeof(text), "%.*f", digits, value);
    return text;
}

std::string make_text(const char* kind, double x, double y, const char* anchor,
                      const std::string& text) {
    return std::string("<text class=\"") + kind + "\" x=\"" + format(x, 1) + "\" y=\"" +
           format(y, 1) + "\" text-anchor=\"" + anchor + "\">" + escape(text) + "</text>\n";
}

std::string make_line(const char* kind, double x, double from, double to) {
    return std::string("<line class=\"") + kind + "\" x1=\"" + format(x, 1) + "\" x2=\"" +
           format(x, 1) + "\" y1=\"" + format(from, 1) + "\" y2=\"" + format(to, 1) + "\"/>\n";
}

/// Ratios to places; the last tick is not below the largest ratio.
struct Axis {
    double step;
    int tick_count;

    explicit Axis(double largest)
        : step(largest <= 2.5   ? 0.5
               : largest <= 5.0 ? 1.0
                                : std::ceil(largest / 5.0)),
          tick_count(std::max(1, static_cast<int>(std::ceil(largest / step)))) {}
    double get_x(double ratio) const {
        return bars_left + (bars_right - bars_left) * ratio / (step * tick_count);
    }
};

std::string make_bar(const Axis& axis, const Summary& summary, double y) {
    const double end = axis.get_x(summary.mean);
    const char* const kind = summary.mean >= 1.0 ? "ahead" : "behind";
    std::string bar = make_text("name", bars_left - 10, y + 15, "end", summary.operation);
    bar += std::string("<rect class=\"") + kind + "\" x=\"" + std::to_string(bars_left) +
           "\" y=\"" + format(y + 4, 1) + "\" width=\"" + format(end - bars_left, 1) +
           "\" height=\"" + std::to_string(row_height - 8) + "\" rx=\"2\"/>\n";
    bar += make_line("floor", axis.get_x(summary.floor), y + 2, y + row_height - 2);
    bar += make_text("value", std::max(end, axis.get_x(summary.floor)) + 6, y + 15, "start",
                     format(summary.mean, 2));
    return bar;
}

std::string describe(const std::vector<Summary>& summaries) {
    std::string text = "Means and floors over all scenes.";
    for (const Summary& summary : summaries)
        text += " " + summary.operation + ": " + format(summary.mean, 2) + ", " +
                format(summary.floor, 2) + ".";
    return text;
}

} // namespace

std::string format_svg(const Table& table, const Machine& machine) {
    const std::vector<Summary> summaries = summarise(table, 1);
    double largest = 1.0;
    for (const Summary& summary : summaries)
        largest = std::max({largest, summary.mean, summary.floor});
    const Axis axis(largest);
    const int rows_end = top + row_height * static_cast<int>(summaries.size());
    const int height = rows_end + bottom;
    const std::string title =
        table.columns[0] + ", times as good as " + machine.peer + " on one thread";

    const std::string size = std::to_string(width) + " " + std::to_string(height);
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " + size +
                      "\" role=\"img\" aria-labelledby=\"title desc\">\n";
    svg += "<title id=\"title\">" + escape(title) + "</title>\n";
    svg += "<desc id=\"desc\">" + escape(describe(summaries)) + "</desc>\n";
    svg += style;
    svg += "<rect class=\"page\" x=\"0.5\" y=\"0.5\" width=\"" + std::to_string(width - 1) +
           "\" height=\"" + std::to_string(height - 1) + "\" rx=\"6\"/>\n";
    svg += make_text("title", 16, 26, "start", title);
    svg += make_text("small", 16, 44, "start",
                     "Bars: geometric mean over scenes. Marks: the worst scene.");
    for (int tick = 0; tick <= axis.tick_count; ++tick) {
        const double x = axis.get_x(tick * axis.step);
        svg += make_line("line", x, top, rows_end);
        svg += make_text("small", x, rows_end + 14, "middle",
                         format(tick * axis.step, axis.step < 1.0 ? 1 : 0));
    }
    svg += make_line("even", axis.get_x(1.0), top - 4, rows_end);
    double y = top;
    for (const Summary& summary : summaries) {
        svg += make_bar(axis, summary, y);
        y += row_height;
    }
    svg +=
        make_text("small", 16, height - 10, "start", machine.processor + ", " + machine.compiler);
    return svg + "</svg>\n";
}

} // namespace gas_peer
