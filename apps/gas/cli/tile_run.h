// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

#include <apps/gas/cli/option_values.h>
#include <apps/gas/cli/picture_output.h>
#include <apps/gas/cli/render_job.h>
#include <apps/gas/farm/frames.h>
#include <apps/gas/farm/team.h>
#include <apps/gas/farm/tile_folder.h>

namespace gas_app {

/// Makes tiles of a picture, alone or in a team, and leaves out those that are there. A team then
/// joins them to the picture.
class TileRun {
  public:
    struct Settings {
        /// Where the picture is to be, whose tiles stand beside it or in `parent` unless that is
        /// empty; and its format.
        std::string picture_path;
        std::string format;
        std::string parent;
        /// Of all processes, or of this one.
        TileChoice tiles;
        /// Whose pictures they are of, where the picture's path is a pattern.
        std::optional<FrameChoice> frames;
        bool joins_tiles = false;
        /// Whether they stay when they are joined.
        bool keeps_tiles = true;
    };

    TileRun(RenderJob& job, const Settings& settings, Team& team);
    /// On rank 0 also reports.
    void run();

  private:
    TileReport make_tile(unsigned unit);
    void take_report(const TileReport& report);
    const TileFolder& open_folder(unsigned unit);
    void join_tiles(unsigned unit);
    void remove_tiles() const;
    void print() const;
    void print_json() const;
    std::string get_picture_path(unsigned unit) const;
    /// Units are dealt frame by frame.
    unsigned get_frame(unsigned unit) const {
        return m_settings.frames ? m_settings.frames->first + unit / get_tile_count() : 0;
    }
    unsigned get_tile(unsigned unit) const {
        return m_settings.tiles.first + unit % get_tile_count();
    }
    unsigned get_tile_count() const {
        return std::max(1u, m_settings.tiles.last - m_settings.tiles.first + 1);
    }
    unsigned get_unit_count() const {
        return get_tile_count() * (m_settings.frames ? m_settings.frames->get_count() : 1);
    }
    bool is_lone() const { return m_team.get_size() < 2; }

    RenderJob& m_job;
    const Settings m_settings;
    Team& m_team;
    AppProgressBar* m_bar = nullptr;
    std::optional<TileFolder> m_folder;
    /// Of rank 0; per frame, how many of its tiles are there.
    std::vector<unsigned> m_done;
    std::vector<TileReport> m_reports;
    double m_join_seconds = 0.0;
    double m_total_seconds = 0.0;
};

} // namespace gas_app
