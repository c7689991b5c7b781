// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <my/vectors.h>

/// The renderer's ray batches: an array per field, and views of a range of them.
namespace my {

struct Hit {
    double distance;
    unsigned item;
};

/// The nearest hits so far, one per ray.
struct Hits {
    /// Each ray starts with its far distance.
    void init(const unsigned& count, const double* far_distances) {
        items.resize(count);
        for (unsigned ray = 0; ray < count; ++ray)
            items[ray] = {far_distances[ray], ~0u};
    }
    Hit& get_path(const unsigned& ray) { return items[ray]; }

    std::vector<Hit> items;
    unsigned flags = 0;
    float bias = 0;
};

/// Owns the rays; never resized while a query runs.
struct Rays {
    void add(const Line& line, float time, double near_distance, double far_distance) {
        lines.push_back(line);
        times.push_back(time);
        near_distances.push_back(near_distance);
        far_distances.push_back(far_distance);
        is_hit.push_back(0);
    }
    unsigned get_count() const { return unsigned(lines.size()); }

    std::vector<Line> lines;
    std::vector<float> times;
    std::vector<double> near_distances;
    std::vector<double> far_distances;
    std::vector<unsigned char> is_hit;
    Hits hits;
    /// Holds all rays, if anything is set.
    const Region* region = nullptr;
};

class View;

/// What a callback is given: its view.
class ViewCtx {
  public:
    double get_tnear(const unsigned& ray) const;
    Hit& get_intersection_path(const unsigned& ray) const;

    View* view;
};

/// A range of rays. Copies share the rays and their hits; range and context are their own.
class View {
  public:
    View() = default;
    explicit View(Rays& new_rays)
        : rays(&new_rays), first(0), last(int(new_rays.get_count()) - 1), has_hits(true) {}
    View(const View& other) { *this = other; }
    /// All but the context, which keeps pointing here.
    View& operator=(const View& other) {
        rays = other.rays;
        first = other.first;
        last = other.last;
        has_hits = other.has_hits;
        return *this;
    }

    Rays* rays = nullptr;
    int first = 0;
    int last = -1;
    /// False in queries that ask for no hit distances.
    bool has_hits = false;
    ViewCtx ctx{this};
};

inline double ViewCtx::get_tnear(const unsigned& ray) const {
    return view->rays->near_distances[ray];
}
inline Hit& ViewCtx::get_intersection_path(const unsigned& ray) const {
    return view->rays->hits.items[ray];
}

} // namespace my
