// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/mesh/polygon.h>

namespace gas_app {

namespace {

// Cutting takes the cube of the number of corners at worst.
constexpr unsigned most_cut_corners = 512;

class EarCutter {
  public:
    EarCutter(TriangleMesh& mesh, const unsigned* corners, unsigned count)
        : m_mesh(mesh), m_ring(corners, corners + count) {
        for (unsigned corner = 1; corner + 1 < count; ++corner)
            m_normal = m_normal + cross(get(corner) - get(0), get(corner + 1) - get(0));
    }

    void run() {
        while (m_ring.size() > 3)
            cut(find_ear());
        m_mesh.triangles.push_back({m_ring[0], m_ring[1], m_ring[2]});
    }

  private:
    const Vec3& get(std::size_t place) const { return m_mesh.vertices[m_ring[place]]; }
    std::size_t get_previous(std::size_t place) const {
        return (place > 0 ? place : m_ring.size()) - 1;
    }
    std::size_t get_next(std::size_t place) const {
        return place + 1 < m_ring.size() ? place + 1 : 0;
    }

    /// A corner whose triangle with its neighbours lies inside the polygon. Of a polygon without
    /// one, which is flat or crosses itself, the second corner.
    std::size_t find_ear() const {
        for (std::size_t offset = 0; offset < m_ring.size(); ++offset) {
            const std::size_t place = (1 + offset) % m_ring.size();
            if (is_ear(place))
                return place;
        }
        return 1;
    }

    bool is_ear(std::size_t place) const {
        const Vec3& a = get(get_previous(place));
        const Vec3& b = get(place);
        const Vec3& c = get(get_next(place));
        if (!(get_turn(a, b, c) > 0.0))
            return false;
        for (std::size_t other = 0; other < m_ring.size(); ++other) {
            const Vec3& point = get(other);
            if (point == a || point == b || point == c)
                continue;
            if (get_turn(a, b, point) >= 0.0 && get_turn(b, c, point) >= 0.0 &&
                get_turn(c, a, point) >= 0.0)
                return false;
        }
        return true;
    }

    /// Above 0 where the way over the three points turns as the polygon does.
    double get_turn(const Vec3& a, const Vec3& b, const Vec3& c) const {
        return dot(cross(b - a, c - b), m_normal);
    }

    void cut(std::size_t place) {
        m_mesh.triangles.push_back(
            {m_ring[get_previous(place)], m_ring[place], m_ring[get_next(place)]});
        m_ring.erase(m_ring.begin() + static_cast<std::ptrdiff_t>(place));
    }

    TriangleMesh& m_mesh;
    /// The corners that are left.
    std::vector<unsigned> m_ring;
    /// Of the polygon; as long as it is large.
    Vec3 m_normal{0.0, 0.0, 0.0};
};

} // namespace

void add_polygon(TriangleMesh& mesh, const unsigned* corners, unsigned count) {
    if (count > 3 && count <= most_cut_corners) {
        EarCutter(mesh, corners, count).run();
        return;
    }
    for (unsigned corner = 2; corner < count; ++corner)
        mesh.add_triangle(corners[0], corners[corner - 1], corners[corner]);
}

} // namespace gas_app
