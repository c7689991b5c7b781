#pragma once

#include <cstdint>

#include <apps/gas/cli/scene_options.h>
#include <apps/gas/render/render_settings.h>
#include <apps/gas/render/renderer.h>

namespace gas_app {

/// `gas render`: a picture of a mesh or of the procedural scene.
class RenderCommand {
  public:
    explicit RenderCommand(CLI::App& app);

    bool is_chosen() const { return m_command->parsed(); }
    void run() const;

  private:
    RenderSettings get_render_settings() const;
    void choose_walks(RenderSettings& settings) const;
    RenderResult draw(const Stage& stage, const RenderSettings& settings, AppBase& application,
                      Picture& picture) const;

    CLI::App* m_command;
    SceneOptions m_scene;
    std::string m_output_path;
    std::string m_size = "640x400";
    std::string m_view;
    unsigned m_samples = 12;
    unsigned m_ambient_rays = 3;
    /// 0: not chosen.
    unsigned m_packet_size = 0;
    unsigned m_render_count = 1;
    std::string m_seed = "1";
    std::string m_stream = "on";
    bool m_heat_map = false;
    bool m_brute_force = false;
};

} // namespace gas_app
