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

const Box& Shape::find_exact_box(unsigned sample) {
    if (m_exact_boxes.empty()) {
        m_is_built = false;
        for (unsigned each = 0; each < get_sample_count(); ++each)
            m_exact_boxes.push_back(get_exact_box(each));
    }
    return m_exact_boxes[sample];
}

void Shape::build(double reach, const TreeSettings& settings, AppProgressBar& progress_bar,
                  float progress_share) {
    Box bounds = empty_box();
    for (unsigned sample = 0; sample < get_sample_count(); ++sample)
        grow(bounds, find_exact_box(sample));
    reach = std::max(reach, gas_get_reach(bounds));
    if (settings.is_animated)
        reach = round_up_to_power(reach);
    const auto get_box = [this](unsigned item, unsigned sample) {
        return get_item_box(item, sample);
    };
    const double padding = gas_get_box_padding(reach);
    const bool has_same_boxes = m_is_built && padding == m_tree.get_padding();
    if (has_same_boxes && m_tree.keep(settings))
        return;
    m_tree.build({get_item_count(), get_sample_count(), get_box, padding, bounds}, settings,
                 progress_bar, progress_share);
    m_is_built = true;
}

} // namespace gas_app
