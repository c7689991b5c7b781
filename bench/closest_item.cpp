// SPDX-License-Identifier: Apache-2.0
/// How fast is the triangle found that is closest to a point? Beside asking for every triangle, and
/// beside listing the nearest boxes and then asking for their triangles.

#include <algorithm>
#include <cmath>
#include <limits>

#include <benchmark/benchmark.h>
#include <gas/diagnostics/gas_counted_queries.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <apps/common/instruction_set.h>

#include <bench/bench_query.h>
#include <bench/bench_register.h>
#include <bench/bench_triangle.h>
#include <bench/processor_clock.h>

namespace gas_bench {

namespace {

using Place = GMathVec3<double>;

constexpr double no_limit = std::numeric_limits<double>::infinity();

double get_edge_distance(const Place& start, const Place& end, const Place& point) {
    const Place edge = end - start;
    const double square = dot(edge, edge);
    const double share = square > 0.0 ? dot(point - start, edge) / square : 0.0;
    const Place offset = point - (start + edge * std::clamp(share, 0.0, 1.0));
    return std::sqrt(dot(offset, offset));
}

/// To the triangle's plane where the point's foot lies on the inner side of all edges, else to the
/// nearest edge.
double get_distance(const Triangle& triangle, const Place& point) {
    const Place corners[3] = {widen(triangle.corners[0]), widen(triangle.corners[1]),
                              widen(triangle.corners[2])};
    const Place normal = cross(corners[1] - corners[0], corners[2] - corners[0]);
    const double square = dot(normal, normal);
    bool is_inside = square > 0.0;
    double distance = no_limit;
    for (unsigned i = 0; i < 3; ++i) {
        const Place& start = corners[i];
        const Place& end = corners[(i + 1) % 3];
        if (square > 0.0 && dot(cross(end - start, point - start), normal) >= 0.0)
            continue;
        is_inside = false;
        distance = std::min(distance, get_edge_distance(start, end, point));
    }
    return is_inside ? std::abs(dot(point - corners[0], normal)) / std::sqrt(square) : distance;
}

double ask(void* user, const unsigned& item, const Place& point, const double&) {
    return get_distance(static_cast<const Triangle*>(user)[item], point);
}

/// The other way: as many nearest boxes as it takes, twice as many each time, until no triangle
/// that is left out can be closer. Boxes are listed by the distances of their centres, no triangle
/// is nearer than that without half the diagonal of the largest box.
class NearestBoxes {
  public:
    NearestBoxes(const GasTree& tree, const Scene& scene) : m_tree(tree), m_scene(scene) {
        for (const GMathBbox3<float>& box : scene.boxes) {
            const GMathVec3<double> diagonal = widen(box.max - box.min);
            m_half_diagonal = std::max(m_half_diagonal, 0.5 * std::sqrt(dot(diagonal, diagonal)));
        }
    }

    double find(const GMathVec3<float>& point) {
        const unsigned item_count = m_tree.get_leaf_count();
        double least = no_limit;
        for (unsigned room = 8, asked = 0; asked < item_count; room *= 2) {
            room = std::min(room, item_count);
            m_leaves.resize(room);
            m_distances.resize(room);
            m_tree.get_nearest_leaves(m_ctx, point, std::numeric_limits<float>::infinity(), room,
                                      m_leaves.data(), m_distances.data());
            for (; asked < room; ++asked, ++m_call_count)
                least =
                    std::min(least, get_distance(m_scene.triangles[m_leaves[asked]], widen(point)));
            if (static_cast<double>(m_distances[room - 1]) - m_half_diagonal > least)
                break;
        }
        return least;
    }

    std::uint64_t get_call_count() const { return m_call_count; }

