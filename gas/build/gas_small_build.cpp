#include <algorithm>

#include <gas/build/gas_node_union.h>
#include <gas/build/gas_record_bins.h>
#include <gas/build/gas_record_build.h>
#include <gas/build/gas_small_sort.h>
#include <gas/split/gas_split_sah.h>

inline namespace gas_abi1 {

namespace {

static_assert(gas_small_count == GasSahWorkspace::bin_count, "the exact path's limit");
static_assert(gas_small_count == gas_small_sort_limit, "small nodes are sorted at once");

/// The items of a small subtree, every w 0, and the list that the splits reorder, with room for the
/// sort to read on.
struct SmallItems {
    SimdF min[gas_small_count];
    SimdF max[gas_small_count];
    alignas(16) float center[gas_small_count][4];
    GasSmallNumber order[gas_small_count + gas_small_sort_limit];
};

/// A sorted list's items as boxes, one each.
struct SmallBoxes {
    const SmallItems& items;
    const GasSmallNumber* order;

    const SimdF& get_min(unsigned place) const { return items.min[order[place]]; }
    const SimdF& get_max(unsigned place) const { return items.max[order[place]]; }
    static float get_count(unsigned) { return 1.0f; }
};

struct SmallPart {
    unsigned first;
    unsigned count;
    unsigned node;
    unsigned depth;
};

void load_items(const GasRecord* records, unsigned count, SmallItems& items) {
    for (unsigned i = 0; i < count; ++i) {
        items.min[i] = gas_load_min(records[i]) & SimdF::s_mask_xyz;
        items.max[i] = gas_load_max(records[i]) & SimdF::s_mask_xyz;
        ((items.min[i] + items.max[i]) * SimdF(0.5f)).store(items.center[i]);
        items.order[i] = static_cast<GasSmallNumber>(i);
    }
}

GMathBbox3<float> get_bounds(const SmallItems& items, const GasSmallNumber* order, unsigned count) {
    const SimdF first = SimdF::load(items.center[order[0]]);
    GasLaneBounds bounds = {first, first};
    for (unsigned i = 1; i < count; ++i)
        bounds.add(SimdF::load(items.center[order[i]]));
    return gas_to_box(bounds);
}

/// Sorts `order` along an axis and computes the cost of every cut.
void compute_costs(const SmallItems& items, GasSmallNumber* order, unsigned count, unsigned axis,
                   double* costs) {
    alignas(16) float keys[gas_small_count];
    for (unsigned i = 0; i < count; ++i)
        keys[i] = items.center[order[i]][axis];
    gas_sort_small(keys, order, count);
    gas_compute_plane_costs(SmallBoxes{items, order}, count, costs);
}

/// As gas_split_sah_bins_fast: the list is sorted along the widest axis whether a cut wins or not.
unsigned divide_fast(const SmallItems& items, GasSmallNumber* order, unsigned count) {
    const GMathBbox3<float> bounds = get_bounds(items, order, count);
    const unsigned axis = gas_widest_axis(bounds);
    if (!gas_is_divisible(bounds.max[axis] - bounds.min[axis]))
        return count / 2;
    double costs[gas_small_count];
    compute_costs(items, order, count, axis, costs);
    // GasWinsIfCheaper, without a branch on who wins
    double best = GasSahCut().cost;
    unsigned left_count = count / 2;
    for (unsigned k = 1; k < count; ++k) {
        left_count = costs[k] < best ? k : left_count;
        best = costs[k] < best ? costs[k] : best;
    }
    return left_count;
}

/// As gas_split_sah_bins.
unsigned divide_fully(const SmallItems& items, GasSmallNumber* order, unsigned count) {
    const GMathBbox3<float> bounds = get_bounds(items, order, count);
    GasSahCut best;
    GasSmallNumber sorted[3][gas_small_sort_limit];
    double costs[gas_small_count];
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!gas_is_divisible(bounds.max[axis] - bounds.min[axis]))
            continue;
        std::copy(order, order + count, sorted[axis]);
        compute_costs(items, sorted[axis], count, axis, costs);
        for (unsigned k = 1; k < count; ++k) {
            if (GasWinsUnlessWorse()(costs[k], best.cost))
                best = {costs[k], axis, k};
        }
    }
    if (!best.has_won())
        return count / 2;
    std::copy(sorted[best.axis], sorted[best.axis] + count, order);
    return best.left_count;
}

} // namespace

void gas_build_small(GasRecordBuild& build, const GasBuildPart& part) {
    const GasRecord* const records = build.records + part.offset;
    if (build.depth < part.depth)
        build.depth = part.depth;
    if (part.count == 1) {
        gas_copy_record(build.nodes[part.node], records[0]);
        return;
    }

    SmallItems items;
    load_items(records, part.count, items);
    SmallPart waiting[gas_small_count];
    unsigned waiting_count = 0;
    unsigned inner[gas_small_count];
    unsigned inner_count = 0;
    SmallPart now = {0, part.count, part.node, part.depth};
    for (;;) {
        if (now.count == 1) {
            gas_copy_record(build.nodes[now.node], records[items.order[now.first]]);
            if (waiting_count == 0)
                break;
            now = waiting[--waiting_count];
            continue;
        }
        unsigned left_count = 1;
        if (now.count > 2) {
            GasSmallNumber* const order = items.order + now.first;
            left_count = build.method == GasBuildMethod::sah ? divide_fully(items, order, now.count)
                                                             : divide_fast(items, order, now.count);
        }
        const unsigned first = part.below + 2 * inner_count;
        inner[inner_count++] = now.node;
        const unsigned depth = now.depth + 1;
        if (build.depth < depth)
            build.depth = depth;
        waiting[waiting_count++] = {now.first + left_count, now.count - left_count, first + 1,
                                    depth};
        now = {now.first, left_count, first, depth};
    }
    while (inner_count-- > 0) {
        const unsigned first = part.below + 2 * inner_count;
        gas_unite_nodes(build.nodes[inner[inner_count]], build.nodes[first], build.nodes[first + 1],
                        first, 0);
    }
}

} // namespace gas_abi1
