// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/image/heat_map.h>

#include <array>
#include <cmath>
#include <cstdio>

#include <apps/gas/image/bitmap_font.h>

namespace gas_app {

namespace {

struct Stop {
    double red;
    double green;
    double blue;
};

constexpr std::array<Stop, 7> stops = {{
    {6, 6, 24},
    {58, 15, 98},
    {132, 32, 107},
    {203, 58, 72},
    {243, 118, 38},
    {250, 196, 74},
    {253, 252, 220},
}};

constexpr Color8 text_color = {235, 235, 235};
constexpr Color8 back_color = {16, 16, 20};
constexpr unsigned step_count = 4;

} // namespace

Color8 get_heat_color(double fraction) {
    constexpr double last = static_cast<double>(stops.size() - 1);
    const double clamped = fraction > 0.0 ? std::min(fraction, 1.0) : 0.0;
    const double position = clamped * last;
    const std::size_t index = std::min(static_cast<std::size_t>(position), stops.size() - 2);
    const double rest = position - static_cast<double>(index);
    const Stop& low = stops[index];
    const Stop& high = stops[index + 1];
    const auto get = [rest](double from, double to) {
        return static_cast<std::uint8_t>(std::lround(from + (to - from) * rest));
    };
    return {get(low.red, high.red), get(low.green, high.green), get(low.blue, high.blue)};
}

double get_scale_end(std::vector<double> costs) {
    if (costs.empty())
        return 1.0;
    const std::size_t above = costs.size() / 200;
    const auto place = costs.end() - 1 - static_cast<std::ptrdiff_t>(above);
    std::nth_element(costs.begin(), place, costs.end());
    for (double power = 1.0;; power *= 10.0)
        for (const double step : {1.0, 1.5, 2.0, 3.0, 5.0, 7.5})
            if (!(*place > step * power) || power > 1e18)
                return step * power;
}

std::string format_scale_number(double number) {
    char text[32];
    const bool whole = number >= 10.0 || number == std::floor(number);
    std::snprintf(text, sizeof text, whole ? "%.0f" : "%.1f", number);
    return text;
}

namespace {

std::string to_capitals(std::string text) {
    for (char& letter : text)
        if (letter >= 'a' && letter <= 'z')
            letter = static_cast<char>(letter - 'a' + 'A');
    return text;
}

/// The scale of colours over its whole width, with numbers below and, above, what they count and in
/// which walk.
void draw_legend(Picture& picture, double scale_end, const std::string& walk,
                 const HeatCaption& caption) {
    const unsigned dot = picture.get_width() >= 560 ? 2 : 1;
    const unsigned line = (glyph_height + 3) * dot;
    const unsigned bar_height = 6 * dot;
    const unsigned margin = 8 * dot;
    const unsigned height = 3 * line + bar_height + 4 * dot;
    // A small picture has no room for a legible legend.
    if (picture.get_height() < 2 * height || picture.get_width() < 16 * margin)
        return;

    const unsigned top = picture.get_height() - height;
    picture.fill(0, top, picture.get_width(), height, back_color);
    unsigned y = top + 3 * dot;
    const std::string text = to_capitals(caption.text);
    const bool has_room = get_text_width(text, dot) + 2 * margin <= picture.get_width();
    draw_text(picture, margin, y, has_room ? text : to_capitals(caption.short_text), dot,
              text_color);
    y += line;
    draw_text(picture, margin, y, to_capitals(walk), dot, text_color);

    y += line;
    const unsigned bar_width = picture.get_width() - 2 * margin;
    for (unsigned x = 0; x < bar_width; ++x)
        picture.fill(margin + x, y, 1, bar_height, get_heat_color((x + 0.5) / bar_width));

    y += bar_height + 2 * dot;
    for (unsigned step = 0; step <= step_count; ++step) {
        const std::string number = format_scale_number(scale_end * step / step_count);
        const unsigned width = get_text_width(number, dot);
        // The first begins and the last ends with the bar; the others are centred.
        const unsigned place = margin + bar_width * step / step_count;
        draw_text(picture, place - width * step / step_count, y, number, dot, text_color);
    }
}

} // namespace

void draw_heat_map(Picture& picture, const std::vector<double>& costs, const std::string& walk,
                   const HeatCaption& caption) {
    const double scale_end = get_scale_end(costs);
    for (unsigned y = 0; y < picture.get_height(); ++y)
        for (unsigned x = 0; x < picture.get_width(); ++x)
            picture.at(x, y) =
                get_heat_color(costs[std::size_t{y} * picture.get_width() + x] / scale_end);
    draw_legend(picture, scale_end, walk, caption);
}

} // namespace gas_app
