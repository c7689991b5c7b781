// SPDX-License-Identifier: Apache-2.0
#include <apps/gas/scene/shape.h>

#include <gas/scene/gas_box_padding.h>

namespace gas_app {

Box Shape::get_exact_box(unsigned sample) const {
    Box box = empty_box();
    for (unsigned item = 0; item < get_item_count(); ++item)
        grow(box, get_item_box(item, sample));
    return box;
}

void Shape::build(double reach, const TreeSettings& settings, AppProgressBar& progress_bar,
                  float progress_share) {
    Box bounds = empty_box();
    for (unsigned sample = 0; sample < get_sample_count(); ++sample)
        grow(bounds, get_exact_box(sample));
    reach = std::max(reach, gas_get_reach(bounds));
    const auto get_box = [this](unsigned item, unsigned sample) {
        return get_item_box(item, sample);
    };
    const double padding = gas_get_box_padding(reach);
    m_tree.build({get_item_count(), get_sample_count(), get_box, padding, bounds}, settings,
                 progress_bar, progress_share);
}

} // namespace gas_app
