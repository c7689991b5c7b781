// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include <apps/gas/image/picture.h>

namespace gas_app {

/// A font of dots, five wide and seven high, one column apart: digits, capital letters, the point
/// and the plus; any other character is a blank.
inline constexpr unsigned glyph_width = 5;
inline constexpr unsigned glyph_height = 7;

/// Pixels that `text` takes across at `dot_size` pixels per dot.
unsigned get_text_width(std::string_view text, unsigned dot_size);

/// Draws `text` with its upper left corner at (left, top), clipped to the picture.
void draw_text(Picture& picture, unsigned left, unsigned top, std::string_view text,
               unsigned dot_size, Color8 color);

} // namespace gas_app
