// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace gas_app {

/// Throws a UserError when `path` cannot become an output file: its folder is missing or not
/// writable, it is a directory or a file that is not writable, or it is the file `input` (may be
/// empty). Writes nothing; meant to be called before the work starts.
void check_output_path(const std::string& path, const std::string& input);

/// Writes the bytes to a new file beside `path` and renames it to `path`: on any failure `path` is
/// left as it was, and no other file remains. Devices and pipes are written to directly.
/// Throws a UserError that names the file.
void write_output_file(const std::string& path, const std::vector<unsigned char>& bytes);

} // namespace gas_app
