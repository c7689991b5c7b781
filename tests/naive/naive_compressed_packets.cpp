#include <tests/naive/naive_compressed.h>

namespace naive {

namespace {

struct PacketWalk {
    const CompressedTree& tree;
    BatchRays& rays;
    const RangeCallback& callback;
    PacketCounts counts;

    void visit(Reference place, const Box& box, const RayRange& all) {
        ++counts.nodes;
        const RayRange range = rays.narrow(box, all);
        counts.culled_by_frustum += range.culled;
        if (range.is_empty()) {
            return;
        }
        if (place.leaf) {
            callback(tree.items.empty() ? place.index : tree.items[place.index], range.first,
                     range.last);
            rays.read_distances(range);
            return;
        }
        const Record& record = tree.nodes[place.index];
        const BoxPair boxes = decode_pair(pair_bytes(tree, place.index), box);
        if (rays.starts_with_second(range, order_code(record))) {
            visit(second_child(record), boxes.second, range);
            visit(first_child(record), boxes.first, range);
        } else {
            visit(first_child(record), boxes.first, range);
            visit(second_child(record), boxes.second, range);
        }
    }
};

} // namespace

PacketCounts ray_hit_nearest_batch(const CompressedTree& tree, PacketBuffer& buffer, Batch& batch,
                                   const RangeCallback& callback) {
    if (tree.leaf_count == 1) {
        callback(tree.items.empty() ? 0 : tree.items[0], batch.first, batch.last);
    }
    if (tree.leaf_count <= 1) {
        return {};
    }
    BatchRays rays(buffer, batch, tree.depth);
    PacketWalk walk = {tree, rays, callback, {}};
    walk.visit({false, 0}, tree.root_box, {batch.first, batch.last});
    return walk.counts;
}

} // namespace naive
