#include <gas/tree/wide/gas_wide_nodes.h>

#include <cfloat>
#include <limits>
#include <memory>

#include <gas/core/gas_prefetch.h>
#include <gas/tree/wide/gas_wide_collapse.h>

inline namespace gas_abi1 {

namespace {

using Node = GasTreeNode;

constexpr float infinity = std::numeric_limits<float>::infinity();

/// Room for `count` records at their alignment, which may be more than the host's memory has.
template <typename Record> void allocate(unsigned count, void*& memory, Record*& records) {
    std::size_t space = std::size_t{count} * sizeof(Record) + alignof(Record);
    memory = sys_aligned_malloc(space);
    void* aligned = memory;
    records = static_cast<Record*>(
        std::align(alignof(Record), std::size_t{count} * sizeof(Record), aligned, space));
}

/// Four boxes, corner by corner, become six planes.
struct LaneBoxes {
    SimdF min[4];
    SimdF max[4];
    /// Lanes x, y, z are set while every box so far had min <= max there.
    SimdF ordered = SimdF(0.0f) <= SimdF(0.0f);

    /// Takes the boxes of a wide node's lanes as `boxes` has them for binary nodes: get_min(node),
    /// get_max(node). An empty lane's box has far planes that all rays pass before the near ones;
    /// it is in no order. `reach` is infinity, so that none is entered later, or finite where boxes
    /// are blended.
    template <typename Boxes>
    void gather(const GasWideNode& wide, const Boxes& boxes, float reach) {
        for (unsigned half = 0; half < 2; ++half) {
            const bool has_second = wide.references[2 * half + 1] != GasWideNode::no_reference;
            gather_half(half, wide.lane_nodes[half], has_second, boxes, reach);
        }
    }
    /// Of one half, whose first lane holds node `first`. Without a branch: there is no pattern in
    /// who has two.
    template <typename Boxes>
    void gather_half(unsigned half, unsigned first, unsigned has_second, const Boxes& boxes,
                     float reach) {
        const unsigned second = first + has_second;
        set(2 * half, boxes.get_min(first), boxes.get_max(first));
        set(2 * half + 1, boxes.get_min(second), boxes.get_max(second));
        const auto count = static_cast<int>(has_second);
        const SimdF is_empty = SimdI(count, count, count, count) == SimdI(0, 0, 0, 0);
        min[2 * half + 1] = SimdF::select(is_empty, SimdF(reach), min[2 * half + 1]);
        max[2 * half + 1] = SimdF::select(is_empty, SimdF(-reach), max[2 * half + 1]);
    }
    void store(float (&planes)[6][4]) const {
        store_side(min, planes, 0);
        store_side(max, planes, 1);
    }
    bool are_ordered() const { return (ordered.get_mask() & 7) == 7; }

  private:
    void set(unsigned lane, const SimdF& box_min, const SimdF& box_max) {
        min[lane] = box_min;
        max[lane] = box_max;
        ordered = ordered & (box_min <= box_max);
    }
    static void store_side(const SimdF* corners, float (&planes)[6][4], unsigned side) {
        const SimdF even_xy = SimdF::interleave_low(corners[0], corners[2]);
        const SimdF odd_xy = SimdF::interleave_low(corners[1], corners[3]);
        const SimdF even_zw = SimdF::interleave_high(corners[0], corners[2]);
        const SimdF odd_zw = SimdF::interleave_high(corners[1], corners[3]);
        SimdF::interleave_low(even_xy, odd_xy).store(planes[side]);
        SimdF::interleave_high(even_xy, odd_xy).store(planes[2 + side]);
        SimdF::interleave_low(even_zw, odd_zw).store(planes[4 + side]);
    }
};

/// The boxes in nodes.
struct NodeBoxes {
    const Node* nodes;

    SimdF get_min(unsigned node) const { return SimdF::load(&nodes[node].bbox_min.x); }
    SimdF get_max(unsigned node) const { return SimdF::load(&nodes[node].bbox_max.x); }
};

/// A sample's boxes; the last one's max reads a float past it, which the array has to spare.
struct SampleBoxes {
    const GMathBbox3<float>* boxes;

    SimdF get_min(unsigned node) const { return SimdF::load_unaligned(&boxes[node].min.x); }
    SimdF get_max(unsigned node) const { return SimdF::load_unaligned(&boxes[node].max.x); }
};

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
void advance(GasWideProgress& progress, const GasWideNode* nodes, unsigned count,
             unsigned first_node, const Take& take) {
    if (progress.waiting == 0)
        progress = {count, true};
    // Wide nodes are in the order of their first children.
    while (progress.waiting > 0 && nodes[progress.waiting - 1].first_child > first_node) {
        prefetch(nodes, progress.waiting);
        take(--progress.waiting);
    }
}

} // namespace

/// A binary node that becomes a wide one.
struct GasWideNodes::Waiting {
    unsigned node;
    /// Where its wide node is referred to.
    unsigned* reference;
};

GasWideNodes::GasWideNodes(const Node* nodes, unsigned node_count) {
    const GasWideChoice choice(nodes, node_count);
    m_count = choice.get_count(nodes[0]);
    // First of all: what comes last is not released if there is no memory for more.
    const GasScratchArray<Waiting> waiting = gas_allocate_scratch<Waiting>(m_count);
    allocate(m_count, m_memory, m_nodes);
    place(nodes, choice, waiting.get());
}

GasWideNodes::~GasWideNodes() { sys_aligned_free(m_memory); }

void GasWideNodes::place(const Node* nodes, const GasWideChoice& choice, Waiting* waiting) {
    unsigned no_reference;
    waiting[0] = {0, &no_reference};
    unsigned waiting_count = 1;
    LaneBoxes boxes;
    for (unsigned i = 0; i < m_count; ++i) {
        const Waiting now = waiting[--waiting_count];
        *now.reference = i;
        GasWideNode& wide = m_nodes[i];
        wide.binary_node = now.node;
        wide.first_child = nodes[now.node].index;
        const unsigned skips = choice.get_skips(wide.first_child);
        // The second half's second lane first, so that the first lane is next to have its place.
        // What stands in a lane is told apart without branches, which would be mispredicted.
        const auto refer_to = [&](unsigned lane, unsigned node, unsigned is_there) {
            // An inner node's place is not known yet.
            wide.references[lane] = nodes[node].index | GasWideNode::leaf_flag | (is_there - 1);
            waiting[waiting_count] = {node, &wide.references[lane]};
            waiting_count += is_there & ~nodes[node].flags;
        };
        for (unsigned half = 2; half-- > 0;) {
            const unsigned is_skipped = skips >> half & 1;
            const unsigned child = wide.first_child + half;
            const unsigned lane_node = gas_pick(is_skipped, child, nodes[child].index);
            wide.lane_nodes[half] = lane_node;
            refer_to(2 * half + 1, lane_node + is_skipped, is_skipped);
            refer_to(2 * half, lane_node, 1);
            boxes.gather_half(half, lane_node, is_skipped, NodeBoxes{nodes}, infinity);
        }
        boxes.store(wide.planes);
    }
    m_progress = {0, boxes.are_ordered()};
}

void GasWideNodes::refit(const Node* nodes, unsigned first_node) {
    LaneBoxes boxes;
    advance(m_progress, m_nodes, m_count, first_node, [&](unsigned i) {
        boxes.gather(m_nodes[i], NodeBoxes{nodes}, infinity);
        boxes.store(m_nodes[i].planes);
    });
    m_progress.are_boxes_ordered = m_progress.are_boxes_ordered && boxes.are_ordered();
}

std::size_t GasWideNodes::get_memory_size() const {
    return sizeof(GasWideNodes) + std::size_t{m_count} * sizeof(GasWideNode) + alignof(GasWideNode);
}

GasWideSample::GasWideSample(unsigned node_count) : count(node_count) {
    allocate(count, memory, nodes);
}

GasWideSample::~GasWideSample() { sys_aligned_free(memory); }

void GasWideSample::fill(const GasWideNodes& wide_nodes, const GMathBbox3<float>* sample_boxes,
                         unsigned first_node) {
    const SampleBoxes source = {sample_boxes};
    LaneBoxes boxes;
    SimdF finite = boxes.ordered;
    advance(progress, wide_nodes.get_nodes(), count, first_node, [&](unsigned i) {
        const GasWideNode& wide = wide_nodes.get_nodes()[i];
        GasWideSampleNode& node = nodes[i];
        prefetch(nodes, i);
        boxes.gather(wide, source, FLT_MAX);
        boxes.store(node.planes);

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
        // After the boxes, whose last store reaches into the references.
        for (unsigned lane = 0; lane < 4; ++lane)
            node.references[lane] = wide.references[lane];
        finite = finite & (first_max < SimdF(infinity)) & (second_max < SimdF(infinity)) &
                 (SimdF(-infinity) < first_min) & (SimdF(-infinity) < second_min);
    });
    progress.are_boxes_ordered =
        progress.are_boxes_ordered && boxes.are_ordered() && (finite.get_mask() & 7) == 7;
}

std::size_t GasWideSample::get_memory_size() const {
    return sizeof(GasWideSample) + std::size_t{count} * sizeof(GasWideSampleNode) +
           alignof(GasWideSampleNode);
}

} // namespace gas_abi1
