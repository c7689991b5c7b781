// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <apps/gas/image/picture.h>

namespace gas_app {

/// The colour of a fraction 0..1 of the scale: from near black over violet, red and yellow to near
/// white, ever lighter. Values outside are clamped, a NaN counts as 0.
Color8 get_heat_color(double fraction);

/// The end of a heat map's scale: 1, 1.5, 2, 3, 5 or 7.5 times a power of ten, high enough that at
/// most one cost in 200 is above it; at least 1.
double get_scale_end(std::vector<double> costs);

/// Numbers of the scale: whole where they are 10 or more or have no fraction.
std::string format_scale_number(double number);

/// What a heat map is of, for its legend: with room, and with little.
struct HeatCaption {
    const char* text = "nodes + leaves visited per camera ray";
    const char* short_text = "nodes + leaves";
};

/// Paints the costs, row by row, and a legend over the lower edge, which names the walk that was
/// counted.
void draw_heat_map(Picture& picture, const std::vector<double>& costs, const std::string& walk,
                   const HeatCaption& caption = {});

} // namespace gas_app
