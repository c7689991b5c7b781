// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/report/compressed_statistics.h>

#include <gas/compressed/gas_box_codec.h>

namespace gas_app {

namespace {

SimdF to_lanes(const Vec3f& corner) { return SimdF(corner.x, corner.y, corner.z, 0.0f); }

bool is_leaf(const GasCompressedNode& node, unsigned child) {
    return (node.flags & GasCompressedNode::first_leaf << child) != 0;
}

/// Walks down the tree and decodes boxes. Calls `visit_leaf(item, level, box)` and
/// `visit_node(node, level, box)`, parents before their children.
template <typename VisitNode, typename VisitLeaf>
void walk_decoded(const GasCompressedTree& tree, const VisitNode& visit_node,
                  const VisitLeaf& visit_leaf) {
    if (tree.get_leaf_count() == 1)
        visit_leaf(0u, 0u, tree.get_bbox());
    if (tree.get_leaf_count() < 2)
        return;

    // Children stand after their parent, so one pass over the nodes meets every parent first.
    struct Place {
        GMathBbox3<float> box;
        unsigned level;
    };
    std::vector<Place> places(tree.get_node_count());
    places[tree.get_root_index()] = {tree.get_bbox(), 0};
    for (unsigned index = 0; index < tree.get_node_count(); ++index) {
        const GasCompressedNode& node = tree.get_nodes()[index];
        const Place& place = places[index];
        visit_node(index, place.level, place.box);
        GasBoxPair boxes;
        gas_decode_box_pair(node.get_bytes(), to_lanes(place.box.min), to_lanes(place.box.max),
                            boxes);
        const GMathBbox3<float> children[2] = {boxes.first.to_box(), boxes.second.to_box()};
        const unsigned level = place.level + 1;
        for (unsigned child = 0; child < 2; ++child) {
            if (is_leaf(node, child))
                visit_leaf(node.children[child], level, children[child]);
            else
                places[node.children[child]] = {children[child], level};
        }
    }
}

/// The boxes around what lies below each node.
std::vector<Box> get_exact_boxes(const GasCompressedTree& tree,
                                 const CoreArray<GMathBbox3<float>>& item_boxes) {
    std::vector<Box> boxes(tree.get_node_count(), empty_box());
    for (unsigned index = tree.get_node_count(); index-- > 0;) {
        const GasCompressedNode& node = tree.get_nodes()[index];
        for (unsigned child = 0; child < 2; ++child)
            grow(boxes[index], is_leaf(node, child) ? to_double(item_boxes[node.children[child]])
                                                    : boxes[node.children[child]]);
    }
    return boxes;
}

/// Means of ratios, per level and over all.
class Ratios {
  public:
    explicit Ratios(unsigned depth) : m_levels(depth) {}

    void add(unsigned level, const GMathBbox3<float>& decoded, const Box& exact) {
        const double area = get_surface_area(exact);
        if (!(area > 0.0))
            return;
        const double ratio = get_surface_area(to_double(decoded)) / area;
        m_all.add(ratio);
        m_levels[level].add(ratio);
    }
    void get_means(Tightness& tightness) const {
        tightness.mean_ratio = m_all.get_mean();
        for (const Sum& level : m_levels)
            tightness.mean_ratio_per_level.push_back(level.get_mean());
    }

  private:
    struct Sum {
        double total = 0.0;
        unsigned count = 0;

        void add(double value) {
            total += value;
            ++count;
        }
        double get_mean() const { return count > 0 ? total / count : 1.0; }
    };

    Sum m_all;
    std::vector<Sum> m_levels;
};

} // namespace

TreeStatistics get_tree_statistics(const GasCompressedTree& tree) {
    TreeSurvey survey(tree, to_double(tree.get_bbox()));
    walk_decoded(
        tree,
        [&](unsigned, unsigned, const GMathBbox3<float>& box) {
            survey.add_inner_node(to_double(box));
        },
        [&](unsigned, unsigned level, const GMathBbox3<float>& box) {
            survey.add_leaf(to_double(box), level);
        });
    return survey.finish(sizeof(GasCompressedNode), get_motion_bytes(tree));
}

std::size_t get_motion_bytes(const GasCompressedTree& tree) {
    // A sample has the boxes of each node's children, nine bytes behind the last, a root box and a
    // pointer.
    constexpr std::size_t slack = 9;
    const std::size_t sample_bytes = std::size_t{tree.get_node_count()} * sizeof(GasQuantizedPair) +
                                     slack + sizeof(GMathBbox3<float>);
    return tree.get_motion_blur_sample_count() * (sample_bytes + sizeof(void*));
}

Tightness get_tightness(const GasCompressedTree& tree,
                        const CoreArray<GMathBbox3<float>>& item_boxes) {
    TreeSurvey exact_survey(tree, to_double(tree.get_bbox()));
    Ratios ratios(tree.get_depth());
    const std::vector<Box> exact_boxes = get_exact_boxes(tree, item_boxes);
    walk_decoded(
        tree,
        [&](unsigned node, unsigned level, const GMathBbox3<float>& box) {
            exact_survey.add_inner_node(exact_boxes[node]);
            ratios.add(level, box, exact_boxes[node]);
        },
        [&](unsigned item, unsigned level, const GMathBbox3<float>& box) {
            const Box exact = to_double(item_boxes[item]);
            exact_survey.add_leaf(exact, level);
            ratios.add(level, box, exact);
        });
    Tightness tightness;
    ratios.get_means(tightness);
    tightness.exact_sah_cost = exact_survey.finish(0, 0).sah_cost;
    return tightness;
}

} // namespace gas_app
