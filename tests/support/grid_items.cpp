// SPDX-License-Identifier: Apache-2.0
#include <tests/support/grid_items.h>

#include <cstring>
#include <string>

#include <gas/traversal/query/gas_traversal_access.h>
#include <gas/tree/gas_tree_traversal.h>

#include <tests/support/box_conversion.h>
#include <tests/support/seeded_random.h>

namespace support {

namespace {

constexpr double cluster_distance = 100.0;

} // namespace

GridItems::GridItems(std::vector<naive::Box> boxes, std::vector<unsigned> values)
    : speeds(boxes.size(), 0.0f), m_boxes(std::move(boxes)), m_values(std::move(values)) {
    for (unsigned position = 0; position < m_values.size(); ++position)
        m_positions[m_values[position]] = position;
}

void GridItems::attach(GasGridTree& grid) {
    grid.set_leaf_bbox_callbacks(give_boxes, give_boxes_at, give_union, give_union_at, this);
}

void GridItems::build(GasGridTree& grid, unsigned target, AppProgressBar* progress_bar) {
    attach(grid);
    grid.create(to_boxes(m_boxes), target, get_values(), progress_bar);
}

naive::Box GridItems::get_box(unsigned position, double time) const {
    naive::Box box = m_boxes[position];
    const float way = speeds[position] * static_cast<float>(time);
    box.min[0] += way;
    box.max[0] += way;
    return box;
}

std::vector<naive::Box> GridItems::get_boxes_of(const std::vector<unsigned>& values,
                                                double time) const {
    std::vector<naive::Box> boxes;
    for (const unsigned value : values)
        boxes.push_back(get_box_of(value, time));
    return boxes;
}

naive::Box GridItems::get_union_of(const std::vector<unsigned>& values, double time) const {
    naive::Box box = get_box_of(values[0], time);
    for (const unsigned value : values)
        box = naive::unite(box, get_box_of(value, time));
    return box;
}

std::vector<BoxRequest> GridItems::take_requests() {
    const std::lock_guard<std::mutex> guard(m_mutex);
    return std::exchange(m_requests, {});
}

void GridItems::record(BoxRequest request) {
    if (react)
        react(request);
    const std::lock_guard<std::mutex> guard(m_mutex);
    m_requests.push_back(std::move(request));
}

void GridItems::give_boxes(void* user, const unsigned& count, const unsigned* items,
                           GMathBbox3<float>* bboxes) {
    GridItems& self = *static_cast<GridItems*>(user);
    self.record({BoxCallback::leaf_bboxes, 0.0, {items, items + count}});
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = to_box(self.get_box_of(items[i]));
}

void GridItems::give_boxes_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>* bboxes) {
    GridItems& self = *static_cast<GridItems*>(user);
    self.record({BoxCallback::leaf_bboxes_at, time, {items, items + count}});
    for (unsigned i = 0; i < count; ++i)
        bboxes[i] = to_box(self.get_box_of(items[i], time));
}

void GridItems::give_union(void* user, const unsigned& count, const unsigned* items,
                           GMathBbox3<float>& bbox) {
    GridItems& self = *static_cast<GridItems*>(user);
    self.record({BoxCallback::leaves_bbox, 0.0, {items, items + count}});
    bbox = to_box(self.get_union_of({items, items + count}));
}

void GridItems::give_union_at(void* user, const double& time, const unsigned& count,
                              const unsigned* items, GMathBbox3<float>& bbox) {
    GridItems& self = *static_cast<GridItems*>(user);
    self.record({BoxCallback::leaves_bbox_at, time, {items, items + count}});
    bbox = to_box(self.get_union_of({items, items + count}, time));
}

void trace(const GasGridTree& grid, RayQuery query, CtxShader& shader, GeometryRaytraceCtx& rays,
           const CtxEval& eval) {
    trace_query(grid, query, shader, rays, eval);
}

std::vector<unsigned> get_cell_items(const GasGridTree& grid, unsigned cell) {
    const unsigned* const items = grid.get_cell_items(cell);
    return {items, items + grid.get_cell_item_count(cell)};
}

