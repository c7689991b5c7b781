// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/verify/spatial_verification.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

#include <gas/scene/gas_box_padding.h>
#include <gas/traversal/frame/gas_tree_ctx.h>

#include <apps/gas/math/sample_hash.h>

namespace gas_app {

namespace {

// Numbers in `verified_kinds` and `owning_names`.
constexpr unsigned plain_kinds[] = {0, 5, 6};
constexpr unsigned closest_kinds[] = {0, 2, 5, 6, 7, 8};
constexpr unsigned owning_plain = 0;
constexpr unsigned owning_closest_kinds[] = {0, 1, 3, 4};

constexpr const char* every_item = "every item";

bool overlap(const GMathBbox3<float>& a, const GMathBbox3<float>& b) {
    for (unsigned axis = 0; axis < 3; ++axis) {
        if (!(a.min[axis] <= b.max[axis] && b.min[axis] <= a.max[axis]))
            return false;
    }
    return true;
}

float get_center_distance(const GMathBbox3<float>& box, const Vec3f& point) {
    float squares[3];
    for (unsigned axis = 0; axis < 3; ++axis) {
        const float offset = (box.min[axis] + box.max[axis]) * 0.5f - point[axis];
        squares[axis] = offset * offset;
    }
    return std::sqrt((squares[0] + squares[1]) + squares[2]);
}

} // namespace

struct SpatialVerification::Question {
    Vec3 point;
    Box box;
    double max_distance;
    unsigned max_count;

    Vec3f get_near_point() const { return to_float(point); }
    /// As floats can be squared.
    float get_near_distance() const { return static_cast<float>(std::min(max_distance, 1e18)); }
};

struct SpatialVerification::Context {
    unsigned method;
    const Question& question;
    std::string where;
    Comparison& comparison;

