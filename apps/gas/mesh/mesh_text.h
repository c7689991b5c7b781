// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace gas_app {

/// What the readers of mesh files share.

/// The whole file as bytes; throws a UserError.
std::string read_file(const std::string& path);

/// The word for a message: short, and without bytes that a terminal might act on.
std::string quote(std::string_view word);

/// The whole word as a decimal number, which may be infinite or NaN; false when it is none.
bool parse_number(std::string_view word, double& number);

/// Whether the number is finite as a float.
bool is_coordinate(double number);

/// Says on standard error how many faces of one or two corners were left out, if any, and where the
/// first one is.
void print_short_faces(const std::string& path, std::size_t count, const std::string& first);

} // namespace gas_app
