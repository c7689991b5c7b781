// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/page_mesh.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_map>
#include <unordered_set>

#include <apps/gas/scene/mesh_shape.h>

namespace gas_app {

namespace {

using Corners = std::array<Vec3f, 3>;
using Steps = std::array<std::uint16_t, 3>;

/// More are not looked at, but each so many-th.
constexpr std::uint64_t most_triangles = 8'000'000;

Corners to_corners(const Triangle& triangle) {
    return {to_float(triangle.a), to_float(triangle.b), to_float(triangle.c)};
}

void add_octahedron(const Box& box, std::vector<Corners>& triangles) {
    const Vec3 center = get_center(box);
    const auto tip = [&](unsigned axis, bool is_high) {
        Vec3 place = center;
        place[axis] = is_high ? box.max[axis] : box.min[axis];
        return to_float(place);
    };
    for (unsigned octant = 0; octant < 8; ++octant)
        triangles.push_back(
            {tip(0, octant & 1), tip(1, (octant & 2) != 0), tip(2, (octant & 4) != 0)});
}

/// The triangles of each `stride`-th item, at the moment of the boxes that trees are built over.
void add_triangles(const Shape& shape, unsigned stride, std::vector<Corners>& triangles) {
    const unsigned sample = shape.get_sample_count() / 2;
    const auto* mesh = dynamic_cast<const MeshShape*>(&shape);
    for (unsigned item = 0; item < shape.get_item_count();
         item += std::min(stride, shape.get_item_count() - item)) {
        if (mesh)
            triangles.push_back(to_corners(mesh->get_item_at(item, {sample, 0.0})));
        else
            add_octahedron(shape.get_item_box(item, sample), triangles);
    }
}

std::uint64_t count_triangles(const Shape& shape) {
    const bool is_mesh = dynamic_cast<const MeshShape*>(&shape) != nullptr;
    return std::uint64_t{shape.get_item_count()} * (is_mesh ? 1 : 8);
}

unsigned get_stride(std::uint64_t count) {
    return static_cast<unsigned>((count + most_triangles - 1) / most_triangles);
}

Vec3 to_vector(const Vec3f& corner) { return to_double(corner); }

/// What is left of the triangles when corners are moved to a grid of `cells` along the longest
/// side: a triangle for each three different corners.
class GridMesh {
  public:
    GridMesh(const Box& box, unsigned cells, PageMesh& mesh) : m_box(box), m_mesh(mesh) {
        const Vec3 size = box.max - box.min;
        const double longest = std::max({size.x, size.y, size.z, 1e-300});
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double extent = size[axis] > 0.0 ? size[axis] : longest;
            m_scale[axis] = PageMesh::step_count / extent;
            // In steps of this axis.
            m_cell[axis] = PageMesh::step_count * (longest / extent) / cells;
        }
        mesh.positions.clear();
        mesh.indices.clear();
    }

    /// False: there are more than `limit`.
    bool add(const std::vector<Corners>& triangles, std::size_t limit) {
        for (const Corners& triangle : triangles) {
            const Steps a = get_steps(triangle[0]);
            const Steps b = get_steps(triangle[1]);
            const Steps c = get_steps(triangle[2]);
            if (a == b || b == c || c == a)
                continue;
            if (m_mesh.indices.size() == 3 * limit)
                return false;
            const Indices corners = {get_index(a), get_index(b), get_index(c)};
            if (is_new(corners))
                m_mesh.indices.insert(m_mesh.indices.end(), corners.begin(), corners.end());
        }
        return true;
    }

  private:
    using Indices = std::array<std::uint32_t, 3>;

    /// Whether no triangle has these corners yet. There are fewer than 2^21.
    bool is_new(Indices corners) {
        std::sort(corners.begin(), corners.end());
        return m_triangles
            .insert(std::uint64_t{corners[0]} << 42 | std::uint64_t{corners[1]} << 21 | corners[2])
            .second;
    }
    Steps get_steps(const Vec3f& corner) const {
        Steps steps{};
        for (unsigned axis = 0; axis < 3; ++axis) {
            const double place =
                (static_cast<double>(corner[axis]) - m_box.min[axis]) * m_scale[axis];
            const double moved = m_cell[axis] > 1.0
                                     ? (std::floor(place / m_cell[axis]) + 0.5) * m_cell[axis]
                                     : place;
            const double last = PageMesh::step_count;
            steps[axis] = static_cast<std::uint16_t>(std::lround(std::clamp(moved, 0.0, last)));
        }
        return steps;
    }
    std::uint32_t get_index(const Steps& corner) {
        const std::uint64_t key = std::uint64_t{corner[0]} | std::uint64_t{corner[1]} << 16 |
                                  std::uint64_t{corner[2]} << 32;
        const auto next = static_cast<std::uint32_t>(m_indices.size());
        const auto [place, is_new] = m_indices.try_emplace(key, next);
        if (is_new)
            m_mesh.positions.insert(m_mesh.positions.end(), corner.begin(), corner.end());
        return place->second;
    }

