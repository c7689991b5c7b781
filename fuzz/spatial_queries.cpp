// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cmath>
#include <numeric>

#include <gas/traversal/frame/gas_tree_ctx.h>

#include <fuzz/fuzz_boxes.h>
#include <fuzz/fuzz_check.h>
#include <tests/naive/naive_leaves.h>
#include <tests/support/closest_item.h>
#include <tests/support/tree_build.h>

// Queries without rays over any boxes: leaves in a box, nearest leaves and the closest item,
// against trying every item, and in the order of a plain walk.

namespace {

using fuzz::Box;
using fuzz::Boxes;
using fuzz::expect;
using support::ClosestItem;
using support::ClosestPoint;

constexpr double infinity = std::numeric_limits<double>::infinity();

/// A NaN separates nothing.
bool overlap(const Box& first, const Box& second) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (first.max[axis] < second.min[axis] || second.max[axis] < first.min[axis])
            return false;
    }
    return true;
}

/// A coordinate of a box, between or beyond, or a special value.
float take_coordinate(FuzzInput& input, const Boxes& boxes, unsigned axis) {
    const Box& box = boxes[input.take_byte() % boxes.size()];
    switch (const unsigned choice = input.take_byte(); choice % 8) {
    case 0:
        return box.min[axis];
    case 1:
        return box.max[axis];
    case 2:
        return input.take_lattice();
    case 3:
        return choice < 64 ? input.take_special() : 0.0f;
    default:
        return box.min[axis] + (box.max[axis] - box.min[axis]) *
                                   (static_cast<float>(choice) * (3.0f / 255.0f) - 1.0f);
    }
}

class SpatialTarget {
  public:
    explicit SpatialTarget(FuzzInput& input) : m_input(input) {
        const naive::Split split = fuzz::take_split(input);
        m_boxes = fuzz::take_boxes(input, fuzz::take_count(input));
        const bool is_refitted = input.take_chance(4);
        Boxes built = m_boxes;
        if (is_refitted)
            built = fuzz::take_moved_boxes(input, m_boxes);
        support::build(m_plain, built, split);
        m_expected = naive::build(built, split);
        support::build(m_compressed, m_boxes, split);
        if (is_refitted) {
            m_plain.refit(support::to_boxes(m_boxes));
            naive::refit(m_expected, m_boxes);
        }
    }

    void run() {
        while (!m_input.is_empty()) {
            switch (m_input.take_below(3)) {
            case 0:
                check_box();
                break;
            case 1:
                check_nearest();
                break;
            default:
                check_closest();
                break;
            }
        }
    }

  private:
    void check_box() {
        Box search;
        const bool is_plane = m_input.take_chance(8);
        for (unsigned axis = 0; axis < 3; ++axis) {
            search.min[axis] = take_coordinate(m_input, m_boxes, axis);
            search.max[axis] =
                is_plane ? search.min[axis] : take_coordinate(m_input, m_boxes, axis);
        }
        if (m_input.take_flag()) {
            for (unsigned axis = 0; axis < 3; ++axis) {
                if (search.max[axis] < search.min[axis])
                    std::swap(search.min[axis], search.max[axis]);
            }
        }
        CoreVector<unsigned> found;
        found.add(7);
        m_plain.get_leaves_in_bbox(m_ctx, support::to_box(search), found);
        std::vector<unsigned> leaves(found.begin(), found.end());
        std::vector<unsigned> walked;
        walk(0, search, walked);
        expect(leaves == walked, "leaves in a box are those of a plain walk, in its order");

        // Among boxes without a NaN, an ordered one that overlaps lies in boxes that do.
        std::sort(leaves.begin(), leaves.end());
        if (!fuzz::are_ordered(m_boxes))
            return;
        std::vector<unsigned> tried;
        for (unsigned item = 0; item < m_boxes.size(); ++item) {
            if (overlap(m_boxes[item], search))
                tried.push_back(item);
        }
        expect(leaves == tried, "leaves in a box are those that overlap it");
    }

    void walk(unsigned number, const Box& search, std::vector<unsigned>& leaves) const {
        const naive::Node& node = m_expected.nodes[number];
        if (!overlap(node.box, search))
            return;
        if (node.leaf)
            return leaves.push_back(node.index);
        walk(node.index, search, leaves);
        walk(node.index + 1, search, leaves);
    }

