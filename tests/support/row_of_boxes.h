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

/// Gives `tree` these motion-blur samples, each with one box per leaf.
template <typename Tree>
void fill_samples(Tree& tree, const std::vector<std::vector<naive::Box>>& samples) {
    tree.set_motion_blur_sample_count(static_cast<unsigned>(samples.size()));
    for (unsigned sample = 0; sample < samples.size(); ++sample)
        tree.refit_motion_blur_sample(to_boxes(samples[sample]), sample);
}

} // namespace support
