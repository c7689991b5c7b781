// SPDX-License-Identifier: Apache-2.0
/// The closest point of a surface: which triangle of a mesh is closest to a point, and where? The
/// tree visits the nearest boxes first and asks for distances; the triangles are the program's own.

#include <cmath>
#include <cstdio>
#include <limits>
#include <vector>

#include <gas/scene/gas_box_padding.h>
#include <gas/traversal/frame/gas_tree_ctx.h>
#include <gas/tree/gas_tree.h>

namespace {

using Point = GMathVec3<double>;

struct Triangle {
    Point corners[3];
};

double dot(const Point& a, const Point& b) { return a.x * b.x + a.y * b.y + a.z * b.z; }

Point cross(const Point& a, const Point& b) {
    return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}

double get_distance(const Point& a, const Point& b) { return std::sqrt(dot(a - b, a - b)); }

Point find_on_edge(const Point& start, const Point& end, const Point& point) {
    const Point edge = end - start;
    const double share = dot(point - start, edge) / dot(edge, edge);
    return start + edge * std::fmin(std::fmax(share, 0.0), 1.0);
}

/// The point of the triangle that is closest to `point`: its foot on the triangle's plane where
/// that lies on the inner side of all edges, else on an edge.
Point find_closest_point(const Triangle& triangle, const Point& point) {
    const auto& [a, b, c] = triangle.corners;
    const Point normal = cross(b - a, c - a);
    const Point foot = point - normal * (dot(point - a, normal) / dot(normal, normal));
    Point closest = foot;
    double least = std::numeric_limits<double>::infinity();
    bool is_inside = true;
    for (unsigned i = 0; i < 3; ++i) {
        const Point& start = triangle.corners[i];
        const Point& end = triangle.corners[(i + 1) % 3];
        if (dot(cross(end - start, foot - start), normal) >= 0.0)
            continue;
        is_inside = false;
        const Point on_edge = find_on_edge(start, end, point);
        if (get_distance(on_edge, point) < least) {
            least = get_distance(on_edge, point);
            closest = on_edge;
        }
    }
    return is_inside ? foot : closest;
}

/// What the callback is told of as `user`.
struct Mesh {
    std::vector<Triangle> triangles;
    unsigned call_count = 0;
};

/// Distances beyond the bound, the last argument, do not count; a callback may stop early there.
double get_triangle_distance(void* user, const unsigned& item, const Point& point, const double&) {
    Mesh& mesh = *static_cast<Mesh*>(user);
    ++mesh.call_count;
    return get_distance(find_closest_point(mesh.triangles[item], point), point);
}

/// Hills: two triangles for each square of a grid.
Mesh make_hills(unsigned side) {
    const auto get_corner = [](unsigned column, unsigned row) {
        const double x = 0.1 * column;
        const double y = 0.1 * row;
        return Point{x, y, std::sin(x) * std::cos(0.7 * y)};
    };
    Mesh mesh;
    for (unsigned row = 0; row < side; ++row) {
        for (unsigned column = 0; column < side; ++column) {
            const Point low = get_corner(column + 1, row);
            const Point high = get_corner(column, row + 1);
            mesh.triangles.push_back({{get_corner(column, row), low, high}});
            mesh.triangles.push_back({{get_corner(column + 1, row + 1), high, low}});
        }
    }
    return mesh;
}

GMathBbox3<float> get_box(const Triangle& triangle) {
    GMathBbox3<double> bounds = {triangle.corners[0], triangle.corners[0]};
    for (const Point& corner : triangle.corners) {
        for (unsigned axis = 0; axis < 3; ++axis) {
            bounds.min[axis] = std::fmin(bounds.min[axis], corner[axis]);
            bounds.max[axis] = std::fmax(bounds.max[axis], corner[axis]);
        }
    }
    return gas_pad_box(bounds, 0.0); // rounded outward
}

} // namespace

int main() {
    Mesh mesh = make_hills(100);
    CoreVector<GMathBbox3<float>> boxes;
    for (const Triangle& triangle : mesh.triangles)
        boxes.add(get_box(triangle));
    GasTree tree;
    tree.create(boxes, nullptr, nullptr, 1.0f);

    GasTreeCtx ctx; // scratch memory, one per thread
    const double no_limit = std::numeric_limits<double>::infinity();
    bool right = true;
    for (const Point& point : {Point{5.03, 4.02, 2.0}, {9.6, 1.1, -0.4}, {-3.0, 5.0, 1.0}}) {
        mesh.call_count = 0;
        unsigned item;
        double distance;
        if (!tree.get_closest_item(ctx, point, no_limit, get_triangle_distance, &mesh, item,
                                   distance))
            return 1;
        const unsigned call_count = mesh.call_count;
        const Point closest = find_closest_point(mesh.triangles[item], point);
        std::printf("triangle %u at (%g, %g, %g) is %g away; %u of %u were asked for\n", item,
                    closest.x, closest.y, closest.z, distance, call_count, boxes.get_count());

        double least = no_limit;
        for (unsigned i = 0; i < boxes.get_count(); ++i)
            least = std::fmin(least, get_triangle_distance(&mesh, i, point, no_limit));
        right = right && distance == least && call_count < 100;

        // Nothing is closer than that, and a limit is part of the range.
        right = right &&
                tree.get_closest_item(ctx, point, least, get_triangle_distance, &mesh, item,
                                      distance) &&
                !tree.get_closest_item(ctx, point, 0.999 * least, get_triangle_distance, &mesh,
                                       item, distance);
    }
    std::puts(right ? "as expected" : "WRONG");
    return right ? 0 : 1;
}
