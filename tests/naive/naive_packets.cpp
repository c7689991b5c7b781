#include <tests/naive/naive_packets.h>

#include <cmath>
#include <limits>

namespace naive {

namespace {

float lane_min(float a, float b) { return a < b ? a : b; }

float lane_max(float a, float b) { return a > b ? a : b; }

float round_inverse(double inverse) {
    const float rounded = static_cast<float>(inverse);
    return std::isinf(rounded) ? std::numeric_limits<float>::infinity() : rounded;
}

/// The slab test of one ray; an axis without a number leaves the distances standing.
bool is_hit(const Box& box, const float (&origin)[3], const float (&inverse)[3],
            float near_distance, float far_distance) {
    float low = near_distance;
    float high = far_distance;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float t0 = (box.min[axis] - origin[axis]) * inverse[axis];
        const float t1 = (box.max[axis] - origin[axis]) * inverse[axis];
        low = lane_max(lane_min(t1, t0), low);
        high = lane_min(lane_max(t0, t1), high);
    }
    return low <= high;
}

void load(Packet& packet, unsigned lane, const Ray& ray) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        packet.origin[axis][lane] = static_cast<float>(ray.origin[axis]);
        packet.inverse[axis][lane] = round_inverse(ray.inverse[axis]);
    }
    packet.near_distance[lane] = static_cast<float>(ray.near_distance);
    packet.far_distance[lane] = static_cast<float>(ray.hit_distance);
}

Packet& packet_of(PacketBuffer& buffer, int ray) {
    return buffer[static_cast<std::size_t>(ray) / 4];
}

RayRange narrow_by_packets(PacketBuffer& buffer, const Batch& batch, const Box& box,
                           RayRange range) {
    unsigned mask = hit_lanes(packet_of(buffer, range.first), box);
    range.first = move_first(range.first, mask);
    if (mask == 0 && batch.frustum && is_outside(*batch.frustum, box)) {
        range.culled = true;
        return range;
    }
    while (mask == 0 && range.first <= range.last) {
        mask = hit_lanes(packet_of(buffer, range.first), box);
        range.first = move_first(range.first, mask);
    }
    mask = 0;
    while (mask == 0 && range.first <= range.last) {
        mask = hit_lanes(packet_of(buffer, range.last), box);
        range.last = move_last(range.last, mask);
    }
    return range;
}

RayRange narrow_by_rays(const Batch& batch, const Box& box, RayRange range) {
    const auto hits = [&](int index) {
        const Ray& ray = batch.rays[static_cast<std::size_t>(index)];
        Packet lanes;
        load(lanes, 0, ray);
        const float origin[3] = {lanes.origin[0][0], lanes.origin[1][0], lanes.origin[2][0]};
        const float inverse[3] = {lanes.inverse[0][0], lanes.inverse[1][0], lanes.inverse[2][0]};
        return is_hit(box, origin, inverse, lanes.near_distance[0], lanes.far_distance[0]);
    };
    if (!hits(range.first)) {
        if (batch.frustum && is_outside(*batch.frustum, box)) {
            range.culled = true;
            return range;
        }
        ++range.first;
    }
    while (range.first <= range.last && !hits(range.first))
        ++range.first;
    while (range.first <= range.last && !hits(range.last))
        --range.last;
    return range;
}

struct Visit {
    unsigned node;
    RayRange range;
};

} // namespace

unsigned hit_lanes(const Packet& packet, const Box& box) {
    unsigned mask = 0;
    for (unsigned lane = 0; lane < 4; ++lane) {
        const float origin[3] = {packet.origin[0][lane], packet.origin[1][lane],
                                 packet.origin[2][lane]};
        const float inverse[3] = {packet.inverse[0][lane], packet.inverse[1][lane],
                                  packet.inverse[2][lane]};
        if (is_hit(box, origin, inverse, packet.near_distance[lane], packet.far_distance[lane]))
            mask += 1u << lane;
    }
    return mask;
}

int move_first(int first, unsigned mask) {
    const int packet_end = first - first % 4 + 4;
    while (first < packet_end && (mask >> (first % 4) & 1) == 0)
        ++first;
    return first;
}

int move_last(int last, unsigned mask) {
    const int packet_start = last - last % 4;
    while (last >= packet_start && (mask >> (last % 4) & 1) == 0)
        --last;
    return last;
}

bool is_outside(const Frustum& frustum, const Box& box) {
    for (const Plane& plane : frustum) {
        double products[3];
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float furthest = plane.normal[axis] > 0.0 ? box.max[axis] : box.min[axis];
            products[axis] = plane.normal[axis] * static_cast<double>(furthest);
        }
        const double sum = products[0] + products[1] + products[2];
        if (sum + plane.offset < 0.0)
            return true;
    }
    return false;
}

BatchRays::BatchRays(PacketBuffer& buffer, const Batch& batch, unsigned tree_depth)
    : m_buffer(buffer), m_batch(batch), m_in_packets(tree_depth >= 4) {
    if (!m_in_packets)
        return;
    const std::size_t packet_count = (batch.rays.size() + 3) / 4;
    if (packet_count > buffer.size())
        buffer.assign(packet_count, Packet());
    for (int i = batch.first; i <= batch.last; ++i)
        load(packet_of(buffer, i), static_cast<unsigned>(i % 4),
             batch.rays[static_cast<std::size_t>(i)]);
}

RayRange BatchRays::narrow(const Box& box, const RayRange& range) const {
    return m_in_packets ? narrow_by_packets(m_buffer, m_batch, box, range)
                        : narrow_by_rays(m_batch, box, range);
}

bool BatchRays::starts_with_second(const RayRange& range, unsigned order_code) const {
    const Ray& ray = m_batch.rays[static_cast<std::size_t>(range.first)];
    const bool reversed = (order_code & 4) != 0;
    return (ray.direction[order_code & 3] < 0.0) != reversed;
}

void BatchRays::read_distances(const RayRange& range) {
    for (int i = range.first; m_in_packets && i <= range.last; ++i)
        packet_of(m_buffer, i).far_distance[i % 4] =
            static_cast<float>(m_batch.rays[static_cast<std::size_t>(i)].hit_distance);
}

PacketCounts ray_hit_nearest_batch(const Tree& tree, PacketBuffer& buffer, Batch& batch,
                                   const RangeCallback& callback) {
    PacketCounts counts;
    if (tree.nodes.empty())
        return counts;
    BatchRays rays(buffer, batch, tree.depth);

    std::vector<Visit> stack = {{0, {batch.first, batch.last}}};
    while (!stack.empty()) {
        const Visit now = stack.back();
        stack.pop_back();
        ++counts.nodes;
        const Node& node = tree.nodes[now.node];
        const RayRange range = rays.narrow(node.box, now.range);
        counts.culled_by_frustum += range.culled;
        if (range.is_empty())
            continue;
        if (!node.leaf) {
            const unsigned order = rays.starts_with_second(range, node.order_code) ? 1 : 0;
            stack.push_back({node.index + 1 - order, range});
            stack.push_back({node.index + order, range});
            continue;
        }
        callback(tree.items.empty() ? node.index : tree.items[node.index], range.first, range.last);
        rays.read_distances(range);
    }
    return counts;
}

} // namespace naive
