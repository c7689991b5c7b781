// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/report_maker.h>

#include <algorithm>
#include <filesystem>

namespace gas_app {

namespace {

constexpr std::array<const char*, 4> method_words = {"median", "hybrid", "fast SAH", "full SAH"};

ReportRow::Memory get_memory(const TracedTree& tree) {
    return {tree.get_memory_size(), tree.get_wide_bytes(), tree.get_total_bytes()};
}

void add(ReportRow::Memory& sum, const ReportRow::Memory& memory) {
    sum.nodes += memory.nodes;
    sum.wide_nodes += memory.wide_nodes;
    sum.total += memory.total;
}

ReportTree make_tree(std::string name, const TracedTree& tree, std::size_t box_limit) {
    const std::vector<TreeBox> boxes = list_tree_boxes(tree);
    ReportTree made{
        std::move(name), tree.get_kind(), tree.is_loaded(), sum_levels(boxes), 0.0, 0.0, {}};
    made.sah_cost = boxes.empty() ? 0.0 : boxes.front().cost;
    made.mean_leaf_depth = get_mean_leaf_depth(made.levels);
    if (box_limit > 0)
        made.shown = choose_boxes(boxes, box_limit);
    return made;
}

std::string get_file_name(const std::string& path) {
    return std::filesystem::path(path).filename().string();
}

} // namespace

std::string name_build(TreeKind kind, unsigned method) {
    return std::string(get_name(kind)) + ", " + method_words[method];
}

ReportMaker::ReportMaker(Stage& stage, bool is_mesh, const ReportSettings& settings,
                         AppBase& application)
    : m_stage(stage), m_is_mesh(is_mesh), m_settings(settings), m_application(application),
      m_picture_camera(stage.camera),
      m_measured_camera(
          stage.camera.resize(settings.get_measured_width(), settings.get_measured_height())) {}

ReportSubject ReportMaker::make(AppProgressBar& bar, float share) {
    AppProgressBar part(bar, share);
    choose_parts();
    const std::vector<Build> builds = list_builds();
    constexpr float rows_share = 0.6f;
    for (const Build& build : builds) {
        AppProgressBar step(part, rows_share / static_cast<float>(builds.size()));
        add_row(build, step);
        step.set_value(1.0f);
    }
    draw_pictures(part);
    part.set_value(1.0f);
    return std::move(m_subject);
}

/// Two thirds of the triangles are for the instances, and the largest shapes share the others.
std::size_t ReportMaker::get_triangle_limit(bool is_whole_scene) const {
    const std::size_t limit = m_settings.triangle_limit;
    if (m_shapes.size() < 2)
        return limit;
    return is_whole_scene ? limit * 2 / 3 : limit / (3 * (m_shapes.size() - 1));
}

/// Of a mesh the mesh, of a scene its instances and the largest shapes.
void ReportMaker::choose_parts() {
    const Scene& scene = *m_stage.scene;
    for (const auto& shape : scene.get_shapes())
        m_shapes.push_back(shape.get());
    std::stable_sort(m_shapes.begin(), m_shapes.end(), [](const Shape* a, const Shape* b) {
        return a->get_item_count() > b->get_item_count();
    });
    if (m_is_mesh)
        m_shapes = {scene.get_shapes().front().get()};
    else
        m_shapes.insert(m_shapes.begin(), nullptr);
    if (m_shapes.size() > ReportSettings::most_parts) {
        m_subject.notes.push_back("Of the scene's " + std::to_string(m_shapes.size() - 1) +
                                  " shapes the " + std::to_string(ReportSettings::most_parts - 1) +
                                  " with the most items are shown.");
        m_shapes.resize(ReportSettings::most_parts);
    }
    for (const Shape* shape : m_shapes) {
        ReportPart part;
        part.name = shape ? shape->get_name() : "all instances";
        part.item_count = shape ? shape->get_item_count() : scene.get_instances().size();
        part.mesh = shape ? make_page_mesh(*shape, get_triangle_limit(false))
                          : make_page_mesh(scene, get_triangle_limit(true));
        m_subject.parts.push_back(std::move(part));
    }
    for (const Instance& instance : scene.get_instances())
        if (!m_is_mesh || instance.shape == m_shapes.front())
            m_subject.item_count += instance.shape->get_item_count();
    m_subject.instance_count = m_is_mesh ? 1 : scene.get_instances().size();
}

/// Saved trees, which may not fit; then every kind of tree by every method, plain ones with wide
/// nodes and without.
std::vector<ReportMaker::Build> ReportMaker::list_builds() const {
    std::vector<Build> builds;
    for (const std::string& path : m_settings.saved_paths) {
        TreeSettings settings = m_settings.tree;
        GasTreeFileInfo info;
        const bool is_known = static_cast<bool>(gas_read_tree_info(path.c_str(), info));
        settings.kind = is_known && info.is_compressed ? TreeKind::compressed : TreeKind::plain;
        settings.has_wide_nodes = settings.kind == TreeKind::plain;
        settings.saved_path = path;
        builds.push_back({settings, m_settings.build_method});
    }
    for (const TreeKind kind : {TreeKind::plain, TreeKind::compressed, TreeKind::grid})
        for (unsigned method = 0; method < build_method_names.size(); ++method) {
            TreeSettings settings = m_settings.tree;
            settings.kind = kind;
            settings.has_cell_bars = true;
            settings.has_wide_nodes = kind == TreeKind::plain;
            builds.push_back({settings, method});
            if (kind != TreeKind::plain)
                continue;
            settings.has_wide_nodes = false;
            builds.push_back({settings, method});
        }
    return builds;
}

bool ReportMaker::is_main(const Build& build) const {
    return build.settings.kind == m_settings.tree.kind && build.method == m_settings.build_method &&
           build.settings.saved_path.empty();
}

/// The boxes of plain trees by all methods, of other kinds by the one that was chosen.
bool ReportMaker::shows_boxes(const Build& build) const {
    return build.settings.kind == TreeKind::plain || build.method == m_settings.build_method;
}

const TracedTree* ReportMaker::get_tree(std::size_t part) const {
    return m_shapes[part] ? &m_shapes[part]->get_tree() : &m_stage.scene->get_tree();
}

void ReportMaker::build(const Build& build, AppProgressBar& bar) {
    m_application.set_build_method(build.method);
    m_stage.scene->build(m_picture_camera.get_position(), bar, build.settings);
}

/// Builds so often as rates are measured, where that is quick. Returns the seconds of all trees
/// that are reported, the least.
double ReportMaker::build_best(const Build& build, AppProgressBar& bar) {
    constexpr double quick = 0.25;
    double least = 1e300;
    for (unsigned round = 0; round < m_settings.rounds && (round == 0 || least < quick); ++round) {
        AppProgressBar part(bar, 0.5f / static_cast<float>(m_settings.rounds));
        this->build(build, part);
        double seconds = m_is_mesh ? 0.0 : m_stage.scene->get_tree().get_build_seconds();
        for (const auto& shape : m_stage.scene->get_shapes())
            seconds += is_reported(*shape) ? shape->get_tree().get_build_seconds() : 0.0;
        least = std::min(least, seconds);
    }
    return least;
}

/// The floor under a mesh belongs to the program.
bool ReportMaker::is_reported(const Shape& shape) const {
    return !m_is_mesh || &shape == m_shapes.front();
}

void ReportMaker::add_row(const Build& build, AppProgressBar& bar) {
    ReportRow row;
    row.kind = build.settings.kind;
    row.has_wide_nodes = build.settings.has_wide_nodes;
    row.is_saved = !build.settings.saved_path.empty();
    row.name = row.is_saved ? get_file_name(build.settings.saved_path)
                            : name_build(row.kind, build.method);
    row.build_method = row.is_saved ? "saved" : method_words[build.method];
    row.build_seconds = build_best(build, bar);
    m_stage.camera = m_measured_camera;
    count_visits(row);
    measure_rates(row);
    add_trees(build, row);
    m_stage.camera = m_picture_camera;
    m_subject.rows.push_back(std::move(row));
}

/// Adds what each part's tree is like. Trees that differ in wide nodes alone are one.
void ReportMaker::add_trees(const Build& build, ReportRow& row) {
    const auto find = [&] {
        const std::vector<ReportTree>& trees = m_subject.parts.front().trees;
        return static_cast<std::size_t>(
            std::find_if(trees.begin(), trees.end(),
                         [&](const ReportTree& tree) { return tree.name == row.name; }) -
            trees.begin());
    };
    const std::size_t known = row.is_saved ? m_subject.parts.front().trees.size() : find();
    row.tree = static_cast<unsigned>(known);
    if (is_main(build))
        m_subject.main_tree = known;
    for (std::size_t part = 0; part < m_shapes.size(); ++part) {
        const TracedTree& tree = *get_tree(part);
        row.memory.push_back(get_memory(tree));
        if (known == m_subject.parts[part].trees.size())
            m_subject.parts[part].trees.push_back(make_tree(
                row.name, tree, shows_boxes(build) ? m_settings.box_limit / m_shapes.size() : 0));
    }
    for (const auto& shape : m_stage.scene->get_shapes()) {
        if (is_reported(*shape))
            add(row.whole, get_memory(shape->get_tree()));
    }
    if (!m_is_mesh)
        add(row.whole, get_memory(m_stage.scene->get_tree()));
}

ReportSubject make_saved_tree_subject(const std::string& path, const ReportSettings& settings) {
    TracedTree tree;
    tree.load(path, settings.tree);
    ReportSubject subject;
    subject.name = get_file_name(path);
    ReportPart part;
    part.name = "saved tree";
    part.trees.push_back(make_tree(subject.name, tree, settings.box_limit));
    part.item_count = part.trees.front().shown.front().boxes.front().item_count;
    subject.item_count = part.item_count;
    subject.instance_count = 1;
    ReportRow row;
    row.name = subject.name;
    row.kind = tree.get_kind();
    row.build_method = "saved";
    row.has_wide_nodes = tree.get_wide_bytes() > 0;
    row.is_saved = true;
    row.build_seconds = tree.get_build_seconds();
    row.whole = get_memory(tree);
    row.memory = {row.whole};
    subject.rows.push_back(std::move(row));
    subject.parts.push_back(std::move(part));
    subject.notes.emplace_back(
        "A saved tree has no items: there is no picture, and no ray is traced.");
    return subject;
}

} // namespace gas_app
