// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

#include <apps/gas/render/pixel_tracer.h>

namespace gas_app {

/// What a process tells of a tile that it has seen to.
struct TileReport {
    /// Its number among all that are dealt.
    unsigned unit = 0;
    unsigned rank = 0;
    /// Whether it was there already.
    bool was_there = false;
    /// To make it, without its scene and trees; and these, where it was the first that needed them.
    double seconds = 0.0;
    double tree_seconds = 0.0;
    unsigned built_trees = 0;
    unsigned refitted_trees = 0;
    RayCounts ray_counts;
};

/// The processes that share a command's work; all run the same command line.
class Team {
  public:
    using Work = std::function<TileReport(unsigned unit)>;
    using Take = std::function<void(const TileReport& report)>;

    virtual ~Team() = default;
    virtual unsigned get_rank() const = 0;
    virtual unsigned get_size() const = 0;

    /// Calls `work` for each of the units 0 to `unit_count` - 1, in this process or another, and
    /// `take` of the process of rank 0 with what it returned. Not more than one call of either runs
    /// at a time in a process, but one of each may. Returns when all is done; throws what they
    /// throw.
    virtual void share(unsigned unit_count, const Work& work, const Take& take) = 0;
};

/// A process on its own, which works in the order of the numbers.
class LoneTeam : public Team {
  public:
    unsigned get_rank() const override { return 0; }
    unsigned get_size() const override { return 1; }
    void share(unsigned unit_count, const Work& work, const Take& take) override {
        for (unsigned unit = 0; unit < unit_count; ++unit)
            take(work(unit));
    }
};

} // namespace gas_app
