// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

#include <gas/host/host.h>

#include <apps/gas/mesh/mesh_file.h>

namespace gas_app {

/// How long work may still take, such as "12 s left"; empty where that cannot be told yet. `done`:
/// 0 to 1, the part of it that took `seconds`.
std::string describe_time_left(double seconds, double done);

/// Work as its user sees it: on a terminal a bar that moves, with the time that is left, which goes
/// away again where the work was short. Elsewhere a line for each tenth of the work that is logged,
/// and nothing else. The bars of an application are shown one after the other.
class ShownProgress {
  public:
    /// Where bars are shown, and seconds from a point in the past.
    struct Screen {
        std::FILE* output;
        bool is_terminal;
        double (*get_seconds)();

        /// Standard error, and the clock.
        static Screen get_usual();
    };

    /// `is_shown`: whether anything is, `is_logged`: also where there is no terminal.
    ShownProgress(AppBase& application, const std::string& title, bool is_shown,
                  bool is_logged = false, const Screen& screen = Screen::get_usual());
    ShownProgress(const ShownProgress&) = delete;
    ShownProgress& operator=(const ShownProgress&) = delete;
    /// The work is done, or has failed.
    ~ShownProgress();

    AppProgressBar& get_bar() { return *m_bar; }

  private:
    static void move(void* user, const AppProgressBar& bar, float value);
    void draw(double done);
    void clear();

    AppBase& m_application;
    AppProgressBar* m_bar;
    std::string m_title;
    Screen m_screen;
    bool m_draws;
    double m_start;
    /// That were on their way at the start.
    int m_exception_count;
    std::string m_line;
};

/// Reads a mesh file, and shows it.
TriangleMesh read_mesh(const std::string& path, AppBase& application);

} // namespace gas_app