    Box m_box;
    PageMesh& m_mesh;
    double m_scale[3];
    double m_cell[3];
    std::unordered_map<std::uint64_t, std::uint32_t> m_indices;
    std::unordered_set<std::uint64_t> m_triangles;
};

/// The box of all corners but the outermost on each side.
Box get_focus(const std::vector<Corners>& triangles) {
    Box focus = empty_box();
    for (unsigned axis = 0; axis < 3; ++axis) {
        std::vector<float> places;
        places.reserve(triangles.size());
        for (const Corners& triangle : triangles)
            places.push_back(triangle[0][axis]);
        const std::size_t out = places.size() / 20;
        const auto get = [&](std::size_t rank) {
            const auto place = places.begin() + static_cast<std::ptrdiff_t>(rank);
            std::nth_element(places.begin(), place, places.end());
            return static_cast<double>(*place);
        };
        focus.min[axis] = get(out);
        focus.max[axis] = get(places.size() - 1 - out);
    }
    return focus;
}

/// Fills in the mesh: all triangles where they are few enough, otherwise on the finest grid of some
/// that leaves few enough.
void fill(const std::vector<Corners>& triangles, std::size_t limit, PageMesh& mesh) {
    for (const Corners& triangle : triangles)
        for (const Vec3f& corner : triangle)
            grow(mesh.box, to_vector(corner));
    mesh.focus = get_focus(triangles);
    if (triangles.size() <= limit) {
        GridMesh(mesh.box, PageMesh::step_count, mesh).add(triangles, limit);
        return;
    }
    double cells = 2048.0;
    while (cells >= 2.0) {
        mesh.grid_size = static_cast<unsigned>(cells);
        if (GridMesh(mesh.box, mesh.grid_size, mesh).add(triangles, limit))
            return;
        cells *= 0.84;
    }
}

} // namespace

PageMesh make_page_mesh(const Shape& shape, std::size_t limit) {
    PageMesh mesh;
    mesh.triangle_count = count_triangles(shape);
    mesh.item_stride = get_stride(mesh.triangle_count);
    mesh.has_octahedra = dynamic_cast<const MeshShape*>(&shape) == nullptr;
    std::vector<Corners> triangles;
    add_triangles(shape, mesh.item_stride, triangles);
    fill(triangles, limit, mesh);
    return mesh;
}

namespace {

/// The triangles, or where they are more than `limit` fewer ones in their place.
std::vector<Corners> coarsen(std::vector<Corners> triangles, std::size_t limit) {
    if (triangles.size() <= limit)
        return triangles;
    PageMesh mesh;
    fill(triangles, limit, mesh);
    const Vec3 size = mesh.box.max - mesh.box.min;
    const auto get_corner = [&](std::uint32_t index) {
        Vec3 corner = mesh.box.min;
        for (unsigned axis = 0; axis < 3; ++axis)
            corner[axis] += size[axis] * mesh.positions[3 * index + axis] / PageMesh::step_count;
        return to_float(corner);
    };
    std::vector<Corners> coarse;
    for (std::size_t place = 0; place + 2 < mesh.indices.size(); place += 3)
        coarse.push_back({get_corner(mesh.indices[place]), get_corner(mesh.indices[place + 1]),
                          get_corner(mesh.indices[place + 2])});
    return coarse;
}

const Transform& get_middle(const Instance& instance) {
    return instance.placements[instance.placements.size() / 2];
}

double get_size(const Instance& instance) {
    const Box box = get_middle(instance).apply_to_box(instance.shape->get_exact_box(0));
    return length(box.max - box.min);
}

/// What instances of a shape have in common.
struct ShapeUse {
    double size_sum = 0.0;
    std::size_t count = 0;
    std::vector<Corners> triangles;

    /// Of each instance, where a size of 1 has `scale`.
    std::size_t get_limit(double scale) const {
        constexpr double fewest = 12.0;
        const double share = scale * size_sum / static_cast<double>(count);
        return static_cast<std::size_t>(
            std::clamp(share, fewest, std::max(fewest, static_cast<double>(triangles.size()))));
    }
};

using ShapeUses = std::unordered_map<const Shape*, ShapeUse>;

/// The largest scale of some at which all instances together have at most `limit` triangles.
double choose_scale(const ShapeUses& uses, std::size_t limit) {
    double scale = 1e-3;
    double next = scale;
    while (next < 1e9) {
        std::size_t sum = 0;
        for (const auto& [shape, use] : uses)
            sum += use.count * use.get_limit(next);
        if (sum > limit)
            break;
        scale = next;
        next *= 1.1;
    }
    return scale;
}

ShapeUses list_uses(const Scene& scene, PageMesh& mesh) {
    ShapeUses uses;
    for (const Instance& instance : scene.get_instances()) {
        mesh.triangle_count += count_triangles(*instance.shape);
        mesh.has_octahedra |= dynamic_cast<const MeshShape*>(instance.shape) == nullptr;
        ShapeUse& use = uses[instance.shape];
        use.size_sum += get_size(instance);
        ++use.count;
    }
    for (auto& [shape, use] : uses) {
        const unsigned stride = get_stride(count_triangles(*shape));
        mesh.item_stride = std::max(mesh.item_stride, stride);
        add_triangles(*shape, stride, use.triangles);
    }
    return uses;
}

} // namespace

/// Instances share the triangles by their sizes; those of a shape look the same.
PageMesh make_page_mesh(const Scene& scene, std::size_t limit) {
    PageMesh mesh;
    ShapeUses uses = list_uses(scene, mesh);
    const double scale = choose_scale(uses, limit);
    for (auto& [shape, use] : uses) {
        const std::size_t own_limit = use.get_limit(scale);
        mesh.is_by_instance |= use.triangles.size() > own_limit;
        use.triangles = coarsen(std::move(use.triangles), own_limit);
    }
    std::vector<Corners> triangles;
    for (const Instance& instance : scene.get_instances())
        for (const Corners& triangle : uses[instance.shape].triangles) {
            Corners placed;
            for (unsigned corner = 0; corner < 3; ++corner)
                placed[corner] =
                    to_float(get_middle(instance).apply_to_point(to_vector(triangle[corner])));
            triangles.push_back(placed);
        }
    fill(triangles, limit, mesh);
    return mesh;
}

} // namespace gas_app
