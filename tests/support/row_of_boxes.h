// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include <tests/naive/naive_tree.h>
#include <tests/support/box_conversion.h>
#include <tests/support/tree_build.h>

namespace support {

/// `count` unit boxes along x, ten apart: box i starts at 10 i + `offset`.
inline std::vector<naive::Box> row_of_boxes(unsigned count, float offset = 0.0f) {
    std::vector<naive::Box> boxes;
    for (unsigned i = 0; i < count; ++i) {
        const float x = 10.0f * static_cast<float>(i) + offset;
        boxes.push_back({{x, 0.0f, 0.0f}, {x + 1.0f, 1.0f, 1.0f}});
    }
    return boxes;
}

/// The same row first, then eight boxes for each gap that stand on both sides of it by turns: a ray
/// along the row enters nodes between its leaves.
inline std::vector<naive::Box> row_of_boxes_among_others(unsigned count) {
    std::vector<naive::Box> boxes = row_of_boxes(count);
    for (unsigned i = 0; i < 8 * count; ++i) {
        const float x = boxes[i / 8].max[0] + 0.5f + static_cast<float>(i % 8);
        const float y = i % 2 == 0 ? 4.0f : -4.0f;
        boxes.push_back({{x, y, 0.0f}, {x + 0.5f, y + 1.0f, 1.0f}});
    }
    return boxes;
}

/// Gives `tree` these motion-blur samples, each with one box per leaf.
template <typename Tree>
void fill_samples(Tree& tree, const std::vector<std::vector<naive::Box>>& samples) {
    tree.set_motion_blur_sample_count(static_cast<unsigned>(samples.size()));
    for (unsigned sample = 0; sample < samples.size(); ++sample)
        tree.refit_motion_blur_sample(to_boxes(samples[sample]), sample);
}

} // namespace support
