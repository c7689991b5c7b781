// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <apps/gas/mesh/triangle_mesh.h>
#include <apps/gas/scene/shape.h>
#include <apps/gas/scene/triangle.h>

namespace gas_app {

/// Triangles; flat arrays, so that a test touches one run of memory per motion sample.
class MeshShape : public Shape {
  public:
    MeshShape(std::string name, const TriangleMesh& mesh);
    /// A mesh that moves: `samples` holds its vertices at each motion sample.
    MeshShape(std::string name, const TriangleMesh& mesh,
              const std::vector<std::vector<Vec3>>& samples);

    /// Moves its vertices; there are as many samples as before. Not while its tree is used.
    void set_samples(const TriangleMesh& mesh, const std::vector<std::vector<Vec3>>& samples);

    unsigned get_item_count() const override { return m_count; }
    unsigned get_sample_count() const override { return m_sample_count; }
    Box get_item_box(unsigned item, unsigned sample) const override;
    ShapeSurface get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                             const Vec3& direction) const override;
    Vec3 get_item_color(unsigned item) const override;
    void add_content(ContentHash& hash) const override;

    Triangle get_item_at(unsigned item, const Moment& moment) const {
        return get_corners(m_corners, item, moment);
    }

  private:
    using Triple = std::array<Vec3f, 3>;

    void add_sample(const TriangleMesh& mesh, const std::vector<Vec3>& vertices);
    const Triple& at(const std::vector<Triple>& triples, unsigned item, unsigned sample) const {
        return triples[std::size_t{sample} * m_count + item];
    }
    static Triangle to_triangle(const Triple& triple);
    Triangle get_corners(const std::vector<Triple>& triples, unsigned item,
                         const Moment& moment) const;

    unsigned m_count;
    unsigned m_sample_count;
    /// Per sample, then per triangle.
    std::vector<Triple> m_corners;
    std::vector<Triple> m_normals;
    std::vector<Vec3f> m_colors;
};

} // namespace gas_app
