// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/image/image_format.h>
#include <apps/gas/image/light_picture.h>
#include <apps/gas/image/picture.h>

namespace gas_app {

/// Where a picture goes, and in which format.
class PictureOutput {
  public:
    /// `path` is a file name, or `-` for standard output. `format` is empty, for what the end of
    /// the name says (PNG on standard output and devices), or the name of a format. Throws an
    /// OptionError.
    PictureOutput(const std::string& path, const std::string& format);

    bool is_standard_output() const { return m_path == "-"; }
    /// Whether the picture is stored as light, not as colours.
    bool takes_light() const { return holds_light(m_format); }
    /// For reports.
    std::string get_name() const { return is_standard_output() ? "standard output" : m_path; }

    /// Encodes the one of the two that the format takes. Throws a UserError.
    void write(const Picture& picture, const LightPicture& light) const;

  private:
    std::string m_path;
    ImageFormat m_format;
};

} // namespace gas_app