    void check_nearest() {
        const float point[3] = {take_coordinate(m_input, m_boxes, 0),
                                take_coordinate(m_input, m_boxes, 1),
                                take_coordinate(m_input, m_boxes, 2)};
        const unsigned choice = m_input.take_byte();
        float reach = std::numeric_limits<float>::infinity();
        if (choice >= 128)
            reach = std::abs(take_coordinate(m_input, m_boxes, choice % 3) - point[choice % 3]);
        if (choice >= 224)
            reach = m_input.take_special();
        const auto item_count = static_cast<unsigned>(m_boxes.size());
        const unsigned max_count = 1 + m_input.take_byte() % (item_count + 3);
        naive::NearestLeaves found = {std::vector<unsigned>(max_count),
                                      std::vector<float>(max_count)};
        const unsigned count =
            m_plain.get_nearest_leaves(m_ctx, {point[0], point[1], point[2]}, reach, max_count,
                                       found.leaves.data(), found.distances.data());
        expect(count <= max_count, "no more leaves than were asked for");
        found.leaves.resize(count);
        found.distances.resize(count);
        const naive::NearestLeaves expected =
            naive::nearest_leaves(m_expected, point, reach, max_count);
        expect(found.leaves == expected.leaves, "the nearest leaves are those of a plain walk");
        for (unsigned i = 0; i < count; ++i)
            expect(found.distances[i] == expected.distances[i] ||
                       (std::isnan(found.distances[i]) && std::isnan(expected.distances[i])),
                   "the nearest leaves have the distances of a plain walk");
        if (choice < 128)
            check_all_distances(point, found.distances, max_count);
    }

    /// Without a limit the distances are the least of all, where a centre lies in all boxes around
    /// it and no distance overflows.
    void check_all_distances(const float (&point)[3], const std::vector<float>& found,
                             unsigned max_count) const {
        constexpr double most = 1e18;
        if (!fuzz::are_ordered(m_boxes) || !fuzz::are_finite(m_boxes) ||
            fuzz::get_measure(m_boxes) > most)
            return;
        std::vector<float> distances;
        for (const Box& box : m_boxes) {
            float squares[3];
            for (unsigned axis = 0; axis < 3; ++axis) {
                if (!(std::abs(static_cast<double>(point[axis])) <= most))
                    return;
                const float step = (box.min[axis] + box.max[axis]) * 0.5f - point[axis];
                squares[axis] = step * step;
            }
            const float sum = squares[0] + squares[1];
            distances.push_back(std::sqrt(sum + squares[2]));
        }
        std::sort(distances.begin(), distances.end());
        if (distances.size() > max_count)
            distances.resize(max_count);
        expect(found == distances, "the nearest leaves have the least distances");
    }

    void check_closest() {
        ClosestPoint point;
        for (unsigned axis = 0; axis < 3; ++axis)
            point[axis] = static_cast<double>(take_coordinate(m_input, m_boxes, axis));
        const unsigned choice = m_input.take_byte();
        // Somewhere in its box, or the box itself.
        const auto get_distance = [&](unsigned item, const ClosestPoint& at, double) {
            Box box = m_boxes[item];
            for (unsigned axis = 0; axis < 3 && choice % 4 != 0; ++axis) {
                const float share = static_cast<float>((item * 7 + choice) % 4) / 3.0f;
                box.min[axis] += (box.max[axis] - box.min[axis]) * share;
                box.max[axis] = box.min[axis];
            }
            const double distance = support::get_box_distance(box, at);
            return choice % 8 == 1 ? distance - 1.0 : distance;
        };
        // As far as an item is: some lie at the limit, others beyond it.
        const unsigned other = m_input.take_byte();
        double limit = infinity;
        if (other >= 128)
            limit = get_distance(other % static_cast<unsigned>(m_boxes.size()), point, infinity);
        if (other >= 192)
            limit *= 0.5;
        if (other >= 240)
            limit = m_input.take_special_double();
        compare_closest(point, limit, choice % 8 == 1 ? cut_negative(get_distance) : get_distance);
    }

    /// Less than 0 only where the point lies in the box.
    support::ItemDistance cut_negative(const support::ItemDistance& get_distance) const {
        return [this, get_distance](unsigned item, const ClosestPoint& at, double bound) {
            const double from_box = support::get_box_distance(m_boxes[item], at);
            const double distance = get_distance(item, at, bound);
            return from_box > 0.0 ? std::max(distance, from_box) : distance;
        };
    }

    void compare_closest(const ClosestPoint& point, double limit,
                         const support::ItemDistance& get_distance) {
        const auto count = static_cast<unsigned>(m_boxes.size());
        const ClosestItem expected = support::search_closest(count, point, limit, get_distance);
        const auto check = [&](const auto& tree, const char* what) {
            support::AskedItems asked = {get_distance, {}};
            const ClosestItem found = support::find_closest(tree, m_ctx, point, limit, asked);
            expect(found == expected, what);
            std::sort(asked.items.begin(), asked.items.end());
            expect(std::adjacent_find(asked.items.begin(), asked.items.end()) == asked.items.end(),
                   "no item is asked for twice");
        };
        check(m_plain, "the closest item is that of a loop over all");
        check(m_compressed, "the closest item of a compressed tree is that of a loop over all");
    }

    FuzzInput& m_input;
    Boxes m_boxes;
    GasTree m_plain;
    GasCompressedTree m_compressed;
    naive::Tree m_expected;
    GasTreeCtx m_ctx;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    SpatialTarget(input).run();
    return 0;
}
