// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/cli/tile_run.h>

#include <cstdio>
#include <filesystem>

#include <nlohmann/json.hpp>

#include <apps/common/user_error.h>
#include <apps/gas/cli/shown_progress.h>
#include <apps/gas/farm/tile_merge.h>

namespace gas_app {

TileRun::TileRun(RenderJob& job, const Settings& settings, Team& team)
    : m_job(job), m_settings(settings), m_team(team) {}

void TileRun::run() {
    Stopwatch stopwatch;
    const bool is_first = m_team.get_rank() == 0;
    {
        constexpr bool is_logged = true;
        ShownProgress progress(m_job.get_application(), "Rendering tiles",
                               is_first && m_job.get_options().shows_progress(), is_logged);
        m_bar = &progress.get_bar();
        m_team.share(
            get_unit_count(), [this](unsigned unit) { return make_tile(unit); },
            [this](const TileReport& report) { take_report(report); });
    }
    stopwatch.lap();
    m_total_seconds = stopwatch.get_total();
    if (!is_first)
        return;
    if (!m_settings.keeps_tiles)
        remove_tiles();
    if (m_job.get_options().json)
        print_json();
    else if (!m_job.get_options().quiet)
        print();
}

std::string TileRun::get_picture_path(unsigned unit) const {
    return m_settings.frames ? get_frame_path(m_settings.picture_path, get_frame(unit))
                             : m_settings.picture_path;
}

/// Of the unit's picture.
const TileFolder& TileRun::open_folder(unsigned unit) {
    const std::string path = get_tiles_folder(get_picture_path(unit), m_settings.parent);
    if (!m_folder || m_folder->get_path() != path) {
        if (m_settings.frames)
            m_job.go_to(get_frame(unit));
        else
            m_job.make_stage();
        m_folder.emplace(path, m_job.get_source(m_settings.tiles.count));
        m_folder->prepare();
    }
    return *m_folder;
}

TileReport TileRun::make_tile(unsigned unit) {
    Stopwatch stopwatch;
    const TreeSteps earlier = m_job.get_tree_steps();
    TileReport report;
    report.unit = unit;
    report.rank = m_team.get_rank();
    const unsigned tile = get_tile(unit);
    const TileFolder& folder = open_folder(unit);
    std::string flaw;
    report.was_there = folder.has(tile, flaw);
    if (!flaw.empty())
        std::fprintf(stderr, "gas: %s; it is made anew\n", flaw.c_str());
    if (report.was_there)
        return report;
    constexpr bool shows_trees = false;
    m_job.build(shows_trees);
    report.tree_seconds = stopwatch.lap();
    report.built_trees = m_job.get_tree_steps().built - earlier.built;
    report.refitted_trees = m_job.get_tree_steps().refitted - earlier.refitted;

    // A team's bar moves where reports are taken.
    const float share = 1.0f / static_cast<float>(get_unit_count());
    AppProgressBar bar = is_lone() ? AppProgressBar(*m_bar, share)
                                   : AppProgressBar(m_job.get_application(), "", false, nullptr);
    const PictureTile made =
        render_tile(m_job.get_stage(), m_job.get_settings(), folder.get_source(), tile, bar);
    folder.write(made);
    report.ray_counts = made.ray_counts;
    report.seconds = stopwatch.lap();
    return report;
}

void TileRun::take_report(const TileReport& report) {
    m_reports.push_back(report);
    m_bar->set_value(static_cast<float>(m_reports.size()) / static_cast<float>(get_unit_count()));
    m_done.resize(get_unit_count() / get_tile_count(), 0);
    const unsigned done = ++m_done[report.unit / get_tile_count()];
    if (m_settings.joins_tiles && done == get_tile_count())
        join_tiles(report.unit);
}

void TileRun::join_tiles(unsigned unit) {
    Stopwatch stopwatch;
    const std::string picture = get_picture_path(unit);
    const std::filesystem::path folder = get_tiles_folder(picture, m_settings.parent);
    TileMerge merge;
    for (unsigned tile = 0; tile < m_settings.tiles.count; ++tile)
        merge.add((folder / get_tile_name(tile, m_settings.tiles.count)).string());
    for (const std::string& flaw : merge.get_flaws())
        throw UserError(flaw);
    PictureOutput(picture, m_settings.format).write(merge.get_picture(), merge.get_light());
    m_join_seconds += stopwatch.lap();
}

/// What else stands in a folder stays, and the folder with it.
void TileRun::remove_tiles() const {
    std::error_code error;
    for (unsigned unit = 0; unit < get_unit_count(); ++unit) {
        const std::filesystem::path folder =
            get_tiles_folder(get_picture_path(unit), m_settings.parent);
        std::filesystem::remove(folder / get_tile_name(get_tile(unit), m_settings.tiles.count),
                                error);
        if (get_tile(unit) == m_settings.tiles.last)
            std::filesystem::remove(folder, error);
    }
}

namespace {

/// Over all tiles.
struct TileSums {
    unsigned made = 0;
    RayCounts ray_counts;
    /// Of all ranks together.
    double seconds = 0.0;
    double tree_seconds = 0.0;
    unsigned built_trees = 0;
    unsigned refitted_trees = 0;

