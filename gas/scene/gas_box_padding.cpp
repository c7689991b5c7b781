// SPDX-License-Identifier: Apache-2.0
#include <gas/scene/gas_box_padding.h>

#include <cmath>

#include <gas/scene/gas_outward.h>

inline namespace gas_abi1 {

namespace {

constexpr double padding_share = 0x1p-19;
constexpr double shares_in_reach = 0x1p19;

} // namespace

double gas_get_reach(const GMathVec3<double>& point) {
    double reach = 0.0;
    for (unsigned axis = 0; axis < 3; ++axis) {
        const double distance = std::abs(point[axis]);
        if (distance > reach)
            reach = distance;
    }
    return reach;
}

double gas_get_reach(const GMathBbox3<double>& box) {
    if (box.min.x > box.max.x || box.min.y > box.max.y || box.min.z > box.max.z)
        return 0.0;
    const double low = gas_get_reach(box.min);
    const double high = gas_get_reach(box.max);
    return low > high ? low : high;
}

double gas_get_reach(const GMathBbox3<float>& box) { return gas_get_reach(gas_widen(box)); }

double gas_get_box_padding(double reach) { return reach * padding_share; }

double gas_get_ray_reach(double padding) { return padding * shares_in_reach; }

GMathBbox3<float> gas_pad_box(const GMathBbox3<double>& box, double padding, double scale) {
    return gas_round_outward({{(box.min.x - padding) * scale, (box.min.y - padding) * scale,
                               (box.min.z - padding) * scale},
                              {(box.max.x + padding) * scale, (box.max.y + padding) * scale,
                               (box.max.z + padding) * scale}});
}

GMathBbox3<float> gas_pad_box(const GMathBbox3<float>& box, double padding, double scale) {
    return gas_pad_box(gas_widen(box), padding, scale);
}

bool gas_is_within_padding(const GMathBbox3<double>& box, const GMathVec3<double>& point,
                           double padding) {
    const double slack = 0.25 * padding;
    return point.x >= box.min.x - slack && point.x <= box.max.x + slack &&
           point.y >= box.min.y - slack && point.y <= box.max.y + slack &&
           point.z >= box.min.z - slack && point.z <= box.max.z + slack;
}

} // namespace gas_abi1
