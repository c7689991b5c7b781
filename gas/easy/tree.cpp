// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/tree.h>

#include <algorithm>
#include <cmath>
#include <utility>

#include <gas/easy/leaf_calls.h>
#include <gas/easy/tree_data.h>
#include <gas/scene/gas_box_padding.h>
#include <gas/scene/gas_scene_scale.h>

namespace gas {
inline namespace gas_abi1 {

using detail::ContextData;
using detail::TreeData;

Tree::Tree() noexcept = default;

Tree::Tree(const std::vector<Box>& boxes, const Options& options)
    : Tree(boxes.data(), boxes.size(), options) {}

Tree::Tree(const Box* boxes, std::size_t count, const Options& options) {
    if (count != 0)
        m_data = std::make_shared<TreeData>(boxes, count, options);
}

Tree::Tree(std::size_t count, BoxFunction boxes, const Options& options) {
    if (count != 0)
        m_data = std::make_shared<TreeData>(count, std::move(boxes), options);
}

Tree::Tree(std::shared_ptr<TreeData> data) noexcept : m_data(std::move(data)) {}

Tree::Tree(Tree&& other) noexcept = default;

Tree& Tree::operator=(Tree&& other) noexcept = default;

Tree::~Tree() = default;

std::size_t Tree::size() const { return m_data ? m_data->get_count() : 0; }

Kind Tree::kind() const { return m_data ? m_data->get_kind() : Kind::plain; }

std::size_t Tree::depth() const { return m_data ? m_data->get_depth() : 0; }

std::size_t Tree::memory_size() const {
    return sizeof *this + (m_data ? m_data->get_memory_size() : 0);
}

Box Tree::bounds() const { return m_data ? m_data->get_bounds() : Box(); }

std::size_t Tree::motion_sample_count() const { return m_data ? m_data->get_sample_count() : 0; }

void Tree::refit(const std::vector<Box>& boxes) {
    if (m_data)
        m_data->refit(boxes.data(), boxes.size());
    else if (!boxes.empty())
        throw Error("an empty tree has no items to refit");
}

void Tree::set_motion(const std::vector<std::vector<Box>>& samples) {
    if (m_data)
        m_data->set_motion(samples);
}

void Tree::set_motion(std::size_t count) {
    if (m_data)
        m_data->set_motion(count);
}

void Tree::save(const std::string& path) const {
    if (!m_data)
        throw Error(path + ": an empty tree is not saved");
    m_data->save(path);
}

Tree Tree::load(const std::string& path) {
    return Tree(std::make_shared<TreeData>(path, detail::FileWay::load));
}

Tree Tree::map(const std::string& path) {
    return Tree(std::make_shared<TreeData>(path, detail::FileWay::map));
}

Tree Tree::map_trusted(const std::string& path) {
    return Tree(std::make_shared<TreeData>(path, detail::FileWay::map_trusted));
}

std::vector<std::uint32_t> Tree::items_in(const Box& box) const {
    if (!m_data)
        return {};
    const GasTree& tree = m_data->expect_plain("only plain trees find the items in a box");
    ContextData& context = ContextData::get(nullptr);
    const detail::Lease<GasTreeCtx> stack(context.stacks, context.used_stack_count);
    CoreVector<unsigned> leaves;
    // Rounded outward: a box that touches counts.
    tree.get_leaves_in_bbox(*stack, gas_pad_box(detail::to_host(box), 0.0), leaves);
    return std::vector<std::uint32_t>(leaves.begin(), leaves.end());
}

std::vector<NearItem> Tree::nearest_boxes(const Vector& point, std::size_t max_count,
                                          double max_distance) const {
    if (!m_data || max_count == 0)
        return {};
    const GasTree& tree = m_data->expect_plain("only plain trees find the nearest boxes");
    ContextData& context = ContextData::get(nullptr);
    const detail::Lease<GasTreeCtx> stack(context.stacks, context.used_stack_count);
    const auto count = static_cast<unsigned>(std::min<std::size_t>(max_count, m_data->get_count()));
    std::vector<unsigned> items(count);
    std::vector<float> distances(count);
    const GMathVec3<float> from = {static_cast<float>(point.x), static_cast<float>(point.y),
                                   static_cast<float>(point.z)};
    // Farther than everything, and squared still a float.
    constexpr double most_distance = 1e18;
    const unsigned found = tree.get_nearest_leaves(
        *stack, from, static_cast<float>(std::min(max_distance, most_distance)), count,
        items.data(), distances.data());
    std::vector<NearItem> near(found);
    for (unsigned i = 0; i < found; ++i)
        near[i] = {static_cast<double>(distances[i]), items[i]};
    return near;
}

NearItem Tree::find_closest(Context* context, const Vector& point, double max_distance,
                            const detail::PointCall& call) const {
    NearItem found;
    if (!m_data)
        return found;
    ContextData& data = ContextData::get(context);
    const detail::Lease<GasTreeCtx> stack(data.stacks, data.used_stack_count);
    detail::PointQuery query = {call, point, m_data->get_space().scale};
    const GMathVec3<double> scaled =
        gas_scale_vector(detail::to_host(point), m_data->get_space().scale);
    const double bound = max_distance * query.scale;
    const auto find = [&](const auto& tree) {
        unsigned item = 0;
        double distance = 0.0;
        if (tree.get_closest_item(*stack, scaled, bound, detail::measure_item, &query, item,
                                  distance))
            found = {distance / query.scale, item};
    };
    if (const GasCompressedTree* const compressed = m_data->find_compressed())
        find(*compressed);
    else
        find(m_data->expect_plain("the closest item is not found in grids"));
    return found;
}

} // namespace gas_abi1
} // namespace gas
