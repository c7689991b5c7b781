// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <optional>

#include <apps/common/output_file.h>
#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/frame_run.h>
#include <apps/gas/cli/help_text.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/render_report.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/cli/tile_run.h>

namespace gas_app {

RenderCommand::RenderCommand(CLI::App& app, Team* team)
    : Command(app, "render", "Render a picture of a mesh or of the procedural scene"),
      m_team(team) {
    m_scene.add_to(*m_command);
    m_command
        ->add_option("-o,--output", m_output_path,
                     "The picture, a file whose name ends in .png, .ppm, .pfm or .exr; -: standard "
                     "output, and the report goes to standard error")
        ->type_name("FILE")
        ->required();
    m_command
        ->add_option("--format", m_format,
                     "The picture's format, whatever its name; on standard output usually png. pfm "
                     "and exr hold the scene's light as floats; exr needs a program that was built "
                     "with OpenEXR")
        ->type_name(list_choices(image_format_names));
    CLI::Option* load =
        m_command
            ->add_option(
                "--load", m_saved_path,
                "Map the mesh's tree from a file that gas build made of the same mesh with "
                "the same --tree, --motion and --up, in place of building it")
            ->type_name("FILE");
    CLI::Option* tiles = &add_tile_options();
    m_command->add_option("--size", m_size, "Size of the picture, " + describe_sizes())
        ->type_name("WIDTHxHEIGHT")
        ->capture_default_str();
    m_command->add_option("--spp", m_samples, "Samples per pixel")
        ->check(whole_number(1, 65536))
        ->capture_default_str();
    m_command->add_option("--ao", m_ambient_rays, "Ambient occlusion rays per sample; 0: none")
        ->check(whole_number(0, 4096))
        ->capture_default_str();
    m_command->add_option("--camera", m_view, "Where the camera is around the scene, in degrees")
        ->type_name("AZIMUTH,ELEVATION[,ZOOM]");
    m_command
        ->add_option("--look-at", m_look_at,
                     "A point of the scene, where a mesh is 2 long, and the camera's distance from "
                     "it; without it the camera sees everything")
        ->type_name("X,Y,Z,DISTANCE");
    CLI::Option* repeat =
        m_command
            ->add_option("--repeat", m_render_count,
                         "Render the picture so many times, and report the time of each: the first "
                         "finds the cells of grids not built")
            ->check(whole_number(1, 1000))
            ->capture_default_str()
            ->excludes(tiles);
    add_frame_options(*repeat, *load);
    m_command->add_option("--seed", m_seed, "Another seed: another noise")
        ->type_name("NUMBER")
        ->capture_default_str();
    CLI::Option* heat_map = m_command->add_flag(
        "--heatmap", m_heat_map,
        "Show what each pixel's camera rays cost instead of what they see: nodes and leaves of the "
        "walk that is run. Rays of a packet or a stream share its cost evenly");
    m_command
        ->add_option("--packet", m_packet_size,
                     "Camera rays traced together, from neighbouring pixels; 1: one by one; "
                     "usually 64, for a heat map or with --stream all 1")
        ->check(whole_number(1, largest_packet));
    m_command
        ->add_option("--stream", m_stream,
                     "Which rays go through the trees in streams, many at a time: off; on: "
                     "those that scatter, ambient and mirrored ones; all: also those towards the "
                     "sun and, without packets, from the camera")
        ->type_name("off|on|all")
        ->capture_default_str();
    m_command
        ->add_flag("--brute-force", m_brute_force,
                   "Test every item instead of walking trees: the same picture, slowly")
        ->excludes(heat_map);
}

CLI::Option& RenderCommand::add_tile_options() {
    CLI::Option* tiles = nullptr;
    if (m_team)
        tiles = m_command
                    ->add_option("--tiles", m_tiles,
                                 "Cut the picture into so many tiles, which are dealt to the "
                                 "ranks; usually some "
                                 "of 64 blocks of 16 x 16 pixels. They stand in the folder of the "
                                 "output's name and "
                                 ".tiles until the picture is done; a job that was stopped takes "
                                 "up those that are "
                                 "there")
                    ->type_name("N");
    else
        tiles = m_command
                    ->add_option(
                        "--tiles", m_tiles,
                        "Cut the picture into N tiles and make the files of tiles A to B, for gas "
                        "merge, in the folder of the output's name and .tiles; those that are "
                        "there are left "
                        "as they are. Any runs together give the picture of one run")
                    ->type_name("A-B/N");
    CLI::Option* folder =
        m_command
            ->add_option("--tiles-folder", m_tiles_folder,
                         m_team ? "Where the folder of tiles stands, if not beside the "
                                  "picture; there they are kept"
                                : "Where the folder of tiles stands, if not beside the "
                                  "picture")
            ->type_name("FOLDER");
    if (!m_team)
        folder->needs(tiles);
    return *tiles;
}

void RenderCommand::add_frame_options(CLI::Option& repeat, CLI::Option& load) {
    CLI::Option* frames =
        m_command
            ->add_option(
                "--frames", m_frames,
                "Render these frames of an animation, of what moves in the scene or of the "
                "mesh. The output's name has a place for the number, such as %04d")
            ->type_name("A-B")
            ->excludes(&repeat)
            ->excludes(&load);
    m_command
        ->add_option("--animate", m_animation,
                     "With --frames, what a mesh does: turns, once in 120 frames, or waves")
        ->type_name("turn|wave")
        ->needs(frames)
        ->capture_default_str();
    m_command
        ->add_option("--refit-limit", m_refit_limit,
                     "With --frames: plain trees are refitted until that would cost so many times "
                     "what it did at their build, by the surface area heuristic; one frame in 16 "
                     "is built in any case. 0: all frames are built")
        ->type_name("FACTOR")
        ->needs(frames)
        ->capture_default_str();
}

RenderSettings RenderCommand::get_render_settings() const {
    RenderSettings settings;
    const PictureSize size = parse_size(m_size);
    settings.width = size.width;
    settings.height = size.height;
    settings.samples = m_samples;
    settings.ambient_rays = m_ambient_rays;
    settings.threads = m_scene.get_thread_count();
    settings.seed = parse_seed(m_seed);
    WalkChoice{parse_streams(m_stream), m_packet_size, m_heat_map, m_brute_force}.apply(settings);
    return settings;
}

TreeSettings RenderCommand::get_tree_settings() const {
    TreeSettings settings = m_scene.get_tree_settings();
    if (m_saved_path.empty())
        return settings;
    if (m_scene.mesh_path.empty())
        throw OptionError("--load: only the tree of a mesh is saved");
    if (settings.kind == TreeKind::grid)
        throw OptionError("--load: a grid is not saved, for it is built as rays reach it");
    settings.saved_path = m_saved_path;
    return settings;
}

void RenderCommand::run() const {
    AppBase application(stderr);
    const RenderSettings settings = get_render_settings();
    StageSettings stage_settings;
    m_scene.apply(stage_settings, application);
    stage_settings.width = settings.width;
    stage_settings.height = settings.height;
    stage_settings.has_view = !m_view.empty();
    if (stage_settings.has_view)
        stage_settings.view = parse_view(m_view);
    const bool is_first = !m_team || m_team->get_rank() == 0;
    stage_settings.hints_at_up_axis = is_first && !m_scene.has_up_axis && !m_scene.quiet;
    TreeSettings tree_settings = get_tree_settings();
    const std::optional<FrameChoice> frames = get_frames();
    if (frames) {
        stage_settings.animation = parse_animation(m_animation);
        tree_settings.is_animated = true;
        tree_settings.refit_limit = parse_number(m_refit_limit, "--refit-limit", 0.0, 1000.0);
    }
    const PictureOutput output =
        get_output(frames ? get_frame_path(m_output_path, frames->first) : m_output_path);
    RenderJob job(m_scene, stage_settings, settings, tree_settings, application);
    if (!m_look_at.empty())
        job.look_at(parse_look_at(m_look_at));
    if (m_tiles || m_team)
        make_tiles(job, frames);
    else if (frames)
        FrameRun(job, *frames, m_output_path, m_format).run();
    else
        draw(job, output);
}

void RenderCommand::draw(RenderJob& job, const PictureOutput& output) const {
    Stopwatch stopwatch;
    RenderReport::Timing timing;
    job.make_stage(m_scene.shows_progress());
    timing.scene = stopwatch.lap();
    job.build(m_scene.shows_progress());
    timing.build = stopwatch.lap();

    const RenderSettings& settings = job.get_settings();
    Picture picture(settings.width, settings.height);
    LightPicture light;
    if (output.takes_light())
        light = LightPicture(settings.width, settings.height);
    const auto draw_once = [&] {
        constexpr bool is_logged = true;
        ShownProgress progress(job.get_application(), "Rendering", m_scene.shows_progress(),
                               is_logged);
        return job.draw(picture, light, progress.get_bar());
    };
    const RenderResult result = draw_once();
    timing.first_pixel = stopwatch.get_total() + result.first_tile_seconds;
    timing.renders.push_back(result.seconds);
    while (timing.renders.size() < m_render_count)
        timing.renders.push_back(draw_once().seconds);
    stopwatch.lap();
    {
        const ShownProgress progress(job.get_application(), "Writing the picture",
                                     m_scene.shows_progress());
        output.write(picture, light);
    }
    timing.write = stopwatch.lap();
    timing.total = stopwatch.get_total();

    const RenderReport report = {m_scene, job.get_stage(), settings,
                                 timing,  result,          output.get_name()};
    if (m_scene.json)
        report.print_json();
    else if (!m_scene.quiet)
        report.print_text(output.is_standard_output() ? stderr : stdout);
}

std::optional<FrameChoice> RenderCommand::get_frames() const {
    if (!m_frames)
        return std::nullopt;
    const FrameChoice frames = parse_frames(*m_frames);
    if (get_frame_path(m_output_path, frames.first).empty())
        throw OptionError("--output " + m_output_path +
                          ": --frames needs one place for the frame's number, such as %04d");
    return frames;
}

void RenderCommand::make_tiles(RenderJob& job, const std::optional<FrameChoice>& frames) const {
    if (m_output_path == "-")
        throw OptionError("--tiles: standard output takes a picture, not its tiles");
    if (m_render_count > 1)
        throw OptionError("--repeat: a team renders each picture once");
    TileRun::Settings settings;
    settings.picture_path = m_output_path;
    settings.format = m_format;
    settings.parent = m_tiles_folder;
    settings.frames = frames;
    settings.tiles = choose_tiles(job.get_settings());
    settings.joins_tiles = m_team != nullptr;
    settings.keeps_tiles = !m_team || !m_tiles_folder.empty();
    LoneTeam lone;
    TileRun(job, settings, m_team ? *m_team : lone).run();
}

TileChoice RenderCommand::choose_tiles(const RenderSettings& settings) const {
    const unsigned most = get_block_count(settings);
    if (!m_team)
        return parse_tiles(*m_tiles, most);
    const unsigned count =
        m_tiles ? parse_tile_count(*m_tiles, most) : TileCut::get_usual_count(most);
    return {0, count - 1, count};
}

/// Checks what can be checked before the work.
PictureOutput RenderCommand::get_output(const std::string& path) const {
    if (path != "-")
        check_output_path(path, m_scene.mesh_path);
    const PictureOutput output(path, m_format);
    if (output.takes_light() && m_heat_map)
        throw OptionError("--heatmap: is drawn in eight-bit colours, for png or ppm");
    if (output.is_standard_output() && m_scene.json)
        throw OptionError("--json: standard output already takes the picture");
    return output;
}

} // namespace gas_app
