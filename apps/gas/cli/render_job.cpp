// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/render_job.h>

#include <gas/version.h>

#include <apps/common/instruction_set.h>
#include <apps/gas/cli/ray_walk.h>
#include <apps/gas/farm/picture_hash.h>
#include <apps/gas/image/heat_map.h>

namespace gas_app {

void RenderJob::make_stage() {
    if (m_stage)
        return;
    Stopwatch stopwatch;
    m_stage.emplace(m_options.make_stage(m_stage_settings));
    m_stage_seconds += stopwatch.lap();
}

void RenderJob::build(bool shows_progress) {
    if (m_is_built)
        return;
    Stopwatch stopwatch;
    AppProgressBar& bar = *m_application.create_progress_bar("Building trees", shows_progress);
    m_stage->scene->build(m_stage->camera.get_position(), bar, m_tree_settings);
    bar.finish();
    m_build_seconds += stopwatch.lap();
    m_is_built = true;
}

RenderResult RenderJob::draw(Picture& picture, LightPicture& light) {
    AppProgressBar& bar =
        *m_application.create_progress_bar("Rendering", m_options.shows_progress());
    if (!m_settings.counts_walks)
        return render_picture(*m_stage, m_settings, bar, picture,
                              light.width > 0 ? &light : nullptr);
    std::vector<double> costs;
    const RenderResult result = render_costs(*m_stage, m_settings, bar, costs);
    draw_heat_map(picture, costs, describe_walk());
    return result;
}

std::string RenderJob::describe_walk() const {
    const bool in_motion = m_stage->scene->get_sample_count() >= 2;
    const RayWalk walk = get_camera_walk(m_settings, m_options.get_tree_settings(), in_motion);
    return walk.describe(get_counted_instruction_set_name());
}

TileSource RenderJob::get_source(unsigned tile_count) const {
    TileSource source;
    source.scene_hash = hash_stage(*m_stage);
    source.options_hash =
        hash_settings(m_settings, m_tree_settings, m_application.get_build_method());
    source.functions_hash = hash_functions();
    source.width = m_settings.width;
    source.height = m_settings.height;
    source.tile_count = tile_count;
    source.content = m_settings.counts_walks ? TileContent::costs : TileContent::light;
    source.seed = m_settings.seed;
    source.version = gas_get_version_string();
    if (m_settings.counts_walks)
        source.walk = describe_walk();
    return source;
}

} // namespace gas_app
