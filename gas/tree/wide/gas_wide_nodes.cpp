#include <gas/tree/wide/gas_wide_nodes.h>

#include <cfloat>
#include <limits>
#include <memory>

#include <gas/build/gas_parallel_build.h>
#include <gas/core/gas_compiler.h>
#include <gas/tree/wide/gas_wide_collapse.h>
#include <gas/tree/wide/gas_wide_lane_boxes.h>

inline namespace gas_abi1 {

namespace {

constexpr float infinity = std::numeric_limits<float>::infinity();

/// Room for `count` records at their alignment, which may be more than the host's memory has.
template <typename Record> void allocate(unsigned count, void*& memory, Record*& records) {
    std::size_t space = std::size_t{count} * sizeof(Record) + alignof(Record);
    memory = sys_aligned_malloc(space);
    void* aligned = memory;
    records = static_cast<Record*>(
        std::align(alignof(Record), std::size_t{count} * sizeof(Record), aligned, space));
}

/// For passes from the last record to the first: asks for one that is written a while after
/// `records[i]`. Inlined at once, as gas_prefetch is.
template <typename Record>
[[gnu::always_inline]] inline void prefetch(const Record* records, unsigned i) {
    constexpr unsigned distance = 32;
    const auto* const ahead =
        reinterpret_cast<const char*>(records + (i > distance ? i - distance : 0));
    for (unsigned offset = 0; offset < sizeof(Record); offset += 64)
        gas_prefetch(ahead + offset);
}

/// The step of a pass that follows one over the binary nodes, which has come to `first_node`: calls
/// `take(i)` for the wide nodes whose boxes are there, from the last on.
template <typename Take>
void advance(GasWideCursor& cursor, const GasWideNode* nodes, unsigned first_node,
             const Take& take) {
    // Wide nodes are in the order of their first children.
    while (cursor.remaining > 0 && nodes[cursor.remaining - 1].first_child > first_node) {
        prefetch(nodes, cursor.remaining);
        take(--cursor.remaining);
    }
}

} // namespace

/// A binary node that becomes a wide one.
struct GasWideNodes::Pending {
    unsigned node;
    /// Where its wide node is referred to.
    unsigned* reference;
};

/// One with everything below it: `count` wide nodes from `first` on.
struct GasWideNodes::Subtree {
    unsigned node;
    unsigned first;
    unsigned count;
    bool are_boxes_ordered;
};

/// Makes wide nodes, depth first. Their numbers follow from the counts of the collapse.
class GasWideNodes::Placing {
  public:
    Placing(const GasTreeNode* nodes, const GasWideCollapse& collapse, GasWideNode* wide_nodes)
        : m_nodes(nodes), m_collapse(collapse), m_wide_nodes(wide_nodes) {}

    /// Makes a subtree. `pending` is scratch for as many entries, for no more can be pending than
    /// have no place yet.
    void place(Subtree& subtree, Pending* pending) const {
        place(subtree, pending, [](const Pending&, unsigned) { return 0u; });
    }
    /// The same, but `leave_out(next, first)` may say how many wide nodes of a pending node are
    /// made elsewhere, from `first` on.
    template <typename LeaveOut>
    void place(Subtree& subtree, Pending* pending, const LeaveOut& leave_out) const {
        unsigned no_reference;
        pending[0] = {subtree.node, &no_reference};
        unsigned pending_count = 1;
        GasWideLaneBoxes boxes;
        for (unsigned i = subtree.first; i < subtree.first + subtree.count;) {
            const Pending next = pending[--pending_count];
            *next.reference = i;
            if (const unsigned count = leave_out(next, i)) {
                i += count;
                continue;
            }
            pending_count = fill(m_wide_nodes[i++], next.node, pending, pending_count, boxes);
        }
        subtree.are_boxes_ordered = boxes.are_ordered();
    }

  private:
    /// Returns how many are pending then.
    unsigned fill(GasWideNode& wide, unsigned node, Pending* pending, unsigned pending_count,
                  GasWideLaneBoxes& boxes) const {
        wide.binary_node = node;
        wide.first_child = m_nodes[node].index;
        const unsigned skips = m_collapse.get_skips(wide.first_child);
        // The second half's second lane first, so that the first lane is next to have its place.
        // What stands in a lane is told apart without branches, which would be mispredicted.
        const auto refer_to = [&](unsigned lane, unsigned lane_node, unsigned is_there) {
            // An inner node's place is not known yet.
            wide.references[lane] =
                m_nodes[lane_node].index | GasWideNode::leaf_flag | (is_there - 1);
            pending[pending_count] = {lane_node, &wide.references[lane]};
            pending_count += is_there & ~m_nodes[lane_node].flags;
        };
        for (unsigned half = 2; half-- > 0;) {
            const unsigned is_skipped = skips >> half & 1;
            const unsigned child = wide.first_child + half;
            const unsigned lane_node = gas_pick(is_skipped, child, m_nodes[child].index);
            wide.lane_nodes[half] = lane_node;
            refer_to(2 * half + 1, lane_node + is_skipped, is_skipped);
            refer_to(2 * half, lane_node, 1);
            boxes.gather_half(half, lane_node, is_skipped, GasNodeBoxes{m_nodes}, infinity);
        }
        boxes.store(wide.planes);
        return pending_count;
    }

    const GasTreeNode* m_nodes;
    const GasWideCollapse& m_collapse;
    GasWideNode* m_wide_nodes;
};

GasWideNodes::GasWideNodes(const GasTreeNode* nodes, unsigned node_count,
                           GasParallelBuild* parallel) {
    const GasWideCollapse collapse(nodes, node_count, parallel);
    m_count = collapse.get_count(nodes[0]);
    // First of all: what comes last is not released if there is no memory for more.
    const GasScratchArray<Pending> pending = gas_allocate_scratch<Pending>(m_count + 1);
    const unsigned subtree_limit = parallel ? 32 * parallel->get_team().get_size() : 0;
    const std::unique_ptr<Subtree[]> subtrees(new Subtree[subtree_limit + 1]);
    allocate(m_count, m_memory, m_nodes);

    const Placing placing(nodes, collapse, m_nodes);
    Subtree& whole = subtrees[subtree_limit];
    whole = {0, 0, m_count, true};
    if (!parallel) {
        placing.place(whole, pending.get());
        m_are_boxes_ordered = whole.are_boxes_ordered;
        return;
    }
    // Small enough subtrees are left to the threads, as long as there is room in the list.
    const unsigned most = m_count / (4 * parallel->get_team().get_size()) + 1;
    unsigned subtree_count = 0;
    placing.place(whole, pending.get(), [&](const Pending& next, unsigned first) {
        const unsigned count = collapse.get_count(nodes[next.node]);
        if (count > most || count < 64 || subtree_count == subtree_limit)
            return 0u;
        subtrees[subtree_count++] = {next.node, first, count, true};
        return count;
    });
    parallel->get_team().run(subtree_count, [&](unsigned i) {
        placing.place(subtrees[i], pending.get() + subtrees[i].first);
    });
    m_are_boxes_ordered = whole.are_boxes_ordered;
    for (unsigned i = 0; i < subtree_count; ++i)
        m_are_boxes_ordered = m_are_boxes_ordered && subtrees[i].are_boxes_ordered;
}

GasWideNodes::~GasWideNodes() { sys_aligned_free(m_memory); }

void GasWideNodes::refit(GasWideCursor& cursor, const GasTreeNode* nodes, unsigned first_node) {
    GasWideLaneBoxes boxes;
    advance(cursor, m_nodes, first_node, [&](unsigned i) {
        boxes.gather(m_nodes[i], GasNodeBoxes{nodes}, infinity);
        boxes.store(m_nodes[i].planes);
    });
    cursor.are_boxes_ordered = cursor.are_boxes_ordered && boxes.are_ordered();
    if (first_node == 0)
        m_are_boxes_ordered = cursor.are_boxes_ordered;
}

std::size_t GasWideNodes::get_memory_size() const {
    return sizeof(GasWideNodes) + std::size_t{m_count} * sizeof(GasWideNode) + alignof(GasWideNode);
}

GasWideSample::GasWideSample(unsigned node_count) : count(node_count) {
    allocate(count, memory, nodes);
}

GasWideSample::~GasWideSample() { sys_aligned_free(memory); }

void GasWideSample::fill(GasWideCursor& cursor, const GasWideNodes& wide_nodes,
                         const GMathBbox3<float>* sample_boxes, unsigned first_node) {
    const GasSampleBoxes source = {sample_boxes};
    GasWideLaneBoxes lanes;
    SimdF finite = lanes.ordered;
    advance(cursor, wide_nodes.get_nodes(), first_node, [&](unsigned i) {
        const GasWideNode& wide = wide_nodes.get_nodes()[i];
        GasWideSampleNode& node = nodes[i];
        prefetch(nodes, i);
        const unsigned half = wide.first_child;
        const SimdF first_min = source.get_min(half);
        const SimdF first_max = source.get_max(half);
        const SimdF second_min = source.get_min(half + 1);
        const SimdF second_max = source.get_max(half + 1);
        const SimdF min_xy = SimdF::interleave_low(first_min, second_min);
        const SimdF max_xy = SimdF::interleave_low(first_max, second_max);
        min_xy.store(node.half_planes[0]);
        max_xy.store(node.half_planes[0] + 2);
        min_xy.move_high().store(node.half_planes[1]);
        max_xy.move_high().store(node.half_planes[1] + 2);
        SimdF::interleave_high(first_min, second_min).store(node.half_planes[2]);
        SimdF::interleave_high(first_max, second_max).store(node.half_planes[2] + 2);
        // After the boxes of the halves, whose last store reaches into the planes.
        lanes.gather(wide, source, FLT_MAX);
        lanes.store(node.planes);
        for (unsigned lane = 0; lane < 4; ++lane)
            node.references[lane] = wide.references[lane];
        finite = finite & (first_max < SimdF(infinity)) & (second_max < SimdF(infinity)) &
                 (SimdF(-infinity) < first_min) & (SimdF(-infinity) < second_min);
    });
    cursor.are_boxes_ordered =
        cursor.are_boxes_ordered && lanes.are_ordered() && (finite.get_mask() & 7) == 7;
    if (first_node == 0) {
        are_boxes_ordered = cursor.are_boxes_ordered;
        boxes = sample_boxes;
    }
}

std::size_t GasWideSample::get_memory_size() const {
    return sizeof(GasWideSample) + std::size_t{count} * sizeof(GasWideSampleNode) +
           alignof(GasWideSampleNode);
}

} // namespace gas_abi1
