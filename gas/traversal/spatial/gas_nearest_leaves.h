// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cmath>

#include <gas/core/gas_box_tests.h>
#include <gas/core/gas_lane_box.h>

inline namespace gas_abi1 {

/// A search around a point, and the leaves found so far.

/// Leaves in a cube around a point, the nearer box first. The cube may shrink on the way.
class GasPointSearch {
  public:
    GasPointSearch(const GMathVec3<float>& point, float distance)
        : m_point(point.x, point.y, point.z, 0.0f) {
        set_distance(distance);
    }

    /// The cube becomes point - distance to point + distance.
    void set_distance(float distance) {
        m_min = m_point - SimdF(distance);
        m_max = m_point + SimdF(distance);
    }

    bool is_point_finite() const {
        return ((m_point - m_point <= SimdF(0.0f)).get_mask() & 7) == 7;
    }

    bool overlaps(const SimdF& min, const SimdF& max) const {
        return gas_test_overlap(min, max, m_min, m_max);
    }

    /// Whether the second box is as near to the point as the first, or nearer.
    bool prefers_second(const SimdF& first_min, const SimdF& first_max, const SimdF& second_min,
                        const SimdF& second_max) const {
        const SimdF distances =
            get_squared_distances({{first_min, first_max}, {second_min, second_max}});
        return !(distances.get(1) > distances.get(0));
    }

    /// From the point to the centre of a box.
    float get_center_distance(const SimdF& min, const SimdF& max) const {
        const SimdF offset = (min + max) * SimdF(0.5f) - m_point;
        const SimdF squares = offset * offset;
        return std::sqrt((squares.get(0) + squares.get(1)) + squares.get(2));
    }

    /// The squared distances from the point to the nearest points of two boxes, in lanes 0 and 1;
    /// summed in the order of the one above.
    SimdF get_squared_distances(const GasBoxPair& boxes) const {
        const SimdF first = get_squares(boxes.first.min, boxes.first.max);
        const SimdF second = get_squares(boxes.second.min, boxes.second.max);
        const SimdF xy = SimdF::interleave_low(first, second);
        return (xy + xy.move_high()) + SimdF::interleave_high(first, second);
    }

  private:
    SimdF get_squares(const SimdF& min, const SimdF& max) const {
        const SimdF outside = SimdF::max(SimdF::max(min - m_point, m_point - max), SimdF(0.0f));
        return outside * outside;
    }

    SimdF m_point;
    SimdF m_min;
    SimdF m_max;
};

/// For leaves that are found in the final order: of equal distances the earlier stays in front.
struct GasFoundOrder {
    static bool is_before(unsigned) { return false; }
    static void move_up(unsigned) {}
    static void put(unsigned) {}
};

/// The nearest leaves so far, in the caller's two arrays of `capacity` (at least 1) entries, sorted
/// by ascending distance.
class GasNearestLeaves {
  public:
    GasNearestLeaves(unsigned* leaves, float* distances, unsigned capacity)
        : m_leaves(leaves), m_distances(distances), m_capacity(capacity) {}

    unsigned get_count() const { return m_count; }
    bool is_full() const { return m_count == m_capacity; }
    float get_largest_distance() const { return m_distances[m_count - 1]; }

    /// Inserts a leaf unless the arrays are full of nearer ones; where they are full, the last leaf
    /// drops out. `order` decides for equal distances whether the leaf comes before the one at a
    /// place, and its hooks are called for leaves that move up a place and for the new one.
    template <typename Order> bool insert(unsigned leaf, float distance, const Order& order) {
        if (is_full()) {
            const float largest = get_largest_distance();
            if (distance >= largest && !(distance == largest && order.is_before(m_count - 1)))
                return false;
        } else {
            ++m_count;
        }
        unsigned place = m_count - 1;
        for (; place > 0 && (m_distances[place - 1] > distance ||
                             (m_distances[place - 1] == distance && order.is_before(place - 1)));
             --place) {
            m_leaves[place] = m_leaves[place - 1];
            m_distances[place] = m_distances[place - 1];
            order.move_up(place - 1);
        }
        m_leaves[place] = leaf;
        m_distances[place] = distance;
        order.put(place);
        return true;
    }

  private:
    unsigned* m_leaves;
    float* m_distances;
    unsigned m_capacity;
    unsigned m_count = 0;
};

} // namespace gas_abi1
