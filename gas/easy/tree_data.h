// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gas/compressed/gas_compressed_tree.h>
#include <gas/diagnostics/gas_validate.h>
#include <gas/easy/calls.h>
#include <gas/easy/context_data.h>
#include <gas/easy/options.h>
#include <gas/easy/space.h>
#include <gas/easy/tree.h>
#include <gas/grid/gas_grid_tree.h>
#include <gas/tree/gas_tree.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

using HostBoxes = std::vector<GMathBbox3<float>>;

/// Gives a grid's boxes to its cells, from where it stands: it is not moved.
struct GridBoxes {
    BoxFunction still;
    BoxFunction moving;
    /// Those of the boxes of the build and of motion samples, which may reach farther.
    Space space;
    Space motion_space;
    /// Has the bars of the build and the cells.
    AppBase app{nullptr};
};

/// How a file becomes a tree.
enum class FileWay { load, map, map_trusted };

/// What a Tree is: one of the library's trees, and how the program's space relates to its own.
class TreeData {
  public:
    TreeData(const Box* boxes, std::size_t count, const Options& options);
    TreeData(std::size_t count, BoxFunction boxes, const Options& options);
    /// Of a file.
    TreeData(const std::string& path, FileWay way);

    void save(const std::string& path) const;

    std::uint32_t get_count() const { return m_count; }
    Kind get_kind() const { return static_cast<Kind>(m_tree.index()); }
    unsigned get_sample_count() const { return m_sample_count; }
    std::size_t get_depth() const;
    std::size_t get_memory_size() const;
    Box get_bounds() const;
    /// Around the boxes that rays see, at all times.
    const Box& get_seen_bounds() const { return m_seen_bounds; }
    const Space& get_space() const { return m_space; }

    std::vector<std::string> validate() const {
        return std::visit([](const auto& tree) { return gas_validate(tree); }, m_tree);
    }

    void refit(const Box* boxes, std::size_t count);
    void set_motion(const std::vector<std::vector<Box>>& samples);
    void set_motion(std::size_t count);

    /// The plain tree; throws Error with the sentence where it is another.
    const GasTree& expect_plain(const char* sentence) const;
    const GasTree* find_plain() const { return std::get_if<GasTree>(&m_tree); }
    const GasCompressedTree* find_compressed() const {
        return std::get_if<GasCompressedTree>(&m_tree);
    }

    /// Single rays. `asks_cache`: whether the item that stopped the ray before comes first.
    Hit find_closest(Context* context, const Ray& ray, const DistanceCall& call) const;
    bool find_any(Context* context, const Ray& ray, const StopCall& call, bool asks_cache) const;

    /// The queries of a context's rays, static or in motion, one by one or as a stream.
    void trace_closest(ContextData& context, GeometryRaytraceCtx& rays, bool as_stream) const;
    void trace_all(ContextData& context, GeometryRaytraceCtx& rays, bool as_stream) const;

    /// How far along its line a ray starts in the tree; false: it hits nothing.
    bool find_start(const Ray& ray, double& start) const {
        start = 0.0;
        return is_within(ray.origin, m_ray_reach) ||
               find_start_from_afar(ray, m_seen_bounds, m_ray_reach, start);
    }
    GMathVec3<double> get_origin(const Ray& ray, double start) const {
        const double scale = m_space.scale;
        return {(ray.origin.x + start * ray.direction.x) * scale,
                (ray.origin.y + start * ray.direction.y) * scale,
                (ray.origin.z + start * ray.direction.z) * scale};
    }
    GMathVec3<double> get_direction(const Ray& ray) const {
        const double scale = m_space.scale;
        return {ray.direction.x * scale, ray.direction.y * scale, ray.direction.z * scale};
    }

  private:
    /// Calls `trace` with the tree, and for a plain one with the shortcut, which is not taken.
    template <typename Trace> void visit_tree(const Trace& trace) const {
        if (const GasTree* const plain = find_plain())
            trace(*plain, false);
        else if (const GasCompressedTree* const compressed = find_compressed())
            trace(*compressed);
        else
            trace(std::get<GasGridTree>(m_tree));
    }
    void start(std::size_t count);
    bool is_scaled() const { return get_kind() != Kind::plain; }
    void see(const Extent& extent, double reach);
    Space make_motion_space(const Extent& extent) const;
    void build(const HostBoxes& boxes);
    void set_leaf_calls();
    void create(const HostBoxes& boxes, AppProgressBar* bar, SysThreadTaskManager& manager,
                unsigned threads);
    void drop_motion();
    void move_grid(BoxFunction moving, const Extent& extent, unsigned sample_count);

    Options m_options;
    /// Of a grid, which it outlives.
    std::unique_ptr<GridBoxes> m_grid_boxes;
    /// In the order of Kind.
    std::variant<GasTree, GasCompressedTree, GasGridTree> m_tree;
    bool m_asks_for_boxes = false;
    std::uint32_t m_count = 0;
    unsigned m_sample_count = 0;
    Extent m_extent;
    Space m_space;
    Box m_seen_bounds;
    double m_ray_reach = 0.0;
};

} // namespace detail
} // namespace gas_abi1
} // namespace gas