    void compare(const char* tree, const char* way, const char* against, bool is_same) const {
        comparison.compare({tree, way, against}, is_same, [&] {
            char text[200];
            std::snprintf(text, sizeof text, ", point (%a, %a, %a), within %a, at most %u",
                          question.point.x, question.point.y, question.point.z,
                          question.max_distance, question.max_count);
            return where + text;
        });
    }
};

SpatialVerification::SpatialVerification(VerifiedTrees& trees, OwningVerification& owning)
    : m_scene(trees.get_scene()), m_trees(trees), m_owning(owning) {
    const double padding = m_scene.describe().padding;
    const std::vector<Box>& boxes = m_scene.get_boxes(1);
    double reach = 0.0;
    for (const Box& box : boxes) {
        m_boxes.push_back(gas_pad_box(box, padding));
        reach = std::max(reach, gas_get_reach(box));
    }
    // What Options::reach says of an owning tree that was not told.
    for (const Box& box : boxes)
        m_owning_boxes.push_back(gas_pad_box(box, gas_get_box_padding(2.0 * reach)));
}

SpatialVerification::Question SpatialVerification::make_question(std::uint64_t number) const {
    const VerifiedScene::Ray ray = m_scene.make_ray(number);
    const Vec3 size = m_scene.get_bounds().max - m_scene.get_bounds().min;
    const std::uint64_t seed = hash_pair(number, 200);
    Question question;
    // From afar, and in an item's box.
    question.point = hash_pair(seed, 0) % 2 == 0 ? ray.origin : ray.origin + ray.direction;
    const double share = std::pow(0.5, 12.0 * hash_unit(seed, 1));
    question.max_distance =
        hash_pair(seed, 2) % 3 == 0 ? VerifiedScene::no_entry : share * length(size);
    question.box = {question.point - size * share, question.point + size * share};
    question.max_count = 1 + static_cast<unsigned>(hash_pair(seed, 3) % 40);
    return question;
}

/// To the nearest point of an item.
double SpatialVerification::measure(unsigned item, const Vec3& point) const {
    const Box& box = m_scene.get_boxes(1)[item];
    Vec3 outside;
    for (unsigned axis = 0; axis < 3; ++axis)
        outside[axis] = std::max({0.0, box.min[axis] - point[axis], point[axis] - box.max[axis]});
    return length(outside);
}

void SpatialVerification::check(unsigned method, std::uint64_t first, unsigned count,
                                const std::string& where, Comparison& comparison) {
    for (std::uint64_t number = first; number < first + count; ++number) {
        const Question question = make_question(number);
        const Context context = {method, question,
                                 where + ", built by " + std::string(build_method_names[method]) +
                                     ", spatial question " + std::to_string(number),
                                 comparison};
        check_closest(context);
        check_in_box(context);
        check_nearest(context);
    }
}

template <typename Tree>
SpatialVerification::Closest SpatialVerification::find_closest(const Tree& tree,
                                                               const Question& question) const {
    const auto ask = [](void* user, const unsigned& item, const Vec3& point, const double&) {
        return static_cast<const SpatialVerification*>(user)->measure(item, point);
    };
    GasTreeCtx ctx;
    Closest found;
    tree.get_closest_item(ctx, question.point, question.max_distance, ask,
                          const_cast<SpatialVerification*>(this), found.item, found.distance);
    return found;
}

void SpatialVerification::check_closest(const Context& context) const {
    const Question& question = context.question;
    Closest expected;
    for (unsigned item = 0; item < m_scene.get_item_count(); ++item) {
        const double distance = measure(item, question.point);
        if (distance <= question.max_distance &&
            (expected.item == ~0u || distance < expected.distance))
            expected = {item, distance};
    }
    const auto compare = [&](const char* tree, const Closest& found) {
        context.compare(tree, "closest item", every_item, found == expected);
    };
    for (const unsigned kind : closest_kinds) {
        const VerifiedTree::AnyTree& any = m_trees.get(context.method, kind);
        if (const GasTree* const tree = std::get_if<GasTree>(&any))
            compare(verified_kinds[kind].name, find_closest(*tree, question));
        else
            compare(verified_kinds[kind].name,
                    find_closest(std::get<GasCompressedTree>(any), question));
    }
    for (const unsigned kind : owning_closest_kinds) {
        const gas::NearItem found = m_owning.get_tree(context.method, kind)
                                        .get(false)
                                        .closest_point(
                                            {question.point.x, question.point.y, question.point.z},
                                            [&](std::uint32_t item, const gas::Vector& point) {
                                                return measure(item, {point.x, point.y, point.z});
                                            },
                                            question.max_distance);
        compare(owning_names[kind], found ? Closest{found.item, found.distance} : Closest());
    }
}

void SpatialVerification::check_in_box(const Context& context) const {
    const GMathBbox3<float> box = gas_pad_box(context.question.box, 0.0);
    std::vector<unsigned> built;
    for (const unsigned kind : plain_kinds) {
        GasTreeCtx ctx;
        CoreVector<unsigned> leaves;
        std::get<GasTree>(m_trees.get(context.method, kind)).get_leaves_in_bbox(ctx, box, leaves);
        const std::vector<unsigned> found(leaves.begin(), leaves.end());
        if (kind == plain_kinds[0]) {
            built = found;
            compare_in_box(context, verified_kinds[kind].name, m_boxes, box, found);
        } else {
            context.compare(verified_kinds[kind].name, "leaves in a box", "plain", found == built);
        }
    }
    const Box& asked = context.question.box;
    compare_in_box(context, owning_names[owning_plain], m_owning_boxes, box,
                   m_owning.get_tree(context.method, owning_plain)
                       .get(false)
                       .items_in({{asked.min.x, asked.min.y, asked.min.z},
                                  {asked.max.x, asked.max.y, asked.max.z}}));
}

void SpatialVerification::compare_in_box(const Context& context, const char* tree,
                                         const Boxes& boxes, const GMathBbox3<float>& box,
                                         std::vector<unsigned> found) {
    std::vector<unsigned> expected;
    for (unsigned leaf = 0; leaf < boxes.size(); ++leaf) {
        if (overlap(boxes[leaf], box))
            expected.push_back(leaf);
    }
    std::sort(found.begin(), found.end());
    context.compare(tree, "leaves in a box", every_item, found == expected);
}

void SpatialVerification::check_nearest(const Context& context) const {
    const Question& question = context.question;
    Nearest built;
    for (const unsigned kind : plain_kinds) {
        GasTreeCtx ctx;
        Nearest found = {std::vector<unsigned>(question.max_count),
                         std::vector<float>(question.max_count)};
        const unsigned count =
            std::get<GasTree>(m_trees.get(context.method, kind))
                .get_nearest_leaves(ctx, question.get_near_point(), question.get_near_distance(),
                                    question.max_count, found.leaves.data(),
                                    found.distances.data());
        found.leaves.resize(count);
        found.distances.resize(count);
        if (kind == plain_kinds[0]) {
            built = found;
            compare_nearest(context, verified_kinds[kind].name, m_boxes, found);
        } else {
            context.compare(verified_kinds[kind].name, "nearest leaves", "plain",
                            found.leaves == built.leaves && found.distances == built.distances);
        }
    }
    Nearest found;
    for (const gas::NearItem& near :
         m_owning.get_tree(context.method, owning_plain)
             .get(false)
             .nearest_boxes({question.point.x, question.point.y, question.point.z},
                            question.max_count, question.max_distance)) {
        found.leaves.push_back(near.item);
        found.distances.push_back(static_cast<float>(near.distance));
    }
    compare_nearest(context, owning_names[owning_plain], m_owning_boxes, found);
}

/// The distances have to be those of the nearest leaves, and each leaf one at its distance, once.
void SpatialVerification::compare_nearest(const Context& context, const char* tree,
                                          const Boxes& boxes, const Nearest& found) {
    const Vec3f point = context.question.get_near_point();
    const float reach = context.question.get_near_distance();
    const GMathBbox3<float> cube = {{point.x - reach, point.y - reach, point.z - reach},
                                    {point.x + reach, point.y + reach, point.z + reach}};
    std::vector<float> expected;
    for (const GMathBbox3<float>& box : boxes) {
        if (overlap(box, cube))
            expected.push_back(get_center_distance(box, point));
    }
    std::sort(expected.begin(), expected.end());
    expected.resize(std::min<std::size_t>(expected.size(), context.question.max_count));
    // Leaves whose centres lie beyond the distance: where they fill the arrays, the order of the
    // walk decides which.
    if (expected.size() == context.question.max_count && expected.back() >= reach)
        return;

    bool is_same = found.distances == expected;
    std::vector<unsigned> once = found.leaves;
    std::sort(once.begin(), once.end());
    is_same = is_same && std::adjacent_find(once.begin(), once.end()) == once.end();
    for (std::size_t i = 0; is_same && i < once.size(); ++i) {
        const GMathBbox3<float>& box = boxes[found.leaves[i]];
        is_same = overlap(box, cube) && get_center_distance(box, point) == expected[i];
    }
    context.compare(tree, "nearest leaves", every_item, is_same);
}

} // namespace gas_app
