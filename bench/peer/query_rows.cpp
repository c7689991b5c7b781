// SPDX-License-Identifier: Apache-2.0
/// How many nodes do spatial queries visit, and how many must they?

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include <gas/diagnostics/gas_counted_queries.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <bench/bench_query.h>
#include <bench/peer/own_tables.h>

namespace gas_peer {

namespace {

using gas_bench::BoxQuestion;
using gas_bench::NearestQuestion;
using gas_bench::Scene;
using gas_bench::Workload;

using Box = GMathBbox3<float>;
using Point = GMathVec3<float>;

/// Each query also visits all nodes of the tree.
constexpr unsigned query_count = 128;

bool overlap(const GasTree::Node& node, const Box& box) {
    return node.bbox_min.x <= box.max.x && box.min.x <= node.bbox_max.x &&
           node.bbox_min.y <= box.max.y && box.min.y <= node.bbox_max.y &&
           node.bbox_min.z <= box.max.z && box.min.z <= node.bbox_max.z;
}

/// From a point to the nearest point of a node's box.
double get_distance(const GasTree::Node& node, const Point& point) {
    double sum = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const auto place = static_cast<double>(point[axis]);
        const double below = static_cast<double>(node.bbox_min[axis]) - place;
        const double above = place - static_cast<double>(node.bbox_max[axis]);
        const double outside = std::fmax(std::fmax(below, above), 0.0);
        sum += outside * outside;
    }
    return std::sqrt(sum);
}

/// All nodes for which `must_visit` says so; the root always counts.
template <typename MustVisit> double count_nodes(const GasTree& tree, const MustVisit& must_visit) {
    unsigned count = 1;
    for (unsigned i = 1; i < tree.get_node_count(); ++i)
        count += must_visit(tree.get_nodes()[i]) ? 1 : 0;
    return count;
}

void add_row(const char* name, std::uint64_t visited, double fewest, RowMaker& rows) {
    // The fewest over those visited: 1 where nothing is visited in vain.
    rows.add_figures(name, "nodes",
                     {static_cast<double>(visited) / query_count, fewest / query_count},
                     Groups::rows);
}

/// A walk must visit every overlapping node: only then are the leaves below known to miss the box.
void add_box(const Scene& scene, const GasTree& tree, const BoxQuestion& question, RowMaker& rows) {
    GasTreeCtx ctx;
    CoreVector<unsigned> leaves;
    GasWalkCounts counts;
    double fewest = 0.0;
    for (const Box& box : make_query_boxes(scene, question, query_count)) {
        gas_counted_get_leaves_in_bbox(tree, ctx, box, leaves, counts);
        if (overlap(tree.get_nodes()[0], box))
            fewest +=
                count_nodes(tree, [&box](const GasTree::Node& node) { return overlap(node, box); });
    }
    add_row(question.name, counts.visited_nodes, fewest, rows);
}

/// Below a node whose box is nearer than the last leaf that was found there may be a nearer one.
void add_nearest(const Scene& scene, const GasTree& tree, const NearestQuestion& question,
                 RowMaker& rows) {
    GasTreeCtx ctx;
    std::vector<unsigned> leaves(question.room);
    std::vector<float> distances(question.room);
    GasWalkCounts counts;
    double fewest = 0.0;
    constexpr float unlimited = std::numeric_limits<float>::infinity();
    for (const Point& point : gas_bench::make_query_points(scene, query_count)) {
        const unsigned found = gas_counted_get_nearest_leaves(
            tree, ctx, point, unlimited, question.room, leaves.data(), distances.data(), counts);
        const float last = found == question.room ? distances[found - 1] : unlimited;
        fewest += count_nodes(tree, [&point, last](const GasTree::Node& node) {
            return get_distance(node, point) < static_cast<double>(last);
        });
    }
    add_row(question.name, counts.visited_nodes, fewest, rows);
}

} // namespace

void add_query_rows(Workload& workload, RowMaker& rows) {
    const Scene& scene = workload.get_scene();
    const GasTree& tree = workload.get_tracer<GasTree>().get_tree();
    for (const BoxQuestion& question : gas_bench::box_questions) {
        if (rows.wants(question.name))
            add_box(scene, tree, question, rows);
    }
    for (const NearestQuestion& question : gas_bench::nearest_questions) {
        if (rows.wants(question.name))
            add_nearest(scene, tree, question, rows);
    }
}

} // namespace gas_peer
