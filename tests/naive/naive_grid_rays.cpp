#include <tests/naive/naive_grid.h>

namespace naive {

namespace {

bool is_motion(Query query) { return query == Query::hit_motion || query == Query::nearest_motion; }

/// What a query of a tree with so many samples does.
Query effective_query(Query query, std::size_t sample_count) {
    if (sample_count >= 2 || !is_motion(query))
        return query;
    return query == Query::hit_motion ? Query::hit_static : Query::nearest_static;
}

struct GridWalk {
    GridTree& grid;
    Frames& frames;
    const Motion& motion;
    PacketCounts counts;

    void trace_top(Query query, Ray& ray, const GridLeafCallback& callback) {
        // A single cell is reached by every ray.
        if (grid.cells.size() == 1) {
            trace_cell(query, 0, ray, callback);
            return;
        }
        if (grid.cells.empty())
            return;
        const Query effective = effective_query(query, grid.top.samples.size());
        walk(grid.top, effective, ray,
             [&](unsigned cell, Ray& current) { trace_cell(effective, cell, current, callback); });
    }

    void trace_cell(Query query, unsigned cell, Ray& ray, const GridLeafCallback& callback) {
        const CompressedTree& tree = reach(query, cell);
        if (tree.leaf_count == 1) {
            callback(query, tree.items[0], ray);
            return;
        }
        const Query effective = effective_query(query, tree.samples.size());
        walk(tree, effective, ray,
             [&](unsigned item, Ray& current) { callback(effective, item, current); });
    }

    void trace_top(Query query, Batch& batch, const GridRangeCallback& callback) {
        if (batch.first == batch.last) {
            trace_alone(batch, batch.first, callback, [&](Ray& ray, const GridLeafCallback& leaf) {
                trace_top(query, ray, leaf);
            });
            return;
        }
        if (grid.cells.size() == 1) {
            trace_cell(query, 0, batch, callback);
            return;
        }
        if (grid.cells.empty())
            return;
        FrameLease<PacketBuffer> packets(frames.packets, frames.packets_in_use);
        const Query effective = effective_query(query, grid.top.samples.size());
        if (effective == Query::nearest_static) {
            walk_together(grid.top, packets.get(), batch, [&](unsigned cell, int first, int last) {
                const int whole[2] = {batch.first, batch.last};
                batch.first = first;
                batch.last = last;
                trace_cell(effective, cell, batch, callback);
                batch.first = whole[0];
                batch.last = whole[1];
            });
            return;
        }
        for (int i = batch.first; i <= batch.last; ++i) {
            trace_alone(batch, i, callback, [&](Ray& ray, const GridLeafCallback& leaf) {
                trace_top(query, ray, leaf);
            });
        }
    }

    void trace_cell(Query query, unsigned cell, Batch& batch, const GridRangeCallback& callback) {
        const CompressedTree& tree = reach(query, cell);
        if (tree.leaf_count == 1) {
            callback(query, tree.items[0], batch.first, batch.last);
            return;
        }
        const auto trace_one = [&](Ray& ray, const GridLeafCallback& leaf) {
            trace_cell(query, cell, ray, leaf);
        };
        if (batch.first == batch.last) {
            trace_alone(batch, batch.first, callback, trace_one);
            return;
        }
        FrameLease<PacketBuffer> packets(frames.packets, frames.packets_in_use);
        const Query effective = effective_query(query, tree.samples.size());
        if (effective == Query::nearest_static) {
            walk_together(tree, packets.get(), batch, [&](unsigned item, int first, int last) {
                callback(effective, item, first, last);
            });
            return;
        }
        for (int i = batch.first; i <= batch.last; ++i)
            trace_alone(batch, i, callback, trace_one);
    }

    /// The cell's tree, built if need be, and for a motion query brought up to date.
    const CompressedTree& reach(Query query, unsigned cell) {
        const SubTree& sub_tree = get_sub_tree(grid, cell);
        if (is_motion(query))
            update_sub_tree(grid, cell, motion);
        return sub_tree.tree;
    }

    template <typename Trace>
    void trace_alone(Batch& batch, int index, const GridRangeCallback& callback,
                     const Trace& trace) {
        trace(batch.rays[static_cast<std::size_t>(index)],
              [&](Query query, unsigned item, Ray&) { callback(query, item, index, index); });
    }

    template <typename AnyTree>
    void walk(const AnyTree& tree, Query query, Ray& ray, const LeafCallback& callback) {
        FrameLease<Cache> cache(frames.caches, frames.caches_in_use);
        const TimeSpan span =
            time_span(ray.time, motion.shutter_open, motion.shutter_close, motion.sample_count);
        switch (query) {
        case Query::hit_static:
            ray_hit_static(tree, cache.get(), ray, callback);
            break;
        case Query::hit_motion:
            ray_hit_motion(tree, cache.get(), ray, span, callback);
            break;
        case Query::nearest_static:
            ray_hit_nearest_static(tree, cache.get(), ray, callback);
            break;
        case Query::nearest_motion:
            ray_hit_nearest_motion(tree, cache.get(), ray, span, callback);
            break;
        }
    }

    template <typename AnyTree>
    void walk_together(const AnyTree& tree, PacketBuffer& packets, Batch& batch,
                       const RangeCallback& callback) {
        // Takes a cache, though it reads none.
        const FrameLease<Cache> cache(frames.caches, frames.caches_in_use);
        const PacketCounts own = ray_hit_nearest_batch(tree, packets, batch, callback);
        counts.nodes += own.nodes;
        counts.culled_by_frustum += own.culled_by_frustum;
    }
};

} // namespace

void trace_ray(GridTree& grid, Query query, Frames& frames, Ray& ray, const Motion& motion,
               const GridLeafCallback& callback) {
    GridWalk walk = {grid, frames, motion, {}};
    walk.trace_top(query, ray, callback);
}

PacketCounts trace_batch(GridTree& grid, Query query, Frames& frames, Batch& batch,
                         const Motion& motion, const GridRangeCallback& callback) {
    GridWalk walk = {grid, frames, motion, {}};
    walk.trace_top(query, batch, callback);
    return walk.counts;
}

} // namespace naive