  private:
    const GasTree& m_tree;
    const Scene& m_scene;
    double m_half_diagonal = 0.0;
    GasTreeCtx m_ctx;
    std::vector<unsigned> m_leaves;
    std::vector<float> m_distances;
    std::uint64_t m_call_count = 0;
};

/// Calls `find(query)` for the first `count` queries; returns the seconds that one takes.
template <typename Find> double time_some(unsigned count, const Find& find) {
    double sum = 0.0;
    const double start = get_thread_seconds();
    for (unsigned query = 0; query < count; ++query)
        sum += find(query);
    benchmark::DoNotOptimize(sum);
    return (get_thread_seconds() - start) / count;
}

/// The queries of a scene, for one tree class.
template <typename Tree> class ClosestQueries {
  public:
    explicit ClosestQueries(Workload& workload)
        : m_workload(workload), m_scene(workload.get_scene()),
          m_tree(workload.get_tracer<Tree>().get_tree()),
          m_points(make_query_points(m_scene, query_count)),
          m_triangles(const_cast<Triangle*>(m_scene.triangles.data())) {}

    double find(unsigned query) {
        unsigned item;
        double distance = no_limit;
        m_tree.get_closest_item(m_ctx, widen(m_points[query]), no_limit, ask, m_triangles, item,
                                distance);
        return distance;
    }

    GasWalkCounts count() {
        GasWalkCounts counts;
        for (const GMathVec3<float>& point : m_points) {
            unsigned item;
            double distance;
            gas_counted_get_closest_item(m_tree, m_ctx, widen(point), no_limit, ask, m_triangles,
                                         item, distance, counts);
        }
        return counts;
    }

    double search(unsigned query) const {
        double least = no_limit;
        for (const Triangle& triangle : m_scene.triangles)
            least = std::min(least, get_distance(triangle, widen(m_points[query])));
        return least;
    }

    /// Seconds of a query by the other way; adds the calls of all queries.
    double time_boxes_first(std::uint64_t& call_count) {
        NearestBoxes nearest(m_workload.get_tracer<GasTree>().get_tree(), m_scene);
        nearest.find(m_points[0]); // its memory grows
        call_count -= nearest.get_call_count();
        const double seconds =
            time_some(query_count, [&](unsigned query) { return nearest.find(m_points[query]); });
        call_count += nearest.get_call_count();
        return seconds;
    }

  private:
    Workload& m_workload;
    const Scene& m_scene;
    const Tree& m_tree;
    std::vector<GMathVec3<float>> m_points;
    /// As the callback takes them; it changes nothing.
    Triangle* m_triangles;
    GasTreeCtx m_ctx;
};

struct ClosestQuestion {
    const char* name;
};
constexpr ClosestQuestion questions[] = {{"query/closest"}};

template <typename Tree>
void run(benchmark::State& state, Workload& workload, const ClosestQuestion&) {
    ClosestQueries<Tree> queries(workload);
    double seconds = 0.0;
    std::uint64_t round_count = 0;
    for (auto _ : state) {
        seconds += time_some(query_count, [&](unsigned query) { return queries.find(query); });
        ++round_count;
    }
    const double query_seconds = seconds / static_cast<double>(round_count);
    const double search_seconds =
        time_some(brute_force_count, [&](unsigned query) { return queries.search(query); });
    std::uint64_t boxes_first_calls = 0;
    const double boxes_first_seconds = queries.time_boxes_first(boxes_first_calls);
    for (unsigned query = 0; query < brute_force_count; ++query) {
        if (queries.find(query) != queries.search(query))
            state.SkipWithError("not the closest item");
    }

    const GasWalkCounts counts = queries.count();
    const auto per_query = [](std::uint64_t count) {
        return static_cast<double>(count) / query_count;
    };
    state.SetLabel(gas_app::describe_walk("single", std::to_string(gas_app::get_node_width(false)),
                                          gas_app::get_counted_instruction_set_name()));
    state.counters["queries/s"] =
        benchmark::Counter(query_count, benchmark::Counter::kIsIterationInvariantRate);
    state.counters["us/query"] = 1e6 * query_seconds;
    state.counters["nodes/query"] = per_query(counts.visited_nodes);
    state.counters["calls/query"] = per_query(counts.leaf_calls);
    state.counters["boxes_first_calls/query"] = per_query(boxes_first_calls);
    state.counters["times_boxes_first"] = boxes_first_seconds / query_seconds;
    state.counters["times_brute_force"] = search_seconds / query_seconds;
}

} // namespace

void register_closest_item(const Workloads& workloads) {
    register_questions<GasTree>(workloads, questions, run<GasTree>);
    register_questions<GasCompressedTree>(workloads, questions, run<GasCompressedTree>);
}

} // namespace gas_bench
