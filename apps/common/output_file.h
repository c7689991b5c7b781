// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

namespace gas_app {

/// Throws a UserError when `path` cannot become an output file: its folder is missing or not
/// writable, it is a directory or a file that is not writable, or it is the file `input` (may be
/// empty). Writes nothing; meant to be called before the work starts.
void check_output_path(const std::string& path, const std::string& input);

/// Whether `path` is a device or a pipe, which is written to directly.
bool is_special_file(const std::string& path);

/// Writes the bytes to standard output. Throws a UserError.
void write_standard_output(const std::vector<unsigned char>& bytes);

/// Writes the bytes to a new file beside `path` and renames it to `path`: on any failure `path` is
/// left as it was, and no other file remains. Devices and pipes are written to directly.
/// Throws a UserError that names the file.
void write_output_file(const std::string& path, const std::vector<unsigned char>& bytes);

} // namespace gas_app
