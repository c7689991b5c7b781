// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <gas/diagnostics/gas_validate.h>
#include <gas/object/gas_shader_frames.h>

#include <tests/memory/failed_allocations.h>
#include <tests/memory/tree_bytes.h>
#include <tests/support/box_conversion.h>
#include <tests/support/grid_items.h>
#include <tests/support/tree_build.h>

// All that can be done with grids where memory runs out.

namespace {

using support::Leaves;
using support::Operation;
using support::RayQuery;

constexpr unsigned cluster_count = 3;
constexpr unsigned item_count = 3 * 20;

const CoreArray<GMathBbox3<float>>& get_boxes() {
    static const CoreArray<GMathBbox3<float>> boxes =
        support::to_boxes(support::make_clusters(cluster_count, item_count / cluster_count));
    return boxes;
}

// Box callbacks that allocate nothing.
void give_boxes_at(void*, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>* bboxes) {
    for (unsigned i = 0; i < count; ++i) {
        bboxes[i] = get_boxes()[items[i]];
        bboxes[i].max.y += static_cast<float>(time);
    }
}
void give_boxes(void* user, const unsigned& count, const unsigned* items,
                GMathBbox3<float>* bboxes) {
    give_boxes_at(user, 0.0, count, items, bboxes);
}
void give_union_at(void*, const double& time, const unsigned& count, const unsigned* items,
                   GMathBbox3<float>& bbox) {
    bbox = get_boxes()[items[0]];
    for (unsigned i = 1; i < count; ++i) {
        const GMathBbox3<float>& box = get_boxes()[items[i]];
        for (unsigned axis = 0; axis < 3; ++axis) {
            bbox.min[axis] = box.min[axis] < bbox.min[axis] ? box.min[axis] : bbox.min[axis];
            bbox.max[axis] = box.max[axis] > bbox.max[axis] ? box.max[axis] : bbox.max[axis];
        }
    }
    bbox.max.y += static_cast<float>(time);
}

/// A grid of which one cell is built, a copy, and rays through all cells.
struct GridState {
    static constexpr unsigned ray_count = cluster_count;

    GridState() : batch(ray_count) {
        for (GasGridTree* const each : {&grid, &other}) {
            each->set_leaf_bbox_callbacks(give_boxes, give_boxes_at, nullptr, give_union_at,
                                          nullptr);
            each->set_leaf_raytrace_callbacks(see, see, this);
        }
        grid.create(get_boxes(), support::get_cluster_target(cluster_count), nullptr, nullptr);
        grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        shader.set_motion_blur(CtxMotionBlur(0.0f, 1.0f, 2));
        trace(RayQuery::hit_static, 0, false);
        calls = 0;
        done = 0;
        with_cells = true;
    }
    GridState(const GridState&) = delete;
    GridState& operator=(const GridState&) = delete;

    static void see(void* user, const unsigned& item, const CtxEval&, CtxShader&,
                    GeometryRaytraceCtx& ctx) {
        GridState& self = *static_cast<GridState*>(user);
        self.calls = self.calls * 31 + item * 7 + static_cast<unsigned>(ctx.get_first_ray());
    }

    void trace(RayQuery query, int last, bool is_stream) {
        calls = 0;
        for (unsigned ray = 0; ray < ray_count; ++ray)
            support::aim_at_cluster(batch, ray, ray, 0.5f);
        batch.reset_hits();
        batch.get_data().set_range(0, last);
        if (is_stream)
            support::trace_stream(grid, query, shader, batch.get_ctx());
        else
            support::trace(grid, query, shader, batch.get_ctx());
        done = calls;
    }

    std::string describe() const { return describe(grid); }
    std::string describe_empty() const { return describe(GasGridTree()); }
    std::vector<std::string> find_flaws() const {
        std::vector<std::string> flaws = gas_validate(grid);
        for (const std::string& flaw : gas_validate(other))
            flaws.push_back(flaw);
        return flaws;
    }

    GasGridTree grid;
    GasGridTree other;
    CtxShader shader;
    GasShaderFrames frames{shader};
    GeometryRayBatch batch;
    std::uint64_t calls = 0;
    std::uint64_t done = 0;
    bool with_cells = false;

  private:
    std::string describe(const GasGridTree& described) const {
        support::Bytes bytes;
        support::add_tree(described, bytes, with_cells);
        support::add_tree(other, bytes, with_cells);
        bytes.add(done);
        return bytes.get();
    }
};

/// Cells that a query has built before memory ran out stay built.
struct QueriedGridState : GridState {
    std::string describe() const {
        support::Bytes bytes;
        support::add_tree(grid, bytes, false);
        bytes.add(done);
        return bytes.get();
    }
};

} // namespace

TEST(MemoryGrids, BuildsLeaveAnEmptyGrid) {
    std::vector<Operation<GridState>> all;
    SysThreadTaskManager manager(nullptr);
    static const std::vector<unsigned> items(item_count, 7);
    for (const GasBuildMethod method : support::all_build_methods) {
        all.push_back({"method " + std::to_string(static_cast<unsigned>(method)),
                       [method](GridState& state) {
                           state.grid.create(get_boxes(), 8u, items.data(), method);
                       },
                       Leaves::empty});
    }
    all.push_back({"boxes that are asked for",
                   [](GridState& state) { state.grid.create(item_count, 8u, nullptr, nullptr); },
                   Leaves::empty});
    all.push_back({"on threads",
                   [&manager](GridState& state) {
                       state.grid.create(item_count, 8u, nullptr, GasBuildMethod::sah, manager, 3u);
                   },
                   Leaves::empty});
    support::QuietProgress progress(3u);
    all.push_back({"with a bar",
                   [&progress](GridState& state) {
                       state.grid.create(get_boxes(), 8u, nullptr, &progress.bar);
                   },
                   Leaves::empty});
    support::fail_each_allocation(all);
}

TEST(MemoryGrids, ChangesAreMadeOrNot) {
    support::fail_each_allocation<GridState>(
        {{"copy", [](GridState& state) { const GasGridTree copy(state.grid); }},
         {"assign to an empty one", [](GridState& state) { state.other = state.grid; }},
         {"move", [](GridState& state) { state.other = std::move(state.grid); }},
         {"motion",
          [](GridState& state) { state.grid.update_motion_blur(CtxMotionBlur(0.0f, 1.0f, 4)); }},
         {"no motion", [](GridState& state) { state.grid.update_motion_blur(CtxMotionBlur()); }},
         {"size", [](GridState& state) { static_cast<void>(state.grid.get_memory_size()); }},
         {"validate", [](GridState& state) { gas_validate(state.grid); }},
         {"clear", [](GridState& state) { state.grid.clear(); }}});
}

TEST(MemoryGrids, QueriesMayBeRepeated) {
    std::vector<Operation<QueriedGridState>> all;
    for (const RayQuery query : support::all_ray_queries) {
        const std::string name = support::name(query);
        for (const bool is_stream : {false, true}) {
            all.push_back({name + (is_stream ? ", a stream" : ", a batch"),
                           [query, is_stream](QueriedGridState& state) {
                               state.trace(query, GridState::ray_count - 1, is_stream);
                           }});
        }
        all.push_back({name + ", one ray",
                       [query](QueriedGridState& state) { state.trace(query, 0, false); }});
    }
    support::fail_each_allocation(all);
}
