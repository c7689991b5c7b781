#include <gas/tree/gas_wide_nodes.h>

#include <cfloat>
#include <limits>
#include <memory>

namespace {

using Node = GasTree::Node;

bool is_leaf(const Node& node) { return (node.flags & Node::leaf_flag) != 0; }

float get_half_area(const Node& node) {
    const float x = node.bbox_max.x - node.bbox_min.x;
    const float y = node.bbox_max.y - node.bbox_min.y;
    const float z = node.bbox_max.z - node.bbox_min.z;
    return (x + y) * z + x * y;
}

/// Room for `count` records at their alignment, which may be more than the host's memory has.
template <typename Record> void allocate(unsigned count, void*& memory, Record*& records) {
    std::size_t space = std::size_t{count} * sizeof(Record) + alignof(Record);
    memory = sys_aligned_malloc(space);
    void* aligned = memory;
    records = static_cast<Record*>(
        std::align(alignof(Record), std::size_t{count} * sizeof(Record), aligned, space));
}

constexpr unsigned no_place = 0xFFFFFFFFu;

/// What becomes of a binary node: how it would stand as the root of a wide one, and as a half.
struct Choice {
    /// The sum of the areas of the wide nodes that hold it and what is below; 0 for a leaf.
    float cost;
    /// How many these are.
    unsigned count;
    /// Where its own wide node goes, once it is known that there is one.
    unsigned place;
    /// As a half: whether the parent's wide node holds its children in its place.
    bool is_skipped;
};

/// Chooses from the leaves up, so that the areas have the least sum: a wide node's cost is its own
/// area and what its halves cost, each with its children in its place or not, whichever is less.
void choose(const Node* nodes, unsigned node_count, Choice* choices) {
    for (unsigned i = node_count; i-- > 0;) {
        Choice& choice = choices[i];
        choice = {0.0f, 0, no_place, false};
        if (is_leaf(nodes[i]))
            continue;
        choice.cost = get_half_area(nodes[i]);
        choice.count = 1;
        for (unsigned child = nodes[i].index; child < nodes[i].index + 2; ++child) {
            Choice& half = choices[child];
            float cost = half.cost;
            unsigned count = half.count;
            if (!is_leaf(nodes[child])) {
                const Choice* const below = choices + nodes[child].index;
                const float through = below[0].cost + below[1].cost;
                half.is_skipped = through <= cost;
                if (half.is_skipped) {
                    cost = through;
                    count = below[0].count + below[1].count;
                }
            }
            choice.cost += cost;
            choice.count += count;
        }
    }
}

/// Gives the binary nodes that were chosen their wide ones, the root first and first subtrees
/// before second ones. Boxes come later.
void place_nodes(const Node* nodes, unsigned node_count, Choice* choices, GasWideNode* wide_nodes) {
    choices[0].place = 0;
    for (unsigned i = 0; i < node_count; ++i) {
        const unsigned place = choices[i].place;
        if (place == no_place)
            continue;
        GasWideNode& wide = wide_nodes[place];
        wide.binary_node = i;
        unsigned next_place = place + 1;
        const auto refer_to = [&](unsigned node) {
            if (is_leaf(nodes[node]))
                return nodes[node].index | GasWideNode::leaf_flag;
            choices[node].place = next_place;
            next_place += choices[node].count;
            return choices[node].place;
        };
        for (unsigned half = 0; half < 2; ++half) {
            const unsigned child = nodes[i].index + half;
            unsigned* const references = wide.references + 2 * half;
            const bool is_skipped = choices[child].is_skipped;
            references[0] = refer_to(is_skipped ? nodes[child].index : child);
            references[1] =
                is_skipped ? refer_to(nodes[child].index + 1) : GasWideNode::no_reference;
        }
    }
}

/// Four boxes, corner by corner, become six planes.
struct LaneBoxes {
    SimdF min[4];
    SimdF max[4];
    /// Lanes x, y, z are set while every box so far had min <= max there.
    SimdF ordered = SimdF(0.0f) <= SimdF(0.0f);

    void set(unsigned lane, const SimdF& box_min, const SimdF& box_max) {
        min[lane] = box_min;
        max[lane] = box_max;
        ordered = ordered & (box_min <= box_max);
    }
    /// A box whose far planes all rays pass before the near ones; it is in no order. `reach` is
    /// infinity, so that none is entered later, or finite where boxes are blended.
    void set_empty(unsigned lane, float reach) {
        min[lane] = SimdF(reach);
        max[lane] = SimdF(-reach);
    }
    void store(float (&planes)[6][4]) const {
        store_side(min, planes, 0);
        store_side(max, planes, 1);
    }
    bool are_ordered() const { return (ordered.get_mask() & 7) == 7; }

