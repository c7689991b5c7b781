// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/page/tree_boxes.h>

#include <algorithm>

#include <gas/compressed/gas_box_codec.h>
#include <gas/grid/gas_grid_sub_tree.h>

#include <apps/gas/report/tree_statistics.h>

namespace gas_app {

namespace {

using FloatBox = GMathBbox3<float>;

double get_area(const FloatBox& box) { return get_surface_area(to_double(box)); }

SimdF to_box_lanes(const Vec3f& corner) { return SimdF(corner.x, corner.y, corner.z, 0.0f); }

/// Where a box stands below others.
struct BoxPlace {
    unsigned parent = TreeBox::no_parent;
    unsigned level = 0;
};

/// Lists the boxes of trees. In all of them children stand after their parent, so one pass over the
/// nodes meets every parent first.
class BoxList {
  public:
    /// `scale`: of the trees' space.
    explicit BoxList(double scale) : m_unscale(static_cast<float>(1.0 / scale)) {}

    void add(const GasTree& tree, const GasGridTree* grid) {
        std::vector<BoxPlace> places(tree.get_node_count());
        for (unsigned index = 0; index < tree.get_node_count(); ++index) {
            const GasTree::Node& node = tree.get_nodes()[index];
            const FloatBox box{node.bbox_min, node.bbox_max};
            const BoxPlace place = places[index];
            if (!(node.flags & GasTree::Node::leaf_flag)) {
                const unsigned own = add(place, box, 0);
                places[node.index] = places[node.index + 1] = {own, place.level + 1};
            } else if (!grid) {
                add(place, box, 1);
            } else if (const GasGridSubTree* cell = grid->find_sub_tree(node.index)) {
                add(*cell, place);
            } else {
                add(place, box, grid->get_cell_item_count(node.index));
            }
        }
    }

    void add(const GasCompressedTree& tree, const BoxPlace& root) {
        if (tree.get_leaf_count() == 1)
            add(root, tree.get_bbox(), 1);
        if (tree.get_leaf_count() < 2)
            return;
        struct Decoded {
            BoxPlace place;
            FloatBox box;
        };
        std::vector<Decoded> nodes(tree.get_node_count());
        nodes[tree.get_root_index()] = {root, tree.get_bbox()};
        for (unsigned index = 0; index < tree.get_node_count(); ++index) {
            const GasCompressedNode& node = tree.get_nodes()[index];
            const auto [place, box] = nodes[index];
            const BoxPlace below{add(place, box, 0), place.level + 1};
            GasBoxPair pair;
            gas_decode_box_pair(node.get_bytes(), to_box_lanes(box.min), to_box_lanes(box.max),
                                pair);
            const FloatBox children[2] = {pair.first.to_box(), pair.second.to_box()};
            for (unsigned child = 0; child < 2; ++child) {
                if (node.flags & GasCompressedNode::first_leaf << child)
                    add(below, children[child], 1);
                else
                    nodes[node.children[child]] = {below, children[child]};
            }
        }
    }

    /// Adds up items and costs from the leaves to the root.
    std::vector<TreeBox> finish() {
        const double root_area = m_boxes.empty() ? 0.0 : get_area(m_boxes.front().box);
        for (std::size_t index = m_boxes.size(); index-- > 0;) {
            TreeBox& box = m_boxes[index];
            box.cost += root_area > 0.0 ? get_area(box.box) / root_area : 1.0;
            if (box.parent != TreeBox::no_parent) {
                m_boxes[box.parent].cost += box.cost;
                m_boxes[box.parent].item_count += box.item_count;
            }
        }
        return std::move(m_boxes);
    }

  private:
    /// `item_count`: of a leaf, otherwise 0.
    unsigned add(const BoxPlace& place, const FloatBox& box, unsigned item_count) {
        const FloatBox unscaled{box.min * m_unscale, box.max * m_unscale};
        const auto number = static_cast<unsigned>(m_boxes.size());
        m_boxes.push_back(
            {unscaled, number, place.parent, place.level, item_count, item_count > 0, 0.0});
        return number;
    }