    explicit TileSums(const std::vector<TileReport>& reports) {
        for (const TileReport& report : reports) {
            made += report.was_there ? 0 : 1;
            ray_counts.add(report.ray_counts);
            seconds += report.seconds;
            tree_seconds += report.tree_seconds;
            built_trees += report.built_trees;
            refitted_trees += report.refitted_trees;
        }
    }
};

} // namespace

void TileRun::print() const {
    const TileSums sums(m_reports);
    const TileChoice& tiles = m_settings.tiles;
    const std::string place = m_settings.joins_tiles
                                  ? m_settings.picture_path
                                  : get_tiles_folder(m_settings.picture_path, m_settings.parent);
    std::printf("%s: tiles %u to %u of %u", place.c_str(), tiles.first + 1, tiles.last + 1,
                tiles.count);
    if (m_settings.frames)
        std::printf(" of frames %u to %u", m_settings.frames->first, m_settings.frames->last);
    std::printf(", %u made and %zu already there, in %.2f s\n", sums.made,
                m_reports.size() - sums.made, m_total_seconds);
    std::printf("%.2f million rays in %.2f s of tiles; scene and trees took %.2f s, %u builds and "
                "%u refits",
                static_cast<double>(sums.ray_counts.get_total()) * 1e-6, sums.seconds,
                sums.tree_seconds, sums.built_trees, sums.refitted_trees);
    if (is_lone())
        std::printf("\n");
    else
        std::printf(", over %u ranks\n", m_team.get_size());
}

void TileRun::print_json() const {
    const TileSums sums(m_reports);
    const TileChoice& tiles = m_settings.tiles;
    const RenderSettings& settings = m_job.get_settings();
    nlohmann::ordered_json each = nlohmann::ordered_json::array();
    for (const TileReport& report : m_reports) {
        each.push_back({{"tile", get_tile(report.unit) + 1},
                        {"rank", report.rank},
                        {"was_there", report.was_there},
                        {"tree_seconds", report.tree_seconds},
                        {"seconds", report.seconds}});
        if (m_settings.frames)
            each.back()["frame"] = get_frame(report.unit);
    }
    nlohmann::ordered_json json = {
        {"picture", m_settings.picture_path},
        {"folder", get_tiles_folder(m_settings.picture_path, m_settings.parent)},
        {"width", settings.width},
        {"height", settings.height},
        {"ranks", m_team.get_size()},
        {"threads", settings.threads},
        {"tiles", tiles.count},
        {"first_tile", tiles.first + 1},
        {"last_tile", tiles.last + 1},
        {"made", sums.made},
        {"already_there", m_reports.size() - sums.made},
        {"rays", sums.ray_counts.get_total()},
        {"built_trees", sums.built_trees},
        {"refitted_trees", sums.refitted_trees},
        {"seconds",
         {{"trees", sums.tree_seconds},
          {"tiles", sums.seconds},
          {"join", m_join_seconds},
          {"total", m_total_seconds}}},
        {"each", std::move(each)}};
    if (m_settings.frames)
        json["frames"] = {m_settings.frames->first, m_settings.frames->last};
    std::puts(json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace).c_str());
}

} // namespace gas_app
