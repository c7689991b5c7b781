#include "render_command.h"

#include <chrono>
#include <cstdio>
#include <thread>

#include <nlohmann/json.hpp>

#include "heat_map.h"
#include "option_values.h"
#include "output_file.h"

namespace gas_app {

namespace {

class Stopwatch {
  public:
    /// Seconds since the last call, or since it was made.
    double lap() {
        const auto now = std::chrono::steady_clock::now();
        const std::chrono::duration<double> seconds = now - m_start;
        m_start = now;
        return seconds.count();
    }

  private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

/// Items of all shapes, and items as often as instances place them.
struct ItemCounts {
    std::uint64_t items = 0;
    std::uint64_t placed_items = 0;
    std::uint64_t tree_bytes = 0;

    explicit ItemCounts(const Scene& scene) : tree_bytes(scene.get_tree().get_memory_size()) {
        for (const auto& shape : scene.get_shapes()) {
            items += shape->get_item_count();
            tree_bytes += shape->get_tree().get_memory_size();
        }
        for (const Instance& instance : scene.get_instances())
            placed_items += instance.shape->get_item_count();
    }
};

} // namespace

RenderCommand::RenderCommand(CLI::App& app)
    : m_command(
          app.add_subcommand("render", "Render a picture of a mesh or of the procedural scene")) {
    m_scene.add_to(*m_command);
    m_command->add_option("-o,--output", m_output_path, "The picture, a PNG file")->required();
    m_command->add_option("--size", m_size, "Size of the picture")->capture_default_str();
    m_command->add_option("--spp", m_samples, "Samples per pixel")
        ->check(CLI::Range(1, 65536))
        ->capture_default_str();
    m_command->add_option("--ao", m_ambient_rays, "Ambient occlusion rays per sample; 0: none")
        ->check(CLI::Range(0, 4096))
        ->capture_default_str();
    m_command->add_option("--threads", m_threads, "Threads; 0: one for each processor")
        ->check(CLI::Range(0, 1024))
        ->capture_default_str();
    m_command->add_option("--camera", m_view,
                          "AZIMUTH,ELEVATION[,ZOOM] of the camera around the scene, in degrees");
    m_command->add_option("--seed", m_seed, "Another seed: another noise")->capture_default_str();
    CLI::Option* heat_map = m_command->add_flag(
        "--heatmap", m_heat_map,
        "Show what each pixel's camera rays cost instead of what they see; rays of "
        "a packet share its cost evenly");
    m_command
        ->add_option("--packet", m_packet_size,
                     "Camera rays traced together, from neighbouring pixels; 1: one by one; "
                     "usually 64, for a heat map 1")
        ->check(CLI::Range(1u, largest_packet));
    m_command
        ->add_flag("--brute-force", m_brute_force,
                   "Test every item instead of walking trees: the same picture, slowly")
        ->excludes(heat_map);
}

RenderSettings RenderCommand::get_render_settings() const {
    RenderSettings settings;
    const PictureSize size = parse_size(m_size);
    settings.width = size.width;
    settings.height = size.height;
    settings.samples = m_samples;
    settings.ambient_rays = m_ambient_rays;
    settings.threads =
        m_threads > 0 ? m_threads : std::max(1u, std::thread::hardware_concurrency());
    settings.seed = parse_seed(m_seed);
    constexpr unsigned usual_packet = 64;
    settings.packet_size = m_packet_size > 0 ? m_packet_size : m_heat_map ? 1 : usual_packet;
    settings.walk = m_brute_force ? Walk::brute_force : m_heat_map ? Walk::counting : Walk::engine;
    return settings;
}

void RenderCommand::run() const {
    AppBase application(m_scene.json ? stderr : stdout);
    const RenderSettings settings = get_render_settings();
    StageSettings stage_settings;
    m_scene.apply(stage_settings, application);
    stage_settings.width = settings.width;
    stage_settings.height = settings.height;
    stage_settings.has_view = !m_view.empty();
    if (stage_settings.has_view)
        stage_settings.view = parse_view(m_view);
    TreeSettings tree_settings;
    tree_settings.kind = m_scene.get_tree_kind();
    check_output_path(m_output_path, m_scene.mesh_path);

    Stopwatch stopwatch;
    Timing timing;
    const Stage stage = m_scene.make_stage(stage_settings);
    timing.scene = stopwatch.lap();

    AppProgressBar& bar =
        *application.create_progress_bar("Building trees", m_scene.shows_progress());
    stage.scene->build(stage.camera.get_position(), bar, tree_settings);
    bar.finish();
    timing.build = stopwatch.lap();

    Picture picture(settings.width, settings.height);
    const RenderResult result = draw(stage, settings, application, picture);
    stopwatch.lap();
    write_output_file(m_output_path, encode_png(picture));
    timing.write = stopwatch.lap();

    if (m_scene.json)
        print_json(stage, settings, result, timing);
    else if (!m_scene.quiet)
        print_text(stage, settings, result);
}

RenderResult RenderCommand::draw(const Stage& stage, const RenderSettings& settings,
                                 AppBase& application, Picture& picture) const {
    AppProgressBar& bar = *application.create_progress_bar("Rendering", m_scene.shows_progress());
    if (!m_heat_map)
        return render_picture(stage, settings, bar, picture);
    std::vector<double> costs;
    const RenderResult result = render_costs(stage, settings, bar, costs);
    draw_heat_map(picture, costs);
    return result;
}

void RenderCommand::print_json(const Stage& stage, const RenderSettings& settings,
                               const RenderResult& result, const Timing& timing) const {
    const ItemCounts counts(*stage.scene);
    const RayCounts& rays = result.ray_counts;
    const nlohmann::ordered_json report = {
        {"picture", m_output_path},
        {"width", settings.width},
        {"height", settings.height},
        {"samples_per_pixel", settings.samples},
        {"ambient_rays", settings.ambient_rays},
        {"threads", settings.threads},
        {"packet", settings.packet_size},
        {"tree", m_scene.tree_kind},
        {"build_method", m_scene.build_method},
        {"motion_samples", stage.scene->get_sample_count()},
        {"heat_map", m_heat_map},
        {"brute_force", m_brute_force},
        {"scene",
         {{"shapes", stage.scene->get_shapes().size()},
          {"instances", stage.scene->get_instances().size()},
          {"items", counts.items},
          {"placed_items", counts.placed_items},
          {"tree_bytes", counts.tree_bytes}}},
        {"seconds",
         {{"scene", timing.scene},
          {"build", timing.build},
          {"render", result.seconds},
          {"write", timing.write}}},
        {"rays",
         {{"camera", rays.camera},
          {"mirror", rays.mirror},
          {"shadow", rays.shadow},
          {"ambient", rays.ambient},
          {"total", rays.get_total()},
          {"per_second", static_cast<double>(rays.get_total()) / result.seconds}}}};
    // File names are bytes; what is no UTF-8 in them is replaced.
    std::puts(report.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

void RenderCommand::print_text(const Stage& stage, const RenderSettings& settings,
                               const RenderResult& result) const {
    const ItemCounts counts(*stage.scene);
    const double rays = static_cast<double>(result.ray_counts.get_total());
    std::printf("%s: %u x %u, %zu instances that place %llu items, %s trees, %.2f million rays in "
                "%.2f s (%.2f million per second)\n",
                m_output_path.c_str(), settings.width, settings.height,
                stage.scene->get_instances().size(),
                static_cast<unsigned long long>(counts.placed_items), m_scene.tree_kind.c_str(),
                rays * 1e-6, result.seconds, rays * 1e-6 / result.seconds);
}

} // namespace gas_app
