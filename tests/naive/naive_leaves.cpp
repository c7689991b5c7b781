#include <tests/naive/naive_leaves.h>

#include <cmath>

namespace naive {

namespace {

struct Search {
    const Tree& tree;
    const float (&point)[3];
    float half_width;
    unsigned max_count;
    NearestLeaves found;

    bool overlaps(const Box& box) const {
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float low = point[axis] - half_width;
            const float high = point[axis] + half_width;
            if (box.max[axis] < low || high < box.min[axis])
                return false;
        }
        return true;
    }

    float squared_distance(const Box& box) const {
        float squares[3];
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float below = box.min[axis] - point[axis];
            const float above = point[axis] - box.max[axis];
            float outside = below > above ? below : above;
            outside = outside > 0.0f ? outside : 0.0f;
            squares[axis] = outside * outside;
        }
        const float sum = squares[0] + squares[1];
        return sum + squares[2];
    }

    float centre_distance(const Box& box) const {
        float squares[3];
        for (unsigned axis = 0; axis < 3; ++axis) {
            const float centre = (box.min[axis] + box.max[axis]) * 0.5f;
            const float step = centre - point[axis];
            squares[axis] = step * step;
        }
        const float sum = squares[0] + squares[1];
        return std::sqrt(sum + squares[2]);
    }

    void take(const Node& leaf) {
        const float distance = centre_distance(leaf.box);
        std::vector<float>& distances = found.distances;
        if (distances.size() == max_count) {
            if (distance >= distances.back())
                return;
            found.leaves.pop_back();
            distances.pop_back();
        }
        std::size_t place = distances.size();
        while (place > 0 && distances[place - 1] > distance)
            --place;
        const auto offset = static_cast<std::ptrdiff_t>(place);
        found.leaves.insert(found.leaves.begin() + offset, leaf.index);
        distances.insert(distances.begin() + offset, distance);
        if (distances.size() == max_count)
            half_width = distances.back();
    }

    void walk() {
        std::vector<unsigned> waiting = {0};
        while (!waiting.empty()) {
            const Node& node = tree.nodes[waiting.back()];
            waiting.pop_back();
            if (!overlaps(node.box))
                continue;
            if (node.leaf) {
                take(node);
                continue;
            }
            const float first = squared_distance(tree.nodes[node.index].box);
            const float second = squared_distance(tree.nodes[node.index + 1].box);
            const unsigned later = second > first ? 1 : 0;
            for (const unsigned child : {node.index + later, node.index + 1 - later}) {
                if (overlaps(tree.nodes[child].box))
                    waiting.push_back(child);
            }
        }
    }
};

} // namespace

NearestLeaves nearest_leaves(const Tree& tree, const float (&point)[3], float half_width,
                             unsigned max_count) {
    Search search = {tree, point, half_width, max_count, {}};
    if (!tree.nodes.empty())
        search.walk();
    return search.found;
}

} // namespace naive
