// SPDX-License-Identifier: Apache-2.0
#include <bench/peer/peer_cost.h>

#include <stdexcept>

namespace gas_peer {

namespace {

/// The builder's nodes, as the cost needs them. A leaf has no children.
struct CostNode {
    const CostNode* children[2];
    double child_areas[2];
};

double get_area(const RTCBounds& box) {
    const float x = box.upper_x - box.lower_x;
    const float y = box.upper_y - box.lower_y;
    const float z = box.upper_z - box.lower_z;
    return static_cast<double>(x * y + y * z + z * x);
}

CostNode* add_node(RTCThreadLocalAllocator allocator) {
    void* const place = rtcThreadLocalAlloc(allocator, sizeof(CostNode), alignof(CostNode));
    return new (place) CostNode{};
}

void* create_node(RTCThreadLocalAllocator allocator, unsigned, void*) {
    return add_node(allocator);
}

void* create_leaf(RTCThreadLocalAllocator allocator, const RTCBuildPrimitive*, std::size_t, void*) {
    return add_node(allocator);
}

void set_children(void* node, void** children, unsigned count, void*) {
    for (unsigned i = 0; i < count; ++i)
        static_cast<CostNode*>(node)->children[i] = static_cast<const CostNode*>(children[i]);
}

void set_bounds(void* node, const RTCBounds** bounds, unsigned count, void*) {
    for (unsigned i = 0; i < count; ++i)
        static_cast<CostNode*>(node)->child_areas[i] = get_area(*bounds[i]);
}

/// Of everything below `node`, whose own area is `area`.
double add_areas(const CostNode& node, double area) {
    if (!node.children[0])
        return area;
    double sum = 2.0 * area;
    for (unsigned i = 0; i < 2; ++i)
        sum += add_areas(*node.children[i], node.child_areas[i]);
    return sum;
}

std::vector<RTCBuildPrimitive> make_primitives(const Scene& scene) {
    std::vector<RTCBuildPrimitive> primitives(scene.boxes.get_count());
    for (unsigned i = 0; i < scene.boxes.get_count(); ++i) {
        const GMathBbox3<float>& box = scene.boxes[i];
        primitives[i] = {box.min.x, box.min.y, box.min.z, 0, box.max.x, box.max.y, box.max.z, i};
    }
    return primitives;
}

} // namespace

double get_peer_cost(const PeerDevice& device, const Scene& scene) {
    std::vector<RTCBuildPrimitive> primitives = make_primitives(scene);
    RTCBuildArguments arguments = rtcDefaultBuildArguments();
    arguments.buildQuality = RTC_BUILD_QUALITY_MEDIUM;
    arguments.maxBranchingFactor = 2;
    arguments.maxDepth = 1024;
    arguments.minLeafSize = 1;
    arguments.maxLeafSize = 1;
    arguments.primitives = primitives.data();
    arguments.primitiveCount = primitives.size();
    arguments.primitiveArrayCapacity = primitives.size();
    arguments.createNode = create_node;
    arguments.setNodeChildren = set_children;
    arguments.setNodeBounds = set_bounds;
    arguments.createLeaf = create_leaf;
    arguments.bvh = rtcNewBVH(device.get());
    const auto* const root = static_cast<const CostNode*>(rtcBuildBVH(&arguments));
    const double root_area = get_area(to_peer_bounds(scene.bounds));
    const double sum = root ? add_areas(*root, root_area) : 0.0;
    rtcReleaseBVH(arguments.bvh);
    device.check();
    return root_area > 0.0 ? sum / root_area : 0.0;
}

} // namespace gas_peer
