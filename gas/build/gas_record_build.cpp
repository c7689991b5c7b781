#include <gas/build/gas_record_build.h>

#include <cstring>

#include <gas/build/gas_node_union.h>
#include <gas/build/gas_record_divider.h>

inline namespace gas_abi1 {

namespace {

void count_leaves(GasRecordBuild& build, unsigned count) {
    for (unsigned i = 0; i < count; ++i)
        build.progress_bar->increment_if_step(++build.built_leaf_count);
}

} // namespace

GasBoxFacts gas_make_records(const GMathBbox3<float>* bboxes, unsigned first, unsigned count,
                             GasRecord* records, GasLaneBounds& bounds) {
    SimdF numbers = SimdF(0.0f) <= SimdF(0.0f);
    SimdF ordered = numbers;
    for (unsigned item = first; item < first + count; ++item) {
        SimdF min;
        SimdF max;
        gas_load_box(bboxes[item], min, max);
        const SimdF center = (min + max) * SimdF(0.5f);
        numbers = numbers & (center <= center);
        ordered = ordered & (min <= max);
        bounds.add(center);
        gas_store_node(records[item], min, max, item, GasTreeNode::leaf_flag);
    }
    return {numbers.get_mask() == 15, (numbers & ordered).get_mask() == 15};
}

void gas_open_node(GasRecordBuild& build, const GasBuildPart& part, const GasDivision& division,
                   GasBuildPart& first, GasBuildPart& second) {
    const unsigned left_count = division.left_count;
    const unsigned depth = part.depth + 1;
    if (build.depth < depth)
        build.depth = depth;
    GasTreeNode& node = build.nodes[part.node];
    node.index = part.below;
    std::memcpy(&node.bbox_min.x, &build.last_open, sizeof build.last_open);
    build.last_open = part.node;

    // One of the two may be `part`.
    const GasBuildPart whole = part;
    first = {whole.offset, left_count, whole.below, whole.below + 2, depth, division.left};
    second = {whole.offset + left_count,
              whole.count - left_count,
              whole.below + 1,
              whole.below + 2 * left_count,
              depth,
              division.right};
}

void gas_build_part(GasRecordBuild& build, const GasBuildPart& part) {
    const unsigned small_count = gas_get_small_count(build.method);
    // The smaller child goes first, so that what waits at least halves from one to the next.
    GasBuildPart waiting[32];
    unsigned parents[32];
    unsigned waiting_count = 0;
    GasBuildPart now = part;
    for (;;) {
        if (now.count <= small_count) {
            gas_build_small(build, now);
            if (build.progress_bar)
                count_leaves(build, now.count);
            if (waiting_count == 0)
                break;
            now = waiting[--waiting_count];
            // All below its sibling has been made, not long ago.
            gas_close_nodes(build, parents[waiting_count]);
            continue;
        }
        parents[waiting_count] = now.node;
        GasBuildPart& later = waiting[waiting_count++];
        GasBuildPart first;
        gas_open_node(build, now, gas_divide_records(GasSerialPasses(), build, now), first, later);
        if (first.count > later.count) {
            now = later;
            later = first;
        } else {
            now = first;
        }
    }
}

void gas_close_nodes(GasRecordBuild& build, unsigned last_open) {
    while (build.last_open != last_open) {
        GasTreeNode& node = build.nodes[build.last_open];
        std::memcpy(&build.last_open, &node.bbox_min.x, sizeof build.last_open);
        gas_unite_nodes(node, build.nodes[node.index], build.nodes[node.index + 1], node.index, 0);
    }
}

} // namespace gas_abi1
