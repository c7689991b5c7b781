// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/picture_output.h>

#include <filesystem>
#include <optional>

#include <apps/common/output_file.h>
#include <apps/common/user_error.h>

namespace gas_app {

namespace {

std::optional<ImageFormat> find_format(std::string name) {
    for (char& letter : name)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    for (unsigned format = 0; format < image_format_names.size(); ++format)
        if (image_format_names[format] == name)
            return static_cast<ImageFormat>(format);
    return std::nullopt;
}

ImageFormat choose_format(const std::string& path, const std::string& name) {
    if (!name.empty()) {
        if (const std::optional<ImageFormat> format = find_format(name))
            return *format;
        throw OptionError("--format " + name + ": expected png, ppm, pfm or exr");
    }
    if (path == "-" || is_special_file(path))
        return ImageFormat::png;
    const std::string extension = std::filesystem::path(path).extension().string();
    if (!extension.empty())
        if (const std::optional<ImageFormat> format = find_format(extension.substr(1)))
            return *format;
    throw OptionError("--output " + path +
                      ": expected a name that ends in .png, .ppm, .pfm or .exr, or a --format");
}

} // namespace

PictureOutput::PictureOutput(const std::string& path, const std::string& format)
    : m_path(path), m_format(choose_format(path, format)) {
    if (m_format == ImageFormat::exr && !can_encode_exr())
        throw OptionError("--output " + path +
                          ": this program was built without OpenEXR; pfm holds the same floats");
}

void PictureOutput::write(const Picture& picture, const LightPicture& light) const {
    const std::vector<unsigned char> bytes = m_format == ImageFormat::png   ? encode_png(picture)
                                             : m_format == ImageFormat::ppm ? encode_ppm(picture)
                                             : m_format == ImageFormat::pfm ? encode_pfm(light)
                                                                            : encode_exr(light);
    if (is_standard_output())
        write_standard_output(bytes);
    else
        write_output_file(m_path, bytes);
}

} // namespace gas_app
