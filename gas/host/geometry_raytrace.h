// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cassert>
#include <vector>

#include <gas/host/gmath_basic_ray.h>
#include <gas/host/gmath_frustum.h>
#include <gas/host/host_export.h>

inline namespace gas_abi1 {

class GeometryRaytraceData;

/// One ray of a batch: the data that does not change while it is traced.
struct GeometryRay {
    GMathBasicRay line;
    /// The ray's time, in the shutter's units.
    float time = 0.0f;
    /// 0..5: which of the six cached leaves it uses. Rays that are likely to end on the same item
    /// (shadow rays to one light) share a slot.
    int cache_slot = 0;
};

/// Between which distances of its line queries look at a ray.
struct GeometryDistances {
    double near_distance;
    double far_distance;
};

/// The distances as they are given. Where any of the arguments holds a NaN, which would drop no
/// box, the empty span from +infinity to -infinity: such a ray hits nothing.
GAS_HOST_EXPORT GeometryDistances geometry_get_distances(const GMathVec3<double>& origin,
                                                         const GMathVec3<double>& direction,
                                                         double near_distance, double far_distance);

/// The nearest (closest) hit of one ray.
class GeometryIntersectionPath {
  public:
    static constexpr unsigned no_item = 0xFFFFFFFFu;

    /// Distance to the nearest hit so far; the ray's far distance while there is none.
    double get_hit_distance() const { return m_hit_distance; }
    void set_hit_distance(double distance) { m_hit_distance = distance; }

    /// Item of the nearest hit, `no_item` while there is none.
    unsigned get_item() const { return m_item; }
    void set_item(unsigned item) { m_item = item; }

    void reset(double far_distance) {
        m_hit_distance = far_distance;
        m_item = no_item;
    }

  private:
    double m_hit_distance = 0.0;
    unsigned m_item = no_item;
};

/// The nearest hits of a batch, a path per ray.
class GAS_HOST_EXPORT GeometryIntersectionMap {
  public:
    GeometryIntersectionMap() = default;
    GeometryIntersectionMap(const GeometryIntersectionMap& other);
    GeometryIntersectionMap& operator=(const GeometryIntersectionMap& other);
    /// The other map has no paths any more.
    GeometryIntersectionMap(GeometryIntersectionMap&& other) noexcept;
    GeometryIntersectionMap& operator=(GeometryIntersectionMap&& other) noexcept;

    /// Resets `count` paths, each to its value of `distances` and no item. Allocates only for
    /// several paths, when there were fewer before.
    void init(const unsigned& count, const double* distances);

    GeometryIntersectionPath& get_path(const unsigned& ray) { return m_paths[ray]; }
    const GeometryIntersectionPath& get_path(const unsigned& ray) const { return m_paths[ray]; }
    unsigned get_count() const { return m_count; }

    /// Settings of the query's `CtxShader`, for the host's callbacks.
    unsigned intersection_flags = 0;
    float intersection_bias = 0.0f;

  private:
    GeometryIntersectionPath m_single_path;
    std::vector<GeometryIntersectionPath> m_path_array;
    /// Either of the two.
    GeometryIntersectionPath* m_paths = &m_single_path;
    unsigned m_count = 0;
};

/// What a callback sees of a ray batch: the rays first..last, inclusive, that it is called for.
/// It is a member of a GeometryRaytraceData and always refers to that one.
class GAS_HOST_EXPORT GeometryRaytraceCtx {
  public:
    GeometryRaytraceCtx(const GeometryRaytraceCtx&) = delete;
    GeometryRaytraceCtx& operator=(const GeometryRaytraceCtx&) = delete;

    GeometryRaytraceData& get_data() const { return *m_data; }

    /// The pointer that the batch was given for its query (GeometryRaytraceData::set_query_data).
    inline void* get_query_data() const;

    /// The range of rays to intersect, both ends included; empty when first > last.
    inline int get_first_ray() const;
    inline int get_last_ray() const;

    inline const GeometryRay& get_ray(const unsigned& ray) const;
    inline double get_tnear(const unsigned& ray) const;
    /// The far distance that bounds all-hits queries.
    inline double get_tfar(const unsigned& ray) const;
    /// Lowers the far distance of an all-hits query.
    inline void set_tfar(const unsigned& ray, double distance) const;

    /// Sets the ray's hit flag, which ends an all-hits query of the ray.
    inline void set_hit(const unsigned& ray) const;
    inline bool is_hit(const unsigned& ray) const;

    /// The ray's nearest hit; only while the batch has an intersection map.
    inline GeometryIntersectionPath& get_intersection_path(const unsigned& ray) const;

    /// When `distance` is below the ray's hit distance, stores it with `item` and sets the hit
    /// flag. Returns whether it was nearer; false in a batch without an intersection map.
    inline bool record_nearest_hit(const unsigned& ray, double distance, unsigned item) const;

  private:
    friend class GeometryRaytraceData;
    explicit GeometryRaytraceCtx(GeometryRaytraceData& data) : m_data(&data) {}

    GeometryRaytraceData* m_data;
};

/// A ray batch as a view over per-ray arrays that it does not own (GeometryRayBatch owns them). A
/// copy shares the arrays, the intersection map, the frustum, the ray count and the query's
/// pointer: hits written through it reach the same rays. Its range and its context are its own.
class GAS_HOST_EXPORT GeometryRaytraceData {
  public:
    /// An empty batch.
    GeometryRaytraceData();
    GeometryRaytraceData(const GeometryRaytraceData& other);
    GeometryRaytraceData& operator=(const GeometryRaytraceData& other);

    /// The arrays of a batch, an element per ray.
    struct Arrays {
        const GeometryRay* rays = nullptr;
        const double* near_distances = nullptr;
        double* far_distances = nullptr;
        unsigned char* hit_flags = nullptr;
    };

    /// Views `count` rays in `arrays` and sets the range to all of them. `map` is for nearest-hit
    /// queries and may be null for a batch without them.
    void set_rays(const Arrays& arrays, unsigned count, GeometryIntersectionMap* map);

    /// Rays first..last, inclusive; both below the ray count, or first > last for none.
    void set_range(int first, int last) {
        m_first_ray = first;
        m_last_ray = last;
    }

    /// A region that holds every ray of the batch between its near and far distance; null: unknown.
    void set_frustum(const GMathFrustum* frustum) { m_frustum = frustum; }

    /// A pointer of the caller's for the query's callbacks, beside the tree's user pointer: to what
    /// belongs to these rays alone, such as their hit records. Never followed; null at first. It
    /// stays, for later queries too, until it is set again.
    void set_query_data(void* data) { m_query_data = data; }
    void* get_query_data() const { return m_query_data; }

    int get_first_ray() const { return m_first_ray; }
    int get_last_ray() const { return m_last_ray; }
    unsigned get_ray_count() const { return m_ray_count; }
    const Arrays& get_arrays() const { return m_arrays; }
    const GMathFrustum* get_frustum() const { return m_frustum; }

    /// The map in use; null while an all-hits query of a GasObject runs.
    GeometryIntersectionMap* get_intersection_map() const { return m_intersection_map; }
    void use_intersection_map(bool use) { m_intersection_map = use ? m_nearest_map : nullptr; }

    GeometryRaytraceCtx& get_ctx() { return m_ctx; }

  private:
    GeometryRaytraceCtx m_ctx;
    int m_first_ray = 0;
    int m_last_ray = -1;
    unsigned m_ray_count = 0;
    Arrays m_arrays;
    GeometryIntersectionMap* m_nearest_map = nullptr;
    GeometryIntersectionMap* m_intersection_map = nullptr;
    const GMathFrustum* m_frustum = nullptr;
    void* m_query_data = nullptr;
};

inline void* GeometryRaytraceCtx::get_query_data() const { return m_data->get_query_data(); }

inline int GeometryRaytraceCtx::get_first_ray() const { return m_data->get_first_ray(); }

inline int GeometryRaytraceCtx::get_last_ray() const { return m_data->get_last_ray(); }

inline const GeometryRay& GeometryRaytraceCtx::get_ray(const unsigned& ray) const {
    return m_data->get_arrays().rays[ray];
}

inline double GeometryRaytraceCtx::get_tnear(const unsigned& ray) const {
    return m_data->get_arrays().near_distances[ray];
}

inline double GeometryRaytraceCtx::get_tfar(const unsigned& ray) const {
    return m_data->get_arrays().far_distances[ray];
}

inline void GeometryRaytraceCtx::set_tfar(const unsigned& ray, double distance) const {
    m_data->get_arrays().far_distances[ray] = distance;
}

inline void GeometryRaytraceCtx::set_hit(const unsigned& ray) const {
    m_data->get_arrays().hit_flags[ray] = 1;
}

inline bool GeometryRaytraceCtx::is_hit(const unsigned& ray) const {
    return m_data->get_arrays().hit_flags[ray] != 0;
}

inline GeometryIntersectionPath&
GeometryRaytraceCtx::get_intersection_path(const unsigned& ray) const {
    assert(m_data->get_intersection_map() && "the batch has no intersection map");
    return m_data->get_intersection_map()->get_path(ray);
}

inline bool GeometryRaytraceCtx::record_nearest_hit(const unsigned& ray, double distance,
                                                    unsigned item) const {
    if (!m_data->get_intersection_map())
        return false;
    GeometryIntersectionPath& path = get_intersection_path(ray);
    if (!(distance < path.get_hit_distance()))
        return false;
    path.set_hit_distance(distance);
    path.set_item(item);
    set_hit(ray);
    return true;
}

} // namespace gas_abi1
