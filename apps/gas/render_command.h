#pragma once

#include <cstdint>

#include "render_settings.h"
#include "renderer.h"
#include "scene_options.h"

namespace gas_app {

/// `gas render`: a picture of a mesh or of the procedural scene.
class RenderCommand {
  public:
    explicit RenderCommand(CLI::App& app);

    bool is_chosen() const { return m_command->parsed(); }
    void run() const;

  private:
    struct Timing {
        double scene = 0.0;
        double build = 0.0;
        double write = 0.0;
    };

    RenderSettings get_render_settings() const;
    RenderResult draw(const Stage& stage, const RenderSettings& settings, AppBase& application,
                      Picture& picture) const;
    void print_json(const Stage& stage, const RenderSettings& settings, const RenderResult& result,
                    const Timing& timing) const;
    void print_text(const Stage& stage, const RenderSettings& settings,
                    const RenderResult& result) const;

    CLI::App* m_command;
    SceneOptions m_scene;
    std::string m_output_path;
    std::string m_size = "640x400";
    std::string m_view;
    unsigned m_samples = 12;
    unsigned m_ambient_rays = 3;
    unsigned m_threads = 0;
    /// 0: not chosen.
    unsigned m_packet_size = 0;
    std::string m_seed = "1";
    bool m_heat_map = false;
    bool m_brute_force = false;
};

} // namespace gas_app