    float m_unscale;
    std::vector<TreeBox> m_boxes;
};

/// The surface area of what two boxes share; 0 where they do not meet.
double get_shared_area(const FloatBox& a, const FloatBox& b) {
    Box shared = to_double(a);
    const Box other = to_double(b);
    for (unsigned axis = 0; axis < 3; ++axis) {
        shared.min[axis] = std::max(shared.min[axis], other.min[axis]);
        shared.max[axis] = std::min(shared.max[axis], other.max[axis]);
        if (shared.min[axis] > shared.max[axis])
            return 0.0;
    }
    return get_surface_area(shared);
}

} // namespace

std::vector<TreeBox> list_tree_boxes(const TracedTree& tree) {
    BoxList list(tree.get_scale());
    if (const auto* grid = std::get_if<GasGridTree>(&tree.get_tree()))
        list.add(grid->get_top_tree(), grid);
    else if (const auto* plain = std::get_if<GasTree>(&tree.get_tree()))
        list.add(*plain, nullptr);
    else
        list.add(std::get<GasCompressedTree>(tree.get_tree()), BoxPlace());
    return list.finish();
}

std::vector<TreeLevel> sum_levels(const std::vector<TreeBox>& boxes) {
    std::vector<TreeLevel> levels;
    std::vector<double> areas;
    // Of each node, the child that came first.
    std::vector<unsigned> first_children(boxes.size(), TreeBox::no_parent);
    const double root_area = boxes.empty() ? 0.0 : get_area(boxes.front().box);
    for (unsigned index = 0; index < boxes.size(); ++index) {
        const TreeBox& box = boxes[index];
        if (box.level >= levels.size()) {
            levels.resize(box.level + 1);
            areas.resize(box.level + 1);
        }
        TreeLevel& level = levels[box.level];
        ++(box.is_leaf ? level.leaf_count : level.node_count);
        const double area = get_area(box.box);
        level.cost += root_area > 0.0 ? area / root_area : 1.0;
        if (!box.is_leaf)
            areas[box.level] += area;
        if (box.parent == TreeBox::no_parent)
            continue;
        unsigned& first = first_children[box.parent];
        if (first == TreeBox::no_parent)
            first = index;
        else
            levels[box.level - 1].overlap += get_shared_area(boxes[first].box, box.box);
    }
    for (std::size_t level = 0; level < levels.size(); ++level)
        levels[level].overlap = areas[level] > 0.0 ? levels[level].overlap / areas[level] : 0.0;
    return levels;
}

double get_mean_leaf_depth(const std::vector<TreeLevel>& levels) {
    double sum = 0.0;
    double count = 0.0;
    for (std::size_t level = 0; level < levels.size(); ++level) {
        sum += static_cast<double>(level + 1) * levels[level].leaf_count;
        count += levels[level].leaf_count;
    }
    return count > 0.0 ? sum / count : 0.0;
}

void ShownLevel::keep_largest(std::size_t limit) {
    if (boxes.size() <= limit)
        return;
    std::vector<std::pair<double, std::size_t>> areas;
    for (std::size_t place = 0; place < boxes.size(); ++place)
        areas.emplace_back(-get_area(boxes[place].box), place);
    std::nth_element(areas.begin(), areas.begin() + static_cast<std::ptrdiff_t>(limit),
                     areas.end());
    std::vector<std::size_t> places;
    places.reserve(limit);
    for (std::size_t rank = 0; rank < limit; ++rank)
        places.push_back(areas[rank].second);
    std::sort(places.begin(), places.end());
    std::vector<TreeBox> kept;
    kept.reserve(limit);
    for (const std::size_t place : places)
        kept.push_back(boxes[place]);
    boxes = std::move(kept);
}

std::vector<ShownLevel> choose_boxes(const std::vector<TreeBox>& boxes, std::size_t limit) {
    std::vector<ShownLevel> levels;
    for (const TreeBox& box : boxes) {
        if (box.level >= levels.size())
            levels.resize(box.level + 1);
        levels[box.level].boxes.push_back(box);
    }
    for (ShownLevel& level : levels) {
        level.box_count = level.boxes.size();
        level.keep_largest(limit);
    }
    return levels;
}

} // namespace gas_app
