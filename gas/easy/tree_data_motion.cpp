// SPDX-License-Identifier: Apache-2.0
#include <gas/easy/tree_data.h>

#include <cmath>
#include <string>
#include <utility>

#include <gas/easy/errors.h>

namespace gas {
inline namespace gas_abi1 {
namespace detail {

namespace {

/// The working range of compressed boxes, with some room.
constexpr double most_scaled_reach = 80.0;

} // namespace

void TreeData::drop_motion() {
    if (auto* const grid = std::get_if<GasGridTree>(&m_tree))
        grid->update_motion_blur(CtxMotionBlur());
    else if (auto* const compressed = std::get_if<GasCompressedTree>(&m_tree))
        compressed->set_motion_blur_sample_count(0);
    else
        std::get<GasTree>(m_tree).set_motion_blur_sample_count(0);
    m_sample_count = 0;
    see(m_extent, m_space.reach);
}

/// That of the tree, with the padding that these boxes need.
Space TreeData::make_motion_space(const Extent& extent) const {
    Extent all = m_extent;
    all.add(extent);
    Space space = make_space(all, m_options.reach, false);
    space.scale = m_space.scale;
    if (is_scaled() && (all.reach + space.padding) * space.scale > most_scaled_reach)
        throw Error("motion reaches too far out for the tree: Options::reach has to say how far");
    return space;
}

void TreeData::set_motion(const std::vector<std::vector<Box>>& samples) {
    if (samples.empty())
        return drop_motion();
    if (samples.size() < 2)
        throw Error("motion takes the boxes at two times or more");
    Extent extent;
    for (const std::vector<Box>& boxes : samples) {
        if (boxes.size() != m_count)
            throw Error("a motion sample holds the boxes of all " + std::to_string(m_count) +
                        " items, not " + std::to_string(boxes.size()));
        extent.add(get_extent(boxes.data(), boxes.size()));
    }
    const auto sample_count = static_cast<unsigned>(samples.size());
    if (get_kind() == Kind::grid) {
        const auto step = static_cast<double>(sample_count - 1);
        const auto give = [kept = samples, step](std::uint32_t item, double time) {
            return kept[static_cast<std::size_t>(std::lround(time * step))][item];
        };
        return move_grid(give, extent, sample_count);
    }
    const Space space = make_motion_space(extent);
    const auto fill = [&](auto& tree) {
        tree.set_motion_blur_sample_count(sample_count);
        for (unsigned sample = 0; sample < sample_count; ++sample) {
            const HostBoxes boxes = convert(samples[sample].data(), m_count, space);
            tree.refit_motion_blur_sample(boxes.data(), m_count, sample);
        }
    };
    drop_motion();
    try {
        if (auto* const compressed = std::get_if<GasCompressedTree>(&m_tree))
            fill(*compressed);
        else
            fill(std::get<GasTree>(m_tree));
    } catch (...) {
        drop_motion();
        throw;
    }
    m_sample_count = sample_count;
    see(extent, space.reach);
}

void TreeData::set_motion(std::size_t count) {
    if (count == 0)
        return drop_motion();
    if (!m_asks_for_boxes)
        throw Error("only a grid over a box function asks for the boxes of its motion");
    if (count < 2 || count > 0xFFFF)
        throw Error("motion takes the boxes at 2 to 65535 times");
    Extent extent;
    for (std::size_t sample = 0; sample < count; ++sample) {
        const double time = static_cast<double>(sample) / static_cast<double>(count - 1);
        for (std::uint32_t item = 0; item < m_count; ++item)
            extent.add(m_grid_boxes->still(item, time), item);
    }
    move_grid(m_grid_boxes->still, extent, static_cast<unsigned>(count));
}

/// Leaves the grid as it was where it throws.
void TreeData::move_grid(BoxFunction moving, const Extent& extent, unsigned sample_count) {
    Space space = make_motion_space(extent);
    GridBoxes& boxes = *m_grid_boxes;
    std::swap(boxes.moving, moving);
    std::swap(boxes.motion_space, space);
    try {
        std::get<GasGridTree>(m_tree).update_motion_blur(CtxMotionBlur(0.0f, 1.0f, sample_count));
    } catch (...) {
        std::swap(boxes.moving, moving);
        std::swap(boxes.motion_space, space);
        throw;
    }
    m_sample_count = sample_count;
    see(extent, boxes.motion_space.reach);
}

} // namespace detail
} // namespace gas_abi1
} // namespace gas
