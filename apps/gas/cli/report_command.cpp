// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/commands.h>

#include <cstdio>
#include <ctime>
#include <filesystem>

#include <apps/common/instruction_set.h>
#include <apps/common/output_file.h>
#include <apps/common/user_error.h>
#include <apps/common/whole_number.h>
#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/page/report_maker.h>
#include <apps/gas/page/report_page.h>

namespace gas_app {

namespace {

constexpr std::size_t most_subjects = 16;

std::string get_date() {
    const std::time_t now = std::time(nullptr);
    std::tm parts = {};
    localtime_r(&now, &parts);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M", &parts);
    return text;
}

/// Pictures and views of more meshes are smaller, so that all fit into one page.
PictureSize get_usual_size(std::size_t subject_count) {
    if (subject_count < 2)
        return {640, 400};
    return subject_count < 4 ? PictureSize{480, 300} : PictureSize{320, 200};
}

} // namespace

ReportCommand::ReportCommand(CLI::App& app)
    : Command(app, "report", "Write a page that shows what trees do to rays",
              "One file, with pictures, heat maps, boxes in 3D and charts; it asks nothing of the "
              "network.") {
    m_scene.add_to(*m_command, &m_mesh_paths);
    m_command
        ->add_option("-o,--output", m_output_path,
                     "The page, a file that is usually named .html and needs no other; -: standard "
                     "output")
        ->type_name("FILE")
        ->required();
    m_command
        ->add_option("--load", m_saved_paths,
                     "A tree that gas build saved; may be given several times. With the mesh that "
                     "it is of, beside the trees that are built; without a mesh, alone: boxes and "
                     "charts, no picture")
        ->type_name("FILE");
    m_command
        ->add_option("--size", m_size,
                     "Size of the pictures, " + describe_sizes() +
                         "; usually 640x400, smaller for several meshes")
        ->type_name("WIDTHxHEIGHT");
    m_command->add_option("--spp", m_samples, "Samples per pixel of the picture")
        ->check(whole_number(1, 65536))
        ->capture_default_str();
    m_command
        ->add_option("--rounds", m_rounds, "How often each rate is measured; the best one counts")
        ->check(whole_number(1, 1000))
        ->capture_default_str();
    m_command->add_option("--camera", m_view, "Where the camera is around the scene, in degrees")
        ->type_name("AZIMUTH,ELEVATION[,ZOOM]");
}

ReportSettings ReportCommand::get_settings(std::size_t subject_count) const {
    ReportSettings settings;
    const PictureSize size = m_size.empty() ? get_usual_size(subject_count) : parse_size(m_size);
    settings.render.width = size.width;
    settings.render.height = size.height;
    settings.render.samples = m_samples;
    settings.render.threads = m_scene.get_thread_count();
    settings.tree = m_scene.get_tree_settings();
    settings.build_method = parse_build_method(m_scene.build_method);
    settings.rounds = m_rounds;
    if (!m_mesh_paths.empty())
        settings.saved_paths = m_saved_paths;
    settings.triangle_limit /= subject_count;
    settings.box_limit /= subject_count;
    return settings;
}

ReportSubject ReportCommand::make_subject(const std::string& path, const ReportSettings& settings,
                                          AppBase& application, AppProgressBar& bar,
                                          float share) const {
    SceneOptions scene = m_scene;
    scene.mesh_path = path;
    StageSettings stage_settings;
    scene.apply(stage_settings, application);
    stage_settings.width = settings.render.width;
    stage_settings.height = settings.render.height;
    stage_settings.has_view = !m_view.empty();
    if (stage_settings.has_view)
        stage_settings.view = parse_view(m_view);
    stage_settings.hints_at_up_axis = !scene.has_up_axis && !scene.quiet;
    Stage stage = scene.make_stage(stage_settings);
    ReportMaker maker(stage, !path.empty(), settings, application);
    ReportSubject subject = maker.make(bar, share);
    subject.name = !path.empty()            ? std::filesystem::path(path).filename().string()
                   : m_scene.item_count > 0 ? "forest"
                                            : "procedural scene";
    return subject;
}

std::vector<ReportSubject> ReportCommand::make_subjects() const {
    AppBase application(stderr);
    const bool is_saved = m_mesh_paths.empty() && !m_saved_paths.empty();
    const std::vector<std::string> paths = is_saved               ? m_saved_paths
                                           : m_mesh_paths.empty() ? std::vector<std::string>{""}
                                                                  : m_mesh_paths;
    if (!m_saved_paths.empty() && m_mesh_paths.size() > 1)
        throw OptionError("--load: a saved tree is of one mesh, and there are several");
    if (!m_saved_paths.empty() && m_scene.item_count > 0)
        throw OptionError("--load: only the tree of a mesh is saved");
    if (paths.size() > most_subjects)
        throw OptionError("gas report: a page has room for " + std::to_string(most_subjects) +
                          " meshes or saved trees");
    const ReportSettings settings = get_settings(paths.size());
    StageSettings checked;
    m_scene.apply(checked, application);
    if (m_output_path != "-")
        for (const std::string& path : paths)
            check_output_path(m_output_path, path);
    constexpr bool is_logged = true;
    ShownProgress progress(application, "Making the report", m_scene.shows_progress(), is_logged);
    AppProgressBar& bar = progress.get_bar();
    std::vector<ReportSubject> subjects;
    subjects.reserve(paths.size());
    const float share = 1.0f / static_cast<float>(paths.size());
    for (const std::string& path : paths)
        subjects.push_back(is_saved ? make_saved_tree_subject(path, settings)
                                    : make_subject(path, settings, application, bar, share));
    return subjects;
}

void ReportCommand::run() const {
    if (m_output_path == "-" && m_scene.json)
        throw OptionError("--json: standard output already takes the page");
    const std::vector<ReportSubject> subjects = make_subjects();
    ReportInfo info;
    for (const ReportSubject& subject : subjects)
        info.title += (info.title.empty() ? "" : ", ") + subject.name;
    info.version = GAS_PROGRAM_VERSION;
    info.date = get_date();
    info.threads = m_scene.get_thread_count();
    info.instruction_set = get_instruction_set_name();
    info.methods = {"Rates are of camera rays of a small picture, tracing alone, on one thread, of "
                    "each tile the "
                    "least time of all rounds; those of all rays of a picture are with shading, on "
                    "all threads.",
                    "Visits are counted by rays one by one. A cost is the sum of surface areas "
                    "over that of the "
                    "root's box, with 1 for the visit of a node and 1 for the call of a leaf."};
    const std::string page = make_report_page(subjects, info);
    const std::vector<unsigned char> bytes(page.begin(), page.end());
    if (m_output_path == "-")
        write_standard_output(bytes);
    else
        write_output_file(m_output_path, bytes);
    if (m_scene.json)
        std::puts(make_report_json(subjects, info).c_str());
    else if (!m_scene.quiet && m_output_path != "-")
        std::printf("%s: %.2f MB\n", m_output_path.c_str(),
                    static_cast<double>(page.size()) * 1e-6);
}

} // namespace gas_app
