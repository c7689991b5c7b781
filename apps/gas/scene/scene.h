// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include <gas/object/gas_object.h>

#include <apps/gas/math/transform.h>
#include <apps/gas/scene/shape.h>

namespace gas_app {

struct Material {
    Vec3 color{0.8, 0.8, 0.8};
    /// Share of light that is mirrored at normal incidence; glancing angles mirror more. 0: none at
    /// any angle.
    double mirror = 0.0;
    /// Whether mirrored light is multiplied by the colour.
    bool metal = false;
};

/// An instance: a shape's place in the scene. Either the shape's items move or its placement does,
/// never both, so that points move in straight lines between samples, as the boxes do.
struct Instance {
    const Shape* shape = nullptr;
    /// One, or one per motion sample of the scene.
    std::vector<Transform> placements;
    Material material;
};

/// A surface at a hit, in the scene's space. Normals have length 1 and face the ray.
struct Surface {
    Vec3 point;
    /// The start of rays to the light, without the bias.
    Vec3 light_point;
    Vec3 geometric_normal;
    Vec3 shading_normal;
    Vec3 color;
    const Material* material = nullptr;
};

/// All instances, with a tree over their boxes (TLAS); rays are traced through it. A leaf of that
/// tree is an instance; its callback transforms the rays into the instance's space and traces the
/// shape's tree (BLAS).
class Scene : public GasObject {
  public:
    /// `sample_count`: motion samples, 1 for a scene that stands still.
    explicit Scene(unsigned sample_count);

    /// The scene owns the shape; the reference stays valid.
    const Shape& add_shape(std::unique_ptr<Shape> shape);
    /// Throws std::logic_error when the number of placements fits neither the shape nor the scene.
    void add_instance(Instance instance);

    /// Moves an instance to as many placements as it has. Not while the tree is used.
    void set_placements(unsigned instance, std::vector<Transform> placements);

    unsigned get_sample_count() const { return m_sample_count; }
    /// Shutter 0 to 1 over the scene's samples; without any for a scene that stands still.
    CtxMotionBlur get_motion_blur() const;
    /// Around everything at every motion sample; exact, known before the trees are built. As it was
    /// when they were built, if they were.
    GMathBbox3<double> get_bbox() const override;

    /// Builds all trees for rays that start at `camera` or in the scene's box. At least one
    /// instance. A saved tree that the settings name is that of the first shape.
    void build(const Vec3& camera, AppProgressBar& progress_bar, const TreeSettings& settings = {});

    const std::vector<std::unique_ptr<Shape>>& get_shapes() const { return m_shapes; }
    const std::vector<Instance>& get_instances() const { return m_instances; }
    const TracedTree& get_tree() const { return m_tree; }

    /// The surface at `hit` on the ray from `origin` along `direction`.
    Surface get_surface(const SceneHit& hit, const Vec3& origin, const Vec3& direction,
                        double distance, float time) const;

  private:
    Box find_bbox() const;
    Box get_instance_box(unsigned instance, unsigned sample) const;
    double get_local_reach(const Shape& shape, const Box& origins) const;
    Transform get_placement(const Instance& instance, const Moment& moment) const;
    /// The inverse of an instance's placement: of its only one, or one that is computed into
    /// `moving`.
    const Transform& get_inverse_placement(unsigned instance, const Moment& moment,
                                           Transform& moving) const;
    Moment get_moment(float time) const;

    // Of the object, then of the tree's leaves.
    static void trace_any_hit(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                              GeometryRaytraceCtx& ctx);
    static void trace_nearest_hit(const GasObject* object, const CtxEval& eval, CtxShader& shader,
                                  GeometryRaytraceCtx& ctx);
    static void find_any_hit(void* user, const unsigned& instance, const CtxEval& eval,
                             CtxShader& shader, GeometryRaytraceCtx& ctx);
    static void find_nearest_hit(void* user, const unsigned& instance, const CtxEval& eval,
                                 CtxShader& shader, GeometryRaytraceCtx& ctx);
    void trace_instances(Query query, const CtxEval& eval, CtxShader& shader,
                         GeometryRaytraceCtx& ctx) const;
    void trace_tree(Query query, const CtxEval& eval, CtxShader& shader,
                    GeometryRaytraceCtx& ctx) const;
    bool enter_instance(unsigned instance, Query query, TraceState& state,
                        const GeometryRaytraceCtx& ctx) const;
    void enter_ray(unsigned instance, unsigned ray, Query query, TraceState& state,
                   unsigned local_index, const GeometryRaytraceCtx& ctx) const;
    void trace_shape(unsigned instance, Query query, const CtxEval& eval, CtxShader& shader,
                     const GeometryRaytraceCtx& ctx) const;
    void visit_instance(unsigned instance, Query query, const CtxEval& eval, CtxShader& shader,
                        const GeometryRaytraceCtx& ctx) const;
    void trace_stream(Query query, const CtxEval& eval, CtxShader& shader,
                      GeometryRaytraceCtx& ctx) const;
    void find_visits(Query query, const CtxEval& eval, CtxShader& shader,
                     GeometryRaytraceCtx& ctx) const;
    void trace_group(unsigned instance, const std::vector<unsigned>& rays, Query query,
                     const CtxEval& eval, CtxShader& shader, const GeometryRaytraceCtx& ctx) const;
    bool may_reach(unsigned ray, unsigned instance, Query query,
                   const GeometryRaytraceCtx& ctx) const;

    unsigned m_sample_count;
    std::vector<std::unique_ptr<Shape>> m_shapes;
    std::vector<Instance> m_instances;
    /// Per instance; the inverse of its only placement, unused where it moves.
    std::vector<Transform> m_inverse_placements;
    /// Per instance, padded: its box at all motion samples together.
    std::vector<Box> m_swept_boxes;
    TracedTree m_tree;
    /// Of the last build.
    std::optional<Box> m_bbox;
};

} // namespace gas_app
