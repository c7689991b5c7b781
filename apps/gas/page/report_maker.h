// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>

#include <apps/gas/page/report_subject.h>
#include <apps/gas/render/renderer.h>

namespace gas_app {

/// How a report is measured.
struct ReportSettings {
    RenderSettings render;
    /// The tree of heat maps, and of what is shown first.
    TreeSettings tree;
    unsigned build_method = 2;
    /// Measurements are made so many times; the best counts.
    unsigned rounds = 2;
    /// Of a mesh: the saved trees that are held against those that are built.
    std::vector<std::string> saved_paths;
    /// Triangles of each 3D view, and boxes of each level in it.
    std::size_t triangle_limit = 100'000;
    std::size_t box_limit = 1024;

    /// The picture whose rays are measured: in the shape of the other, no wider than this.
    static constexpr unsigned most_measured_columns = 192;
    unsigned get_measured_width() const { return std::min(render.width, most_measured_columns); }
    unsigned get_measured_height() const {
        const auto height = std::uint64_t{render.height} * get_measured_width() / render.width;
        return static_cast<unsigned>(std::clamp<std::uint64_t>(height, 1, 4096));
    }

    /// Parts of a scene that have fewer items than the largest ones are left out.
    static constexpr std::size_t most_parts = 6;
};

/// Builds the trees of a stage in all ways, measures them, and renders its picture.
class ReportMaker {
  public:
    /// `is_mesh`: the stage's first shape alone is reported. What throws passes through.
    ReportMaker(Stage& stage, bool is_mesh, const ReportSettings& settings, AppBase& application);

    /// Fills `share` of the bar.
    ReportSubject make(AppProgressBar& bar, float share);

  private:
    /// A shape, or null for the instances.
    using PartTree = const TracedTree*;
    struct Build {
        TreeSettings settings;
        unsigned method;
    };

    void choose_parts();
    std::size_t get_triangle_limit(bool is_whole_scene) const;
    std::vector<Build> list_builds() const;
    bool is_main(const Build& build) const;
    bool shows_boxes(const Build& build) const;
    PartTree get_tree(std::size_t part) const;
    void build(const Build& build, AppProgressBar& bar);
    double build_best(const Build& build, AppProgressBar& bar);
    bool is_reported(const Shape& shape) const;
    void add_row(const Build& build, AppProgressBar& bar);
    void add_trees(const Build& build, ReportRow& row);
    RenderSettings get_measured_rays() const;
    void count_visits(ReportRow& row);
    void measure_rates(ReportRow& row);
    double measure_tracing(const RenderSettings& settings) const;
    double measure_picture(const RenderSettings& settings) const;
    void draw_pictures(AppProgressBar& bar);
    void draw_maps(AppProgressBar& bar);
    void add_map(const char* title, const char* unit, const std::string& note,
                 const std::vector<double>& values);

    Stage& m_stage;
    bool m_is_mesh;
    const ReportSettings& m_settings;
    AppBase& m_application;
    Camera m_picture_camera;
    Camera m_measured_camera;
    /// Of each part the shape; null: the instances.
    std::vector<const Shape*> m_shapes;
    ReportSubject m_subject;
};

/// Of a saved tree, whose items are not known. Throws a UserError.
ReportSubject make_saved_tree_subject(const std::string& path, const ReportSettings& settings);

/// The words for a way of building trees, such as "plain, fast SAH, wide nodes".
std::string name_build(TreeKind kind, unsigned method);

} // namespace gas_app
