// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <cstdio>

#include <nlohmann/json.hpp>

#include <apps/common/output_file.h>
#include <apps/common/user_error.h>
#include <apps/gas/farm/tile_merge.h>

namespace gas_app {

MergeCommand::MergeCommand(CLI::App& app)
    : Command(app, "merge", "Join the tiles that gas render --tiles made to their picture") {
    m_command
        ->add_option("tiles", m_paths,
                     "Files of tiles, and folders of them: all tiles of one picture")
        ->required();
    m_command
        ->add_option("-o,--output", m_output_path,
                     "The picture, a file whose name ends in .png, .ppm, .pfm or .exr, whichever "
                     "the tiles were made for; -: standard output")
        ->required();
    m_command->add_option("--format", m_format,
                          "The picture's format, whatever its name: png, ppm, pfm or exr");
    m_command->add_flag("--json", m_json, "Write results to standard output as JSON");
    m_command->add_flag("--quiet", m_quiet, "Show no results unless as JSON");
}

void MergeCommand::run() const {
    if (m_output_path != "-")
        check_output_path(m_output_path, m_paths.front());
    const PictureOutput output(m_output_path, m_format);
    if (output.is_standard_output() && m_json)
        throw OptionError("--json: standard output already takes the picture");
    TileMerge merge;
    for (const std::string& path : m_paths)
        merge.add(path);
    const std::vector<std::string> flaws = merge.get_flaws();
    for (const std::string& flaw : flaws)
        std::fprintf(stderr, "gas: %s\n", flaw.c_str());
    if (!flaws.empty())
        throw UserError(output.get_name() + ": not written, for the tiles make no whole picture");
    if (merge.is_heat_map() && output.takes_light())
        throw UserError(output.get_name() +
                        ": a heat map is drawn in eight-bit colours, for png or ppm");
    output.write(merge.get_picture(), merge.get_light());

    const TileSource& source = merge.get_source();
    const std::uint64_t rays = merge.get_ray_counts().get_total();
    if (m_json) {
        const nlohmann::ordered_json report = {
            {"picture", output.get_name()}, {"width", source.width},
            {"height", source.height},      {"heat_map", merge.is_heat_map()},
            {"tiles", source.tile_count},   {"rays", rays}};
        std::puts(
            report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
    } else if (!m_quiet) {
        std::fprintf(output.is_standard_output() ? stderr : stdout,
                     "%s: %u x %u, of %u tiles with %.2f million rays\n", output.get_name().c_str(),
                     source.width, source.height, source.tile_count,
                     static_cast<double>(rays) * 1e-6);
    }
}

} // namespace gas_app
