// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/frame_run.h>

#include <cstdio>

#include <nlohmann/json.hpp>

#include <apps/gas/cli/shown_progress.h>

namespace gas_app {

namespace {

constexpr const char* step_names[] = {"built", "refitted", "kept"};

} // namespace

void FrameRun::run() {
    Stopwatch stopwatch;
    {
        constexpr bool is_logged = true;
        ShownProgress progress(m_job.get_application(), "Rendering frames",
                               m_job.get_options().shows_progress(), is_logged);
        for (unsigned frame = m_frames.first; frame <= m_frames.last; ++frame)
            render(frame, progress.get_bar());
    }
    stopwatch.lap();
    m_total_seconds = stopwatch.get_total();
    if (m_job.get_options().json)
        print_json();
    else if (!m_job.get_options().quiet)
        print();
}

void FrameRun::render(unsigned frame, AppProgressBar& bar) {
    Stopwatch stopwatch;
    constexpr bool shows_trees = false;
    const double earlier = m_job.get_build_seconds();
    m_job.go_to(frame);
    m_job.build(shows_trees);
    const double tree_seconds = m_job.get_build_seconds() - earlier;
    FrameReport report;
    report.frame = frame;
    report.tree_seconds = tree_seconds;
    report.scene_seconds = stopwatch.lap() - tree_seconds;
    add_trees(report);

    const PictureOutput output(get_frame_path(m_pattern, frame), m_format);
    const RenderSettings& settings = m_job.get_settings();
    Picture picture(settings.width, settings.height);
    LightPicture light;
    if (output.takes_light())
        light = LightPicture(settings.width, settings.height);
    AppProgressBar part(bar, 1.0f / static_cast<float>(m_frames.get_count()));
    m_job.draw(picture, light, part);
    output.write(picture, light);
    report.render_seconds = stopwatch.lap();
    m_reports.push_back(std::move(report));
}

void FrameRun::add_trees(FrameReport& report) const {
    const auto add = [&](const std::string& name, const TracedTree& tree) {
        report.trees.push_back({name, tree.get_step(), tree.get_cost(), tree.get_built_cost()});
    };
    const Scene& scene = *m_job.get_stage().scene;
    report.steps.add(scene);
    for (const auto& shape : scene.get_shapes())
        add(shape->get_name(), shape->get_tree());
    add("instances", scene.get_tree());
}

const FrameRun::TreeReport* FrameRun::FrameReport::find_dearest() const {
    const TreeReport* dearest = nullptr;
    for (const TreeReport& tree : trees)
        if (tree.step == TreeStep::refitted &&
            (!dearest || tree.cost * dearest->built_cost > dearest->cost * tree.built_cost))
            dearest = &tree;
    return dearest;
}

void FrameRun::print() const {
    double scene_seconds = 0.0;
    double tree_seconds = 0.0;
    double render_seconds = 0.0;
    for (const FrameReport& report : m_reports) {
        scene_seconds += report.scene_seconds;
        tree_seconds += report.tree_seconds;
        render_seconds += report.render_seconds;
        std::printf("frame %u: %u trees built, %u refitted, %u as they were", report.frame,
                    report.steps.built, report.steps.refitted, report.steps.kept);
        if (const TreeReport* const dearest = report.find_dearest())
            std::printf(", the dearest (%s) at %.3f of its build's cost", dearest->name.c_str(),
                        dearest->cost / dearest->built_cost);
        std::printf("; %.4f s for trees\n", report.tree_seconds);
    }
    const TreeSteps& steps = m_job.get_tree_steps();
    std::printf("%s: frames %u to %u in %.2f s: %.2f s for what moves, %.2f s for %u builds and %u "
                "refits of trees, %.2f s for pictures\n",
                m_pattern.c_str(), m_frames.first, m_frames.last, m_total_seconds, scene_seconds,
                tree_seconds, steps.built, steps.refitted, render_seconds);
}

void FrameRun::print_json() const {
    nlohmann::ordered_json frames = nlohmann::ordered_json::array();
    for (const FrameReport& report : m_reports) {
        nlohmann::ordered_json trees = nlohmann::ordered_json::array();
        for (const TreeReport& tree : report.trees)
            trees.push_back({{"name", tree.name},
                             {"step", step_names[static_cast<unsigned>(tree.step)]},
                             {"sah_cost", tree.cost},
                             {"built_sah_cost", tree.built_cost}});
        frames.push_back({{"frame", report.frame},
                          {"picture", get_frame_path(m_pattern, report.frame)},
                          {"seconds",
                           {{"scene", report.scene_seconds},
                            {"trees", report.tree_seconds},
                            {"render", report.render_seconds}}},
                          {"trees", std::move(trees)}});
    }
    const TreeSteps& steps = m_job.get_tree_steps();
    const nlohmann::ordered_json json = {{"pictures", m_pattern},
                                         {"first_frame", m_frames.first},
                                         {"last_frame", m_frames.last},
                                         {"built_trees", steps.built},
                                         {"refitted_trees", steps.refitted},
                                         {"kept_trees", steps.kept},
                                         {"seconds", m_total_seconds},
                                         {"frames", std::move(frames)}};
    std::puts(json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

} // namespace gas_app