  private:
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

} // namespace

GasWideNodes::GasWideNodes(const Node* nodes, unsigned node_count) {
    const std::unique_ptr<Choice[]> choices(new Choice[node_count]);
    choose(nodes, node_count, choices.get());
    m_count = choices[0].count;
    allocate(m_count, m_memory, m_nodes);
    place_nodes(nodes, node_count, choices.get(), m_nodes);
    refit(nodes);
}

GasWideNodes::~GasWideNodes() { sys_aligned_free(m_memory); }

void GasWideNodes::get_lanes(const Node* nodes, unsigned wide, unsigned (&lanes)[4]) const {
    const GasWideNode& node = m_nodes[wide];
    for (unsigned half = 0; half < 2; ++half) {
        const unsigned child = nodes[node.binary_node].index + half;
        const bool is_skipped = node.references[2 * half + 1] != GasWideNode::no_reference;
        lanes[2 * half] = is_skipped ? nodes[child].index : child;
        lanes[2 * half + 1] = is_skipped ? nodes[child].index + 1 : no_node;
    }
}

void GasWideNodes::refit(const Node* nodes) {
    LaneBoxes boxes;
    unsigned lanes[4];
    for (unsigned i = 0; i < m_count; ++i) {
        get_lanes(nodes, i, lanes);
        for (unsigned lane = 0; lane < 4; ++lane) {
            if (lanes[lane] == no_node)
                boxes.set_empty(lane, std::numeric_limits<float>::infinity());
            else
                boxes.set(lane, SimdF::load(&nodes[lanes[lane]].bbox_min.x),
                          SimdF::load(&nodes[lanes[lane]].bbox_max.x));
        }
        boxes.store(m_nodes[i].planes);
    }
    m_are_boxes_ordered = boxes.are_ordered();
}

std::size_t GasWideNodes::get_memory_size() const {
    return sizeof(GasWideNodes) + std::size_t{m_count} * sizeof(GasWideNode) + alignof(GasWideNode);
}

GasWideSample::GasWideSample(unsigned node_count) : count(node_count) {
    allocate(count, memory, nodes);
}

GasWideSample::~GasWideSample() { sys_aligned_free(memory); }

void GasWideSample::fill(const GasWideNodes& wide_nodes, const Node* tree_nodes,
                         const GMathBbox3<float>* sample_boxes) {
    // A box as two corners; the second load reads a float past it, which the array has to spare.
    const auto load_min = [&](unsigned node) {
        return SimdF::load_unaligned(&sample_boxes[node].min.x);
    };
    const auto load_max = [&](unsigned node) {
        return SimdF::load_unaligned(&sample_boxes[node].max.x);
    };
    LaneBoxes boxes;
    SimdF finite = boxes.ordered;
    unsigned lanes[4];
    for (unsigned i = 0; i < count; ++i) {
        const GasWideNode& wide = wide_nodes.get_nodes()[i];
        wide_nodes.get_lanes(tree_nodes, i, lanes);
        for (unsigned lane = 0; lane < 4; ++lane) {
            if (lanes[lane] == GasWideNodes::no_node)
                boxes.set_empty(lane, FLT_MAX);
            else
                boxes.set(lane, load_min(lanes[lane]), load_max(lanes[lane]));
        }
        GasWideSampleNode& node = nodes[i];
        boxes.store(node.planes);

        const unsigned half = tree_nodes[wide.binary_node].index;
        const SimdF first_min = load_min(half);
        const SimdF first_max = load_max(half);
        const SimdF second_min = load_min(half + 1);
        const SimdF second_max = load_max(half + 1);
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
        const SimdF infinity(std::numeric_limits<float>::infinity());
        finite = finite & (first_max < infinity) & (second_max < infinity) &
                 (SimdF(0.0f) - infinity < first_min) & (SimdF(0.0f) - infinity < second_min);
    }
    are_boxes_ordered = boxes.are_ordered() && (finite.get_mask() & 7) == 7;
}

std::size_t GasWideSample::get_memory_size() const {
    return sizeof(GasWideSample) + std::size_t{count} * sizeof(GasWideSampleNode) +
           alignof(GasWideSampleNode);
}
