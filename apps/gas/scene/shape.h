// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include <apps/gas/math/content_hash.h>
#include <apps/gas/trees/traced_tree.h>

namespace gas_app {

/// A surface at a hit, in the shape's space; normals have length 1 and face the ray.
struct ShapeSurface {
    /// The normal of the geometry, and the one for shading.
    Vec3 geometric_normal;
    Vec3 shading_normal;
    /// The start of rays to the light: the hit, or a point above it on the smooth surface that the
    /// facet approximates.
    Vec3 light_point;
};

/// Items with a tree over them, in a space of their own; instances place it in the scene. Built
/// once, then read by all threads.
class Shape {
  public:
    explicit Shape(std::string name) : m_name(std::move(name)) {}
    Shape(const Shape&) = delete;
    Shape& operator=(const Shape&) = delete;
    virtual ~Shape() = default;

    virtual unsigned get_item_count() const = 0;
    /// Motion samples of its items; 1: they do not move.
    virtual unsigned get_sample_count() const = 0;
    /// The exact box of an item at a sample; between samples items move in straight lines.
    virtual Box get_item_box(unsigned item, unsigned sample) const = 0;
    /// Of a ray along `direction` that hit `point`.
    virtual ShapeSurface get_surface(const SceneHit& hit, const Moment& moment, const Vec3& point,
                                     const Vec3& direction) const = 0;
    /// The item's own colour, multiplied with that of the instance's material.
    virtual Vec3 get_item_color(unsigned item) const = 0;

    /// Adds all that tells it from other shapes, but for name and tree.
    virtual void add_content(ContentHash& hash) const = 0;

    const std::string& get_name() const { return m_name; }
    /// The box of all items at a sample. Exact, unless the shape has too many to visit each.
    virtual Box get_exact_box(unsigned sample) const;

    /// The same box, which is computed once until the items move.
    const Box& find_exact_box(unsigned sample);

    /// Builds the tree for rays whose origins lie within `reach` of this space's origin, along each
    /// axis.
    void build(double reach, const TreeSettings& settings, AppProgressBar& progress_bar,
               float progress_share);
    const TracedTree& get_tree() const { return m_tree; }

  protected:
    /// To be called when items have moved.
    void forget_boxes() { m_exact_boxes.clear(); }

    TracedTree m_tree;

  private:
    std::string m_name;
    /// Per sample; empty: not known.
    std::vector<Box> m_exact_boxes;
    bool m_is_built = false;
};

} // namespace gas_app
