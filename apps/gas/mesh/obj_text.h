// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <apps/gas/mesh/mesh_text.h>
#include <apps/gas/mesh/read_progress.h>

namespace gas_app {

/// Faces of fewer than three corners.
struct ShortFaces {
    std::size_t count = 0;
    /// The line of the first one.
    std::size_t first_line = 0;
};

/// What was left out of a text.
struct ObjLeftOut {
    ShortFaces short_faces;
    BadVertices bad_vertices;
    /// Faces with a corner at one of these.
    std::size_t bad_face_count = 0;
};

/// Checks the text of a Wavefront OBJ file line by line, before it is parsed: the parser reads a
/// word that is not a number as 0 and cannot name the line.
///
/// Vertices need three numbers each, and faces refer to vertices that the file has. Throws a
/// UserError that names `path`, the line and what is wrong with it. Turns every line that does not
/// describe vertices or faces of three corners or more into a comment, as well as faces at vertices
/// that are not finite as floats, whose numbers become zeros; joins lines that end in a backslash
/// with the next one, and returns what was left out. Tells `progress`, which may be null.
ObjLeftOut prepare_obj_text(std::string& text, const std::string& path,
                            ReadProgress* progress = nullptr);

} // namespace gas_app
