// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/render_job.h>

#include <gas/version.h>

#include <apps/common/instruction_set.h>
#include <apps/gas/cli/ray_walk.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/farm/frames.h>
#include <apps/gas/farm/picture_hash.h>
#include <apps/gas/image/heat_map.h>

namespace gas_app {

void TreeSteps::add(const Scene& scene) {
    const auto count = [this](const TracedTree& tree) {
        const TreeStep step = tree.get_step();
        ++(step == TreeStep::built ? built : step == TreeStep::refitted ? refitted : kept);
    };
    for (const auto& shape : scene.get_shapes())
        count(shape->get_tree());
    count(scene.get_tree());
}

void RenderJob::make_stage(bool shows_progress) {
    if (m_stage)
        return;
    Stopwatch stopwatch;
    m_stage.emplace(shows_progress ? m_options.make_stage(m_stage_settings, m_application)
                                   : m_options.make_stage(m_stage_settings));
    if (m_look_at)
        m_stage->camera =
            m_stage->camera.move(m_stage->camera.get_view(), m_look_at->target, m_look_at->distance,
                                 m_settings.width, m_settings.height);
    m_stage_seconds += stopwatch.lap();
}

void RenderJob::go_to(unsigned frame) {
    make_stage();
    if (m_frame == frame)
        return;
    set_frame(frame);
    m_is_built = false;
}

void RenderJob::set_frame(unsigned frame) {
    Stopwatch stopwatch;
    m_stage->set_shutter(ShutterTime::of_frame(frame));
    m_frame = frame;
    m_stage_seconds += stopwatch.lap();
}

void RenderJob::build(bool shows_progress) {
    if (m_is_built)
        return;
    constexpr bool is_logged = true;
    ShownProgress progress(m_application, "Building trees", shows_progress, is_logged);
    if (m_frame)
        build_frame(progress.get_bar());
    else
        build_stage(progress.get_bar(), TreeReuse::none);
    m_is_built = true;
}

void RenderJob::build_stage(AppProgressBar& bar, TreeReuse reuse) {
    Stopwatch stopwatch;
    m_tree_settings.reuse = reuse;
    m_stage->scene->build(m_stage->camera.get_position(), bar, m_tree_settings);
    m_tree_steps.add(*m_stage->scene);
    m_build_seconds += stopwatch.lap();
}

/// Steps through the frames of the run up to the one that the stage shows.
void RenderJob::build_frame(AppProgressBar& bar) {
    const unsigned frame = *m_frame;
    if (m_tree_settings.kind != TreeKind::plain || m_tree_settings.refit_limit <= 0.0)
        return build_stage(bar, TreeReuse::none);
    const unsigned start = get_run_start(frame);
    const bool goes_on = m_built_frame && *m_built_frame >= start && *m_built_frame <= frame;
    for (unsigned step = goes_on ? *m_built_frame + 1 : start; step <= frame; ++step) {
        if (step != m_frame)
            set_frame(step);
        // Until it is done, the trees are of no frame.
        m_built_frame.reset();
        build_stage(bar, step == start ? TreeReuse::same_boxes : TreeReuse::refit);
        m_built_frame = step;
    }
}

RenderResult RenderJob::draw(Picture& picture, LightPicture& light, AppProgressBar& bar) {
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
    source.frame = m_frame.value_or(TileSource::no_frame);
    source.content = m_settings.counts_walks ? TileContent::costs : TileContent::light;
    source.seed = m_settings.seed;
    source.version = gas_get_version_string();
    if (m_settings.counts_walks)
        source.walk = describe_walk();
    return source;
}

} // namespace gas_app
