// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace gas_app {

/// Checks the text of a Wavefront OBJ file line by line, before it is parsed: the parser reads a
/// word that is not a number as 0 and cannot name the line.
///
/// Vertices need three finite numbers each, faces three or more references to vertices that the
/// file has. Throws a UserError that names `path`, the line and what is wrong with it. Turns every
/// line that does not describe vertices or faces into a comment; line numbers stay.
void prepare_obj_text(std::string& text, const std::string& path);

} // namespace gas_app