std::vector<std::vector<unsigned>> get_cells(const GasGridTree& grid) {
    std::vector<std::vector<unsigned>> cells;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell)
        cells.push_back(get_cell_items(grid, cell));
    return cells;
}

std::vector<unsigned> get_built_cells(const GasGridTree& grid) {
    std::vector<unsigned> cells;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        if (grid.find_sub_tree(cell))
            cells.push_back(cell);
    }
    return cells;
}

unsigned find_cell(const GasGridTree& grid, unsigned value) {
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell) {
        for (const unsigned item : get_cell_items(grid, cell)) {
            if (item == value)
                return cell;
        }
    }
    return grid.get_cell_count();
}

void reach_all_cells(const GasGridTree& grid, const CtxMotionBlur& motion) {
    const CtxEval eval;
    CtxShader shader;
    shader.set_motion_blur(motion);
    GeometryRaytraceData no_rays;
    for (unsigned cell = 0; cell < grid.get_cell_count(); ++cell)
        GasTraversalAccess::leaf_ray_hit_motion(grid.get_top_tree(), cell, eval, shader,
                                                no_rays.get_ctx());
}

std::string find_difference(const GasCompressedTree& tree, const GasCompressedTree& expected) {
    const unsigned node_count = expected.get_node_count();
    if (tree.get_leaf_count() != expected.get_leaf_count() || tree.get_node_count() != node_count)
        return "counts";
    if (tree.get_depth() != expected.get_depth())
        return "depth";
    if (tree.get_bbox() != expected.get_bbox())
        return "root box";
    // Of a lone leaf's node nothing but its place is ever used.
    if (expected.get_leaf_count() > 1 && std::memcmp(tree.get_nodes(), expected.get_nodes(),
                                                     node_count * sizeof(GasCompressedNode)) != 0)
        return "nodes";
    if (tree.get_motion_blur_sample_count() != expected.get_motion_blur_sample_count())
        return "sample count";
    for (unsigned sample = 0; sample < expected.get_motion_blur_sample_count(); ++sample) {
        const unsigned char* const records = tree.get_motion_blur_records(sample);
        const unsigned char* const expected_records = expected.get_motion_blur_records(sample);
        const std::string name = "sample " + std::to_string(sample);
        if (!records != !expected_records)
            return name + ": filled or not";
        if (!records)
            continue;
        if (tree.get_blurred_bbox(sample) != expected.get_blurred_bbox(sample))
            return name + ": root box";
        if (expected.get_leaf_count() > 1 &&
            std::memcmp(records, expected_records, node_count * 7) != 0)
            return name + ": records";
    }
    return {};
}

std::vector<naive::Box> make_clusters(unsigned cluster_count, unsigned item_count) {
    SeededRandom random(cluster_count * 1000 + item_count);
    std::vector<naive::Box> boxes;
    for (unsigned cluster = 0; cluster < cluster_count; ++cluster) {
        for (unsigned item = 0; item < item_count; ++item) {
            naive::Box box;
            for (unsigned axis = 0; axis < 3; ++axis) {
                box.min[axis] = random.between(0.0f, 8.0f);
                box.max[axis] = box.min[axis] + random.between(0.25f, 1.0f);
            }
            // The first three mark the cluster's corners and its middle.
            if (item < 3) {
                const float low = item == 0 ? 0.0f : item == 1 ? 8.0f : 4.0f;
                box = {{low, low, low}, {low + 1.0f, low + 1.0f, low + 1.0f}};
            }
            const float start = static_cast<float>(cluster_distance) * static_cast<float>(cluster);
            box.min[0] += start;
            box.max[0] += start;
            boxes.push_back(box);
        }
    }
    return boxes;
}

unsigned get_cluster_target(unsigned cluster_count) { return cluster_count < 5 ? 1 : 7; }

void aim_at_cluster(GeometryRayBatch& batch, unsigned ray, unsigned cluster, float time) {
    batch.set_ray(ray, {cluster_distance * cluster + 4.5, 4.5, -20.0}, {0.0, 0.0, 1.0}, 0.0, 100.0,
                  time);
}

} // namespace support
